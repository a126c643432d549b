"""What the parts of ./bench share: commands, builds, processors, wine."""
import contextlib
import json
import os
import pathlib
import platform
import re
import subprocess
import sys

FOLDER = pathlib.Path("out/bench")
WINE = {"x86": FOLDER / "wine-x86", "x64": FOLDER / "wine-x64"}


class BenchError(Exception):
    """Ends the run with a message."""


def step(text):
    print(f"==> {text}", flush=True)


def progress(text):
    """Says what is going on, over itself on a terminal."""
    if sys.stdout.isatty():
        print(f"\r\033[K    {text}", end="" if text else "\r", flush=True)


def run(command, **options):
    """Runs a command; its output is shown only when it fails."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        print("\n".join(done.stdout.splitlines()[-40:]), file=sys.stderr)
        raise BenchError(f"this failed: {' '.join(str(word) for word in command)}")
    return done.stdout


def build(preset, targets, options=()):
    step(f"Building: {preset}")
    run(["cmake", "--preset", preset, *options])
    run(["cmake", "--build", "--preset", preset, "--parallel", os.cpu_count(), "--target", *targets])


def processors():
    """The processors that this process may use."""
    return sorted(os.sched_getaffinity(0))


def processor_counts():
    """On how many processors to measure: 1, 2, 4 and so on up to all."""
    available = len(processors())
    return sorted({1 << power for power in range(available.bit_length())} | {available})


def measured_json(command, count):
    """Runs a program on some of the processors; its JSON."""
    chosen = processors()[:count]
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, check=True,
                          preexec_fn=lambda: os.sched_setaffinity(0, chosen))
    return json.loads(done.stdout)


def write_json(path, value):
    """In one go, so that no half-written file is left."""
    new = path.with_suffix(".new")
    new.write_text(json.dumps(value, indent=1) + "\n")
    new.replace(path)


@contextlib.contextmanager
def wine_prefixes():
    """Wine servers that run on all processors while this lasts."""
    try:
        for bitness, prefix in WINE.items():
            wine(bitness, "cmd.exe", "/c", "ver")
        yield
    finally:
        run(["scripts/wine-stop", *WINE.values()])


def wine_command(bitness, *command):
    return ["scripts/wine-run", "--prefix", WINE[bitness], "--bitness", bitness, *command]


def wine(bitness, *command):
    return run(wine_command(bitness, *command))


def machine():
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text()
    return {
        "processor": re.search(r"^model name\s*: (.*)$", cpuinfo, re.MULTILINE).group(1),
        "kernel": platform.release(),
        "ffmpeg": re.search(r"^ffmpeg version (\S+)", run(["ffmpeg", "-version"])).group(1),
    }
