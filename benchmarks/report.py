"""The tables that ./bench prints, and its chart."""
import itertools

from benchmarks import clips

# How the codec's programs are called in tables and in the chart.
PROGRAMS = {"core": "64-bit", "driver64": "64-bit DLL", "driver32": "32-bit DLL"}
COLOURS = {"ffmpeg": "#9aa0a6", "core": "#1b4fa8", "driver32": "#4c8bf5"}
CLIP_NAMES = {"film": "film and photographs", "hard": "noise and moving figures"}
TIERS = ["plain", "sse2", "avx2"]


def _rows(results):
    """Results of one clip, quality and task: (clip, quality, task, format), {(program, processors):
    result}."""
    kind = lambda result: tuple(result[key] for key in ("clip", "quality", "task", "format"))
    return [(key, {(result["program"], result["processors"]): result for result in group})
            for key, group in itertools.groupby(sorted(results, key=kind), kind)]


def _table(header, rows):
    lines = [[str(cell) for cell in row] for row in [header, *rows]]
    widths = [max(map(len, column)) for column in zip(*lines)]
    return "\n".join(
        "  ".join(cell.ljust(width) if index < 2 else cell.rjust(width)
                  for index, (cell, width) in enumerate(zip(line, widths))).rstrip()
        for line in lines)


def _frames(results):
    counts = results["processors"]
    most = counts[-1]
    measured = {result["program"] for result in results["frames"]}
    programs = {program: name for program, name in PROGRAMS.items() if program in measured}
    header = ["clip", "task", "quality", "Mbit", "ffmpeg"]
    header += [f"{name}/{count}" for name in programs.values() for count in counts]
    header += [f"{name}:ffmpeg" for name in programs.values()]
    header += [f"{name} {most}:1" for name in programs.values() if most > 1]
    rows = []
    for (clip, quality, task, pixel_format), of in _rows(results["frames"]):
        speed = lambda program, count: of[program, count]["framesPerSecond"]
        ffmpeg = speed("ffmpeg", 1)
        row = [clip, f"{task} {pixel_format}", quality,
               f"{of['ffmpeg', 1]['bitsPerFrame'] / 1e6:.2f}", f"{ffmpeg:.0f}"]
        row += [f"{speed(program, count):.0f}" for program in programs for count in counts]
        row += [f"{speed(program, 1) / ffmpeg:.2f}" for program in programs]
        row += [f"{speed(program, most) / speed(program, 1):.2f}"
                for program in programs if most > 1]
        rows.append(row)
    return (f"Frames a second, on {', '.join(map(str, counts))} processor(s); ffmpeg on 1; DLLs under "
            "wine\n"
            + _table(header, rows))


def _fit(points):
    """y = intercept + slope x by least squares, and the share of the variance that it explains."""
    count = len(points)
    mean_x, mean_y = (sum(column) / count for column in zip(*points))
    xy = sum((x - mean_x) * (y - mean_y) for x, y in points)
    xx = sum((x - mean_x) ** 2 for x, _ in points)
    yy = sum((y - mean_y) ** 2 for _, y in points)
    return xy / xx, mean_y - xy / xx * mean_x, xy * xy / (xx * yy)


def _scaling(results):
    units = {"bits": ("Mbit coded (hard clip, 720x576, qualities 0 to 10000)",
                      lambda result: result["bitsPerFrame"] / 1e6),
             "area": ("million pixels (hard clips, quality 8000)",
                      lambda result: result["width"] * result["height"] / 1e6)}
    lines = []
    for kind, (unit, measure) in units.items():
        lines.append(f"Milliseconds a frame against {unit}, 32-bit driver")
        for task in ("decode", "encode"):
            points = sorted((measure(result), 1000 / result["framesPerSecond"])
                            for result in results[kind] if result["task"] == task)
            slope, intercept, explained = _fit(points)
            lines.append(f"  {task}  " + "  ".join(f"{x:.2f}: {y:.1f}" for x, y in points))
            lines.append(f"  {task} line: {intercept:.2f} ms + {slope:.2f} ms a million; "
                         f"explains {100 * explained:.1f} %")
    return "\n".join(lines)


def _parts(results):
    texts = []
    for architecture, times in results.items():
        tiers = {}
        for name, ns in times.items():
            part, _, tier = name.partition("/tier:")
            if tier:
                tiers.setdefault(part, {})[tier] = f"{ns:.1f}"
        rows = [[part, ""] + [of.get(tier, "-") for tier in TIERS] for part, of in sorted(tiers.items())]
        texts.append(f"Kernels and passes, {architecture}: nanoseconds a macroblock\n"
                     + _table(["part", "", *TIERS], rows))
    return "\n\n".join(texts)


def _processors(results):
    """What the serial part and the time of waking threads let expect of more processors."""
    times = results["parts"]["x86_64"]
    wake = times.get("wake/seats:2", 0) / 1e6
    lines = ["Times as fast as one processor, 64-bit. Computed: all that is not serial is shared evenly, but a "
             "thread begins\nonly when it is awake (two are woken by each), and at the end each waits for half "
             "a row. Waking one: "
             f"{1000 * wake:.0f} us"]
    for (clip, quality, task, pixel_format), of in _rows(results["frames"]):
        if pixel_format != "yuy2" or quality != clips.DEFAULT_QUALITY:
            continue
        alone = 1000 / of["core", 1]["framesPerSecond"]
        thousands = of["core", 1]["bitsPerFrame"] / 8000
        serial = {"decode": times["frame/headers"], "encode": 0}[task] / 1e6
        beside = {"decode": "index", "encode": "join"}[task]
        shared = alone - serial
        rows = of["core", 1]["height"] // 16
        cells = []
        for count in (2, 4, 8, 16):
            # Of two threads that one wakes, each wakes two more, and so on.
            delays = wake * sum((seat + 1).bit_length() - 1 for seat in range(count))
            together = serial + (shared + delays) / count + shared / rows / 2
            cells.append(f"{count}: {alone / together:.1f}")
            if ("core", count) in of:
                measured = of["core", count]["framesPerSecond"] * alone / 1000
                cells[-1] += f" (measured {measured:.2f})"
        lines.append(f"  {clip} {task}  {alone:.3f} ms, serial {1000 * serial:.1f} us, shared {beside} "
                     f"{times['frame/' + beside] * thousands / 1000:.1f} us  " + "  ".join(cells))
    return "\n".join(lines)


def text(results):
    parts = [_frames(results), _processors(results)]
    if "scaling" in results:
        parts.append(_scaling(results["scaling"]))
    parts.append(_parts(results["parts"]))
    return "\n" + "\n\n".join(parts)


def _bars(results):
    """The headline: for each clip and direction the bars (label, speed, colour), speed in frames a
    second."""
    counts = sorted({1, results["processors"][-1]})
    variants = [("ffmpeg", 1)] + [(program, count) for count in counts
                                  for program in ("core", "driver32")]
    for (clip, quality, task, pixel_format), of in _rows(results["frames"]):
        name, size = clip.rsplit("-", 1)
        if (size, quality, pixel_format) != ("720x576", clips.DEFAULT_QUALITY, "yuy2"):
            continue
        bars = []
        for program, count in variants:
            who = PROGRAMS.get(program, program)
            processors = f"{count} processor" + ("s" if count > 1 else "")
            bars.append((f"{who}, {processors}", of[program, count]["framesPerSecond"],
                         COLOURS[program]))
        yield f"{task}, {CLIP_NAMES[name]}", bars


def write_chart(results, path):
    """The headline as an SVG picture of horizontal bars."""
    groups = list(_bars(results))
    left, width, bar, gap = 170, 480, 16, 30
    scale = width / max(speed for _, bars in groups for _, speed, _ in bars)
    y = gap
    parts = []
    for title, bars in groups:
        parts.append(f'<text x="8" y="{y}" font-weight="bold">{title}</text>')
        y += 8
        ffmpeg = bars[0][1]
        for label, speed, colour in bars:
            middle = y + bar - 5
            parts.append(
                f'<text x="{left - 8}" y="{middle}" text-anchor="end">{label}</text>'
                f'<rect x="{left}" y="{y}" width="{speed * scale:.0f}" height="{bar - 3}" '
                f'fill="{colour}"/>'
                f'<text x="{left + speed * scale + 6:.0f}" y="{middle}">{speed:.0f} '
                f'({speed / ffmpeg:.1f} x)</text>')
            y += bar
        y += gap
    processor = results["machine"]["processor"]
    parts.append(f'<text x="8" y="{y - 8}" fill="#666">Frames a second, 720x576, 4:2:2, quality '
                 f'{clips.DEFAULT_QUALITY}; {processor}</text>')
    path.write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 100}" height="{y}" '
        'font-family="sans-serif" font-size="12">\n<rect width="100%" height="100%" fill="white"/>\n'
        + "\n".join(parts) + "\n</svg>\n")
