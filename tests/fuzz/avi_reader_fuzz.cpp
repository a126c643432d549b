// AVIs, whole and damaged: what is found in them, what is checked of them, and their streams cut
// and joined.

#include <array>

#include "tests/fuzz/tool_input.h"
#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/media/avi_check.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {
namespace {

std::uint64_t BytesOf(const std::vector<AviChunk>& chunks) {
  std::uint64_t bytes = 0;
  for (const AviChunk& chunk : chunks) {
    bytes += chunk.bytes;
  }
  return bytes;
}

void RequireChunksInside(const AviReader& reader) {
  std::uint64_t chunks = 0;
  std::uint64_t bytes = 0;
  for (const std::vector<AviChunk>& stream : reader.Contents().streams) {
    chunks += stream.size();
    bytes += BytesOf(stream);
    for (const AviChunk& chunk : stream) {
      Require(reader.File().Holds(chunk.position, chunk.bytes), "chunks lie inside the file");
    }
  }
  Require(chunks * kChunkHeaderBytes + bytes <= reader.FileSize(), "no byte is of two chunks");
}

/// Reads a source to its end and returns the bytes of its packets.
std::uint64_t ReadAll(PacketSource& source) {
  PacketSource::Packet packet;
  std::uint64_t bytes = 0;
  std::uint64_t before = 0;
  while (const std::optional<std::uint64_t> begin = source.NextBegin()) {
    Require(*begin >= before, "packets come in their order");
    before = *begin;
    source.Read(packet);
    bytes += packet.bytes.size();
  }
  return bytes;
}

void CutAndJoin(const AviReader& reader, std::size_t stream) {
  const std::uint64_t whole = BytesOf(reader.Contents().streams[stream]);
  AviPackets all(reader, stream);
  Require(ReadAll(all) == whole, "a stream is read to its last byte");
  const std::uint64_t start = reader.Headers().streams[stream].Field(StreamField::kStart);
  const std::uint64_t middle = start + (EndOf(reader, stream) - start) / 2;
  JoinedPackets joined;
  joined.Add(std::make_unique<AviPackets>(reader, stream, AviPackets::Part{0, middle}), 0, 0);
  joined.Add(std::make_unique<AviPackets>(reader, stream, AviPackets::Part{middle, UINT64_MAX}),
             middle, middle);
  const std::uint64_t bytes = ReadAll(joined);
  Require(bytes == whole, "what was cut and joined is what it was");
}

void Look(std::span<const std::uint8_t> file, const AviHeaders* lent) {
  try {
    AviReader reader(StreamOf(file), file.size(), "input", lent);
    RequireChunksInside(reader);
    for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
      Require(reader.ReadFrame(i).size() == reader.Frame(i).bytes, "frames are read whole");
    }
    std::size_t findings = 0;
    CheckStructure(reader, [&](const AviFinding& finding) {
      Require(!finding.what.empty(), "a finding is told in words");
      ++findings;
    });
    Require(findings <= file.size() + reader.Headers().streams.size() * 16 + 16,
            "findings are no more than there are bytes");
    for (std::size_t i = 0; i < reader.Headers().streams.size(); ++i) {
      if (i != reader.VideoStream()) {
        CutAndJoin(reader, i);
      }
    }
  } catch (const ToolError& error) {
    Require(error.Code() == ExitCode::kInput, "what is wrong is the input");
  }
}

AviHeaders LentHeaders() {
  const Bytes format = MakeBitmapFormat({PixelFormat::kYuy2, 16, 16});
  const Bytes sound = {1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0};
  return {
      .streams = {MakeVideoHeaders(format, "QIVM"_fourcc, {25, 1}, true), MakeSoundHeaders(sound)}};
}

}  // namespace
}  // namespace vfwtool

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vfwtool::AviHeaders lent = vfwtool::LentHeaders();
  vfwtool::Look({data, size}, nullptr);
  vfwtool::Look({data, size}, &lent);
  return 0;
}
