// MPEG-2 video elementary streams: how they are taken apart into frames, and what is found in
// those.

#include "tests/fuzz/tool_input.h"
#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

void LookAtFrame(Bytes& frame) {
  const MpegHeaders headers = ReadMpegHeaders(frame);
  Require(headers.hasSequence && headers.pictures == 1, "a frame has its headers");
  const std::vector<FrameDamage> damages = FindDamage(
      frame, static_cast<std::int32_t>(headers.width), static_cast<std::int32_t>(headers.height));
  for (const FrameDamage& damage : damages) {
    Require(damage.offset <= frame.size() && !damage.what.empty(), "damage has a place and a name");
  }
  if (WhyNotDecodable(headers)) {
    Require(!damages.empty(), "a frame that the codec does not decode is damaged");
  }
  const Bytes before = frame;
  if (MakeStandard(frame)) {
    std::size_t changed = 0;
    for (std::size_t i = 0; i < frame.size(); ++i) {
      changed += frame[i] != before[i] ? 1U : 0U;
    }
    Require(changed <= 1, "one bit is changed");
  } else {
    Require(frame == before, "a frame that is refused stays as it is");
  }
}

void Look(std::span<const std::uint8_t> file) {
  try {
    const std::unique_ptr<std::istream> stream = StreamOf(file);
    MpegFrameReader reader(*stream, "input");
    Bytes frame;
    std::size_t frames = 0;
    while (reader.Next(frame)) {
      LookAtFrame(frame);
      Require(frame.size() <= file.size() + qivm::mpeg2::kStartCodeBytes,
              "a frame has the stream's bytes and an end code");
      ++frames;
    }
    Require(frames * qivm::mpeg2::kStartCodeBytes <= file.size(), "every frame has a slice");
  } catch (const ToolError& error) {
    Require(error.Code() == ExitCode::kInput, "what is wrong is the input");
  }
}

}  // namespace
}  // namespace vfwtool

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vfwtool::Look({data, size});
  return 0;
}
