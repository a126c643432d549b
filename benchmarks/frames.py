"""Times whole frames through every codec."""
import itertools

from benchmarks import clips, tools

TASKS = [("decode", "yuy2"), ("decode", "rgb32"), ("encode", "yuy2"), ("encode", "rgb24")]
AREAS = ["176x144", "352x288", "720x576", "1280x720", "1920x1088", "2048x2048"]
# What a result is one of; of several results of one kind the fastest counts.
KEYS = ("clip", "quality", "task", "format", "program", "processors")


def _command(program, arguments, processors):
    if program == "ffmpeg":
        return ["out/native/ffmpeg_bench", *arguments]
    if program == "core":
        return [clips.CORE, *arguments, "--threads", processors]
    bitness = {"driver32": "x86", "driver64": "x64"}[program]
    return tools.wine_command(bitness, f"out/{bitness}/vfw_bench.exe", *arguments,
                              "--driver", f"out/{bitness}/qivm.dll")


def _variants(programs):
    """The programs and the numbers of processors on which each is measured."""
    return [("ffmpeg", 1), *itertools.product(programs, tools.processor_counts())]


def _measure(clip, quality, task, pixel_format, program, processors, seconds):
    source = (clips.bitmaps(clip, pixel_format) if task == "encode"
              else clips.stream(clip, quality))
    arguments = [task, source, "--size", clips.size_of(clip), "--format", pixel_format,
                 "--quality", quality, "--seconds", seconds]
    kind = dict(zip(KEYS, (clip, quality, task, pixel_format, program, processors)))
    return kind | tools.measured_json(_command(program, arguments, processors), processors)


def _fastest(results):
    best = {}
    for result in results:
        kind = tuple(result[key] for key in KEYS)
        if kind not in best or best[kind]["framesPerSecond"] < result["framesPerSecond"]:
            best[kind] = result
    return list(best.values())


def _measure_all(jobs, rounds, seconds):
    """In turns, so that a busy moment of the machine does not hit one program alone."""
    results = []
    for number, (round_, job) in enumerate(itertools.product(range(rounds), jobs), 1):
        tools.progress(f"{number} of {rounds * len(jobs)}: {', '.join(str(word) for word in job)}")
        results.append(_measure(*job, seconds))
    tools.progress("")
    return _fastest(results)


def measure(names, qualities, programs, rounds, seconds):
    tools.step("Measuring frames")
    jobs = [(clip, quality, *task, *variant)
            for clip in names for quality in qualities for task in TASKS for variant in _variants(programs)]
    return _measure_all(jobs, rounds, seconds)


def measure_scaling(rounds, seconds):
    """The 32-bit driver's time against a frame's coded bits and against its area."""
    tools.step("Measuring scaling")
    by_bits = [("hard-720x576", quality) for quality in range(0, 10001, 1000)]
    by_area = [(f"hard-{size}", clips.DEFAULT_QUALITY) for size in AREAS]
    for size in AREAS:
        width, height = map(int, size.split("x"))
        clips.make_hard(f"hard-{size}", 12_000_000 // (width * height))
    for clip, quality in by_bits + by_area:
        clips.encode(clip, quality)
    return {
        kind: _measure_all([(clip, quality, task, "yuy2", "driver32", 1)
                            for task in ("decode", "encode") for clip, quality in inputs],
                           rounds, seconds)
        for kind, inputs in (("bits", by_bits), ("area", by_area))
    }
