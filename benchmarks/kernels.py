"""Times what Google Benchmark measures: the kernels of every processor class."""
import pathlib
import re

from benchmarks import tools


def _library32():
    """The 32-bit library of Google Benchmark; the package manager cannot install it beside the
    64-bit one wherever their versions differ."""
    library = pathlib.Path("/usr/lib/x86_64-linux-gnu/libbenchmark.so").resolve()
    package = tools.run(["dpkg", "-S", library]).split(":")[0]
    folder = tools.FOLDER / package
    unpacked = folder / "usr/lib/i386-linux-gnu" / library.name
    if not unpacked.exists():
        tools.run(["scripts/i386-packages", folder, package])
        for archive in folder.glob("*.deb"):
            tools.run(["dpkg-deb", "-x", archive, folder])
    return unpacked.resolve()


def _google_benchmarks(program, seconds):
    """The entries of a Google Benchmark program's report."""
    return tools.measured_json([program, f"--benchmark_min_time={seconds}",
                                "--benchmark_format=json"], 1)["benchmarks"]


def measure(seconds):
    """Nanoseconds a macroblock, by architecture, kernel and class."""
    tools.build("native32", ["kernel_bench"], [f"-DQIVM_BENCHMARK_LIBRARY={_library32()}"])
    tools.step("Measuring kernels")
    times = {}
    for architecture, preset in (("x86_64", "native"), ("i686", "native32")):
        for entry in _google_benchmarks(f"out/{preset}/kernel_bench", seconds):
            # KERNEL/class:CODE/manual_time
            kernel, code = re.match(r"(.*)/class:([^/]+)/", entry["name"]).groups()
            of_kernel = times.setdefault(architecture, {}).setdefault(kernel, {})
            of_kernel[code] = entry["nsPerMacroblock"]
    return times
