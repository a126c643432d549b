#include "tools/vfwtool/transfer_report.h"

#include <string_view>

#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

double PerSecond(std::uint64_t frames, double seconds) {
  return static_cast<double>(frames) / seconds;
}

std::string SpeedText(std::uint64_t frames, double seconds) {
  if (frames == 0 || seconds <= 0) {
    return Concat(FixedText(seconds, 3), " s");
  }
  return Concat(FixedText(seconds, 3), " s, ", FixedText(PerSecond(frames, seconds), 1),
                " frames/s");
}

}  // namespace

std::string TransferReport::Text() const {
  std::string text =
      Concat(action, ' ', CountText(compressed.Count(), "frame"), " of ", format.layout.width, 'x',
             format.layout.height, ' ', PixelFormatName(format.layout.format), " at ",
             format.rate.Text(), " frames/s from ", input, " to ", output, '\n');
  text += Concat("  codec       ", codec.Text());
  if (quality) {
    text += Concat(", quality ", *quality, " of 10000");
  }
  text += Concat("\n  compressed  ", ByteCountText(compressed.Total()), ", ", compressed.Text());
  if (outputBytes) {
    text += Concat("\n  output      ", ByteCountText(*outputBytes));
  }
  text += Concat("\n  in codec    ", SpeedText(compressed.Count(), codecSeconds),
                 "\n  altogether  ", SpeedText(compressed.Count(), totalSeconds), '\n');
  return text;
}

JsonObject TransferReport::Json() const {
  JsonObject json;
  json.Text("action", action)
      .Text("input", input)
      .Text("output", output)
      .Object("codec", codec.Json())
      .Integer("width", format.layout.width)
      .Integer("height", format.layout.height)
      .Text("pixelFormat", PixelFormatName(format.layout.format))
      .Number("framesPerSecond", format.rate.PerSecond());
  if (quality) {
    json.Integer("quality", *quality);
  }
  json.Integer("frames", static_cast<std::int64_t>(compressed.Count()))
      .Object("compressedBytes", compressed.Json());
  if (outputBytes) {
    json.Integer("outputBytes", static_cast<std::int64_t>(*outputBytes));
  }
  json.Number("codecSeconds", codecSeconds)
      .Number("codecFramesPerSecond", PerSecond(compressed.Count(), codecSeconds), 2)
      .Number("totalSeconds", totalSeconds)
      .Number("totalFramesPerSecond", PerSecond(compressed.Count(), totalSeconds), 2);
  return json;
}

}  // namespace qivm
