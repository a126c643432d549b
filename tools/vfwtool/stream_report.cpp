#include "tools/vfwtool/stream_report.h"

#include "tools/vfwtool/text.h"

namespace qivm {

std::string StreamReport::Text() const {
  return Concat(action, ' ', CountText(frames, "frame"), " of ", width, 'x', height, " at ",
                rate.Text(), " frames/s from ", input, " to ", output, ", ",
                ByteCountText(outputBytes), '\n');
}

JsonObject StreamReport::Json() const {
  JsonObject json;
  json.Text("action", action)
      .Text("input", input)
      .Text("output", output)
      .Integer("width", width)
      .Integer("height", height)
      .Integer("rate", rate.numerator)
      .Integer("scale", rate.denominator)
      .Integer("frames", static_cast<std::int64_t>(frames))
      .Integer("outputBytes", static_cast<std::int64_t>(outputBytes));
  return json;
}

}  // namespace qivm
