"""Times what Google Benchmark measures: kernels, passes and what is done by one thread alone."""
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


def _measure(preset, seconds, names):
    """Nanoseconds by the names that kernel_bench tells of."""
    report = tools.measured_json(
        [f"out/{preset}/kernel_bench", f"--benchmark_min_time={seconds}",
         f"--benchmark_filter={names}", "--benchmark_format=json"], len(tools.processors()))
    return {re.sub("/manual_time$", "", entry["name"]): entry["ns"]
            for entry in report["benchmarks"]}


def measure_passes(seconds):
    """The passes and what surrounds the rows alone, in 64-bit code."""
    tools.step("Measuring passes")
    return {"x86_64": _measure("native", seconds, "^(pass|frame|wake)/")}


def measure(seconds):
    """Everything, by architecture."""
    tools.build("native32", ["kernel_bench"], [f"-DQIVM_BENCHMARK_LIBRARY={_library32()}"])
    tools.step("Measuring kernels")
    return {"x86_64": _measure("native", seconds, "."), "i686": _measure("native32", seconds, ".")}
