"""The tables that ./bench prints, and its chart."""
import itertools

from benchmarks import clips

# Columns: the codec's programs beside ffmpeg's.
PROGRAMS = {"driver32": "32-bit", "driver64": "64-bit", "core": "core"}
COLOURS = {"ffmpeg": "#9aa0a6", "driver32": "#4c8bf5", "driver64": "#1b4fa8"}
CLIP_NAMES = {"film": "film and photographs", "hard": "noise and moving figures"}


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
    header = ["clip", "task", "quality", "Mbit", "ffmpeg"]
    header += [f"{name}/{count}" for name in PROGRAMS.values() for count in counts]
    header += [f"{name}:ffmpeg" for name in PROGRAMS.values()]
    header += [f"{name} {most}:1" for name in PROGRAMS.values() if most > 1]
    rows = []
    for (clip, quality, task, pixel_format), of in _rows(results["frames"]):
        speed = lambda program, count: of[program, count]["framesPerSecond"]
        ffmpeg = speed("ffmpeg", 1)
        row = [clip, f"{task} {pixel_format}", quality,
               f"{of['ffmpeg', 1]['bitsPerFrame'] / 1e6:.2f}", f"{ffmpeg:.0f}"]
        row += [f"{speed(program, count):.0f}" for program in PROGRAMS for count in counts]
        row += [f"{speed(program, 1) / ffmpeg:.2f}" for program in PROGRAMS]
        row += [f"{speed(program, most) / speed(program, 1):.2f}"
                for program in PROGRAMS if most > 1]
        rows.append(row)
    return (f"Frames a second, on {', '.join(map(str, counts))} processor(s); ffmpeg on 1\n"
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


def _kernels(results):
    texts = []
    for architecture, kernels in results.items():
        classes = sorted({code for times in kernels.values() for code in times} - {"0"},
                         key=lambda code: (int(code.split("+")[0]), code))
        rows = [["", kernel, f"{times['0']:.1f}"]
                + [f"{times['0'] / times[code]:.2f}" if code in times else "-" for code in classes]
                for kernel, times in kernels.items()]
        texts.append(f"Kernels, {architecture}: nanoseconds a macroblock of the plain kernel, and how "
                     "many times\nfaster those of the other processor classes are\n"
                     + _table(["", "kernel", "plain", *classes], rows))
    return "\n\n".join(texts)


def text(results):
    parts = [_frames(results)]
    if "scaling" in results:
        parts.append(_scaling(results["scaling"]))
    if "kernels" in results:
        parts.append(_kernels(results["kernels"]))
    return "\n" + "\n\n".join(parts)


def _bars(results):
    """The headline: for each clip and direction the bars (label, speed, colour), speed in frames a
    second."""
    counts = sorted({1, results["processors"][-1]})
    variants = [("ffmpeg", 1)] + [(program, count) for count in counts
                                  for program in ("driver32", "driver64")]
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
    left, width, bar, gap = 150, 480, 16, 30
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
