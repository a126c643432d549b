"""The clips that ./bench codes: bitmaps as the codec takes them, and their streams."""
import os
import pathlib

from benchmarks import tools

CLIPS = tools.FOLDER / "clips"
QUALITIES = [10000, 8000, 5000]
DEFAULT_QUALITY = 8000
CORE = "out/native/frame_bench"


def bitmaps(name, pixel_format):
    return CLIPS / f"{name}.{pixel_format}"


def stream(name, quality):
    return CLIPS / f"{name}-{quality}.m2v"


def size_of(name):
    """Of names such as film-720x576."""
    return name.rsplit("-", 1)[1]


def _ffmpeg(*arguments):
    tools.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-y", *arguments])


def _make(name, *source):
    """NAME.yuy2 and NAME.rgb24, of ffmpeg's input."""
    if bitmaps(name, "rgb24").exists():
        return
    size = size_of(name)
    raw = ["-f", "rawvideo", "-pix_fmt"]
    new = bitmaps(name, "rgb24.new")
    _ffmpeg(*source, "-fps_mode", "passthrough", *raw, "yuyv422", bitmaps(name, "yuy2"))
    _ffmpeg(*raw, "yuyv422", "-video_size", size, "-i", bitmaps(name, "yuy2"), "-vf", "vflip",
            *raw, "bgr24", new)
    new.rename(bitmaps(name, "rgb24"))


def make_hard(name, frames):
    """Interlaced pictures with moving figures and noise, different in every field."""
    _make(name, "-f", "lavfi", "-i",
          f"testsrc2=size={size_of(name)}:rate=50,noise=alls=40:allf=t:all_seed=7,"
          "tinterlace=mode=interleave_top", "-frames:v", frames)


def _make_film():
    """Every seventh frame of the demo's clip."""
    name = "film-720x576"
    if not bitmaps(name, "rgb24").exists():
        clip = CLIPS / "demo.y4m"
        tools.run(["scripts/demo-footage", clip])
        _make(name, "-i", clip, "-vf", "select='not(mod(n,7))'")
        clip.unlink()
    return name


def _make_photographs():
    """The demo's photographs, unpacked with its clip, in their own resolution."""
    name = "film-1920x1088"
    cache = os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache")
    footage = pathlib.Path(cache) / "qivm/footage"
    picture = ["-r", "50", "-loop", "1", "-i"]
    _make(name, *picture, footage / "LadyBird.jpg", *picture, footage / "Dune.jpg",
          "-filter_complex", """
          [0:v]trim=end_frame=12,format=yuv444p,crop=1920:1088:600-8*n:300+4*n,format=yuv422p,
               setsar=1,interlace=scan=tff:lowpass=linear[a];
          [1:v]trim=end_frame=8,scale=1960:1225,format=yuv444p,crop=1920:1088:2*n:100+n,
               format=yuv422p,setsar=1,interlace=scan=tff:lowpass=linear[b];
          [a][b]concat=n=2""")
    return name


def encode(name, quality):
    """The stream of a clip, for everybody to decode, coded on one thread."""
    tools.run([CORE, "encode", bitmaps(name, "yuy2"), "--size", size_of(name), "--quality", quality,
               "--seconds", 0, "--output", stream(name, quality)])


def make(quick):
    """The clips' names; their bitmaps and streams are there afterwards."""
    CLIPS.mkdir(parents=True, exist_ok=True)
    make_hard("hard-720x576", 24)
    names = [_make_film(), "hard-720x576"]
    if not quick:
        make_hard("hard-1920x1088", 10)
        names += [_make_photographs(), "hard-1920x1088"]
    for name in names:
        for quality in [DEFAULT_QUALITY] if quick else QUALITIES:
            encode(name, quality)
    return names
