// WAV and RF64 files.

#include "tests/fuzz/tool_input.h"
#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/media/wav.h"

namespace vfwtool {
namespace {

void Look(std::span<const std::uint8_t> file) {
  try {
    WavPackets sound(StreamOf(file), file.size(), "input");
    const std::uint32_t blockBytes = sound.Headers().Field(StreamField::kSampleSize);
    Require(blockBytes != 0 && sound.Headers().Rate().IsValid(), "sound has blocks and a rate");
    PacketSource::Packet packet;
    std::uint64_t bytes = 0;
    while (const std::optional<std::uint64_t> begin = sound.NextBegin()) {
      Require(*begin * blockBytes == bytes, "packets follow one another without gaps");
      sound.Read(packet);
      Require(!packet.bytes.empty() && packet.bytes.size() % blockBytes == 0,
              "packets have whole blocks");
      bytes += packet.bytes.size();
    }
    Require(bytes <= file.size(), "no byte is of two packets");
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
