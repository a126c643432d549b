#include "tools/vfwtool/avi_reader.h"

#include <algorithm>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/little_endian.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

// Of a stream header ("strh"): the place of its fields and the bytes that have them all.
constexpr std::size_t kHandlerOffset = 4;
constexpr std::size_t kScaleOffset = 20;
constexpr std::size_t kRateOffset = 24;
constexpr std::size_t kLengthOffset = 32;
constexpr std::size_t kStreamHeaderBytes = 36;

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why));
}

std::ifstream OpenAvi(const std::string& name) {
  if (name == kStandardStream) {
    Refuse("standard input", "an AVI must be a file, for it is not read in order");
  }
  return OpenInput(name);
}

}  // namespace

AviReader::AviReader(const std::string& name)
    : name_(name), stream_(OpenAvi(name)), fileBytes_(FileBytes(name).value_or(0)) {
  const RiffFile file(stream_, fileBytes_);
  ReadHeaders(file);
  if (!videoStream_) {
    Refuse(name, "has no video stream");
  }
  if (rate_.numerator == 0 || rate_.denominator == 0) {
    Refuse(name, "the stream header states no frame rate");
  }
  if (format_.size() < kBitmapHeaderBytes) {
    Refuse(name, "the stream format is too short");
  }
  // A codec may read as much as the header says that it has.
  if (const std::uint32_t stated = ReadLittleEndian32(format_, 0);
      stated < kBitmapHeaderBytes || stated > format_.size()) {
    Refuse(name, "the stream format states a wrong size");
  }
  frames_ = FindAviFrames(file, *videoStream_, superIndex_);
}

void AviReader::ReadHeaders(const RiffFile& file) {
  const std::optional<RiffChunk> avi = file.ChunkAt(0, file.Bytes());
  if (!avi || avi->code != MakeFourCc("RIFF") || avi->listType != MakeFourCc("AVI ")) {
    Refuse(name_, "is not an AVI");
  }
  for (const RiffChunk& list : file.ChunksIn(*avi)) {
    if (list.listType != MakeFourCc("hdrl")) {
      continue;
    }
    for (const RiffChunk& stream : file.ChunksIn(list)) {
      if (stream.listType == MakeFourCc("strl")) {
        ReadStream(file, stream);
      }
    }
    return;
  }
}

void AviReader::ReadStream(const RiffFile& file, const RiffChunk& list) {
  const std::vector<RiffChunk> chunks = file.ChunksIn(list);
  const auto contentsOf = [&](FourCc code) {
    const auto found = std::ranges::find(chunks, code, &RiffChunk::code);
    return found == chunks.end() ? std::vector<std::uint8_t>() : file.Contents(*found);
  };
  const std::vector<std::uint8_t> header = contentsOf(MakeFourCc("strh"));
  if (header.size() < kStreamHeaderBytes) {
    Refuse(name_, "a stream header is too short");
  }
  const AviStreamReport report{.type = ReadLittleEndian32(header, 0),
                               .handler = ReadLittleEndian32(header, kHandlerOffset),
                               .length = ReadLittleEndian32(header, kLengthOffset)};
  streams_.push_back(report);
  if (videoStream_ || report.type != MakeFourCc("vids")) {
    return;
  }
  videoStream_ = streams_.size() - 1;
  handler_ = report.handler;
  rate_ = {ReadLittleEndian32(header, kRateOffset), ReadLittleEndian32(header, kScaleOffset)};
  format_ = contentsOf(MakeFourCc("strf"));
  superIndex_ = contentsOf(MakeFourCc("indx"));
}

std::span<std::uint8_t> AviReader::ReadFrame(std::uint32_t index) {
  const AviFrame& place = frames_.at(index);
  const RiffFile file(stream_, fileBytes_);
  if (!file.Holds(place.position, place.bytes)) {
    Refuse(name_, Concat("the file ends inside frame ", index + 1));
  }
  frame_.resize(std::max<std::size_t>(frame_.size(), place.bytes));
  const std::span<std::uint8_t> frame = std::span(frame_).first(place.bytes);
  if (!file.Read(place.position, frame)) {
    Refuse(name_, Concat("frame ", index + 1, " cannot be read"));
  }
  return frame;
}

}  // namespace qivm
