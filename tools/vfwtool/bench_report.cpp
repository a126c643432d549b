#include "tools/vfwtool/bench_report.h"

#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

std::string SpeedText(const BenchSpeed& speed) {
  return Concat(FixedText(speed.FramesPerSecond(), 1), " frames/s, ",
                FixedText(1000 / speed.FramesPerSecond(), 3), " ms a frame");
}

JsonObject SpeedJson(const BenchSpeed& speed) {
  JsonObject json;
  json.Integer("frames", static_cast<std::int64_t>(speed.frames))
      .Number("seconds", speed.seconds)
      .Number("framesPerSecond", speed.FramesPerSecond(), 2);
  return json;
}

}  // namespace

std::string BenchReport::Text() const {
  return Concat("measured ", codec.Text(), " with ", CountText(pictures, "picture"), " of ",
                layout.width, 'x', layout.height, ' ', PixelFormatName(layout.format), " (", source,
                ")\n  compresses    ", SpeedText(compression), "\n  decompresses  ",
                SpeedText(decompression), "\n  frames        ", compressed.Text(), '\n');
}

JsonObject BenchReport::Json() const {
  JsonObject json;
  json.Object("codec", codec.Json())
      .Text("source", source)
      .Integer("width", layout.width)
      .Integer("height", layout.height)
      .Text("pixelFormat", PixelFormatName(layout.format))
      .Integer("pictures", static_cast<std::int64_t>(pictures))
      .Object("compressedBytes", compressed.Json())
      .Object("compression", SpeedJson(compression))
      .Object("decompression", SpeedJson(decompression));
  return json;
}

}  // namespace qivm
