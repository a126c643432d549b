// Y4M clips, as files and as streams of unknown length.

#include "tests/fuzz/tool_input.h"
#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/media/y4m.h"

namespace vfwtool {
namespace {

void Look(std::span<const std::uint8_t> file, std::optional<std::uint64_t> fileBytes) {
  try {
    const std::unique_ptr<std::istream> stream = StreamOf(file);
    Y4mSource source(*stream, "input", fileBytes);
    const ClipFormat& format = source.Format();
    const FrameLayout& layout = format.layout;
    Require(layout.FrameBytes() <= file.size(), "no frame is larger than the clip");
    const Y4mHeader again = ParseY4mHeader(
        Y4mHeaderLine({layout.width, layout.height, format.rate, format.fields}), "output");
    Require(again.width == layout.width && again.height == layout.height &&
                again.rate == format.rate && again.fields == format.fields,
            "a header that is written is read as it was");
    Bytes frame(layout.FrameBytes());
    std::uint64_t frames = 0;
    while (source.Read(frame)) {
      ++frames;
    }
    Require(frames * frame.size() <= file.size(), "no byte is of two frames");
  } catch (const ToolError& error) {
    Require(error.Code() == ExitCode::kInput, "what is wrong is the input");
  }
}

}  // namespace
}  // namespace vfwtool

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vfwtool::Look({data, size}, size);
  vfwtool::Look({data, size}, std::nullopt);
  return 0;
}
