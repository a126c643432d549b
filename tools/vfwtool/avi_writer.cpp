#include "tools/vfwtool/avi_writer.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/riff_chunks.h"
#include "tools/vfwtool/stream_output.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

// Where the frames begin, as in the AVIs that Windows' own functions write.
constexpr std::size_t kMovieAlignment = 2048;

constexpr std::uint32_t kListHeaderBytes = kChunkHeaderBytes + kListTypeBytes;
// AVIF_HASINDEX alone: with AVIF_TRUSTCKTYPE, frames marked "dc" would never count as key frames.
constexpr std::uint32_t kHasIndexFlag = 0x10;
// The list "odml" with its one chunk, "dmlh", of one number.
constexpr std::size_t kOpenDmlListBytes = kListHeaderBytes + kChunkHeaderBytes + 4;

/// A header field of 32 bits that cannot hold more.
std::uint32_t Saturated(double value) {
  return static_cast<std::uint32_t>(std::min(std::round(value), 4294967295.0));
}

}  // namespace

AviWriter::AviWriter(std::string name, AviStreamFormat format, const AviLimits& limits)
    : name_(std::move(name)),
      format_(std::move(format)),
      limits_(limits),
      file_(OpenOutput(name_)),
      segments_(1) {
  const std::vector<std::uint8_t> headers = Headers();
  segments_.front().movie = headers.size() - kListTypeBytes;
  WriteBytes(file_, name_, headers);
}

AviWriter::~AviWriter() {
  if (!file_.is_open()) {
    return;
  }
  if (frames_ == 0) {
    file_.close();
    RemoveFile(name_);
    return;
  }
  try {
    file_.clear();
    Finish();
  } catch (const ToolError&) {
    // What ended the work early has been reported; the file stays as far as it came.
    file_.close();
  }
}

FourCc AviWriter::FrameCode() const {
  return format_.isCompressed ? MakeFourCc("00dc") : MakeFourCc("00db");
}

std::uint64_t AviWriter::SegmentBytes(std::uint64_t chunkBytes, std::uint64_t frames) const {
  const Segment& segment = segments_.back();
  const std::uint64_t entries = segment.frames + frames;
  std::uint64_t bytes = segment.FramesEnd() - segment.begin + chunkBytes;
  if (limits_.segments > 1) {
    bytes += kChunkHeaderBytes + kStandardIndexHeaderBytes + entries * kStandardIndexEntryBytes;
  }
  if (segments_.size() == 1) {
    bytes += kChunkHeaderBytes + entries * kIndexEntryBytes;
  }
  return bytes;
}

std::vector<std::uint8_t> AviWriter::IndexHeader(std::uint8_t type, std::uint32_t entryBytes,
                                                 std::size_t entries, std::uint64_t base) const {
  std::vector<std::uint8_t> index;
  AppendLittleEndian16(index, static_cast<std::uint16_t>(entryBytes / 4));
  index.push_back(0);  // No index of fields.
  index.push_back(type);
  AppendLittleEndian32(index, static_cast<std::uint32_t>(entries));
  AppendLittleEndian32(index, FrameCode());
  AppendLittleEndian64(index, base);
  index.resize(kStandardIndexHeaderBytes);  // Reserved.
  return index;
}

std::vector<std::uint8_t> AviWriter::SuperIndex() const {
  std::vector<std::uint8_t> index =
      IndexHeader(kIndexOfIndexes, kSuperIndexEntryBytes, segments_.size(), 0);
  for (const Segment& segment : segments_) {
    AppendLittleEndian64(index, segment.FramesEnd());
    AppendLittleEndian32(index, segment.standardIndexBytes);
    AppendLittleEndian32(index, segment.frames);
  }
  index.resize(kStandardIndexHeaderBytes + limits_.segments * kSuperIndexEntryBytes);
  return index;
}

std::vector<std::uint8_t> AviWriter::StreamList() const {
  const BitmapFormat bitmap = ReadBitmapFormat(format_.bitmap);
  std::vector<std::uint8_t> header;
  AppendLittleEndian32(header, MakeFourCc("vids"));
  AppendLittleEndian32(header, format_.handler);
  header.resize(header.size() + 12);  // Flags, priority, language, frames before the sound.
  AppendLittleEndian32(header, format_.rate.denominator);
  AppendLittleEndian32(header, format_.rate.numerator);
  AppendLittleEndian32(header, 0);  // Start.
  AppendLittleEndian32(header, frames_);
  AppendLittleEndian32(header, largestFrame_);
  AppendLittleEndian32(header, 0xFFFFFFFF);  // Quality: the codec's default.
  AppendLittleEndian32(header, 0);           // Sample size: frames have sizes of their own.
  AppendLittleEndian32(header, 0);           // Left and top of the picture.
  AppendLittleEndian16(header, static_cast<std::uint32_t>(bitmap.width));
  AppendLittleEndian16(header, static_cast<std::uint32_t>(bitmap.height));

  std::vector<std::uint8_t> list;
  AppendChunk(list, MakeFourCc("strh"), header);
  AppendChunk(list, MakeFourCc("strf"), format_.bitmap);
  const std::vector<std::uint8_t> superIndex = SuperIndex();
  if (segments_.size() > 1) {
    AppendChunk(list, MakeFourCc("indx"), superIndex);
  } else {
    AppendSpace(list, kChunkHeaderBytes + superIndex.size());
  }
  return list;
}

std::vector<std::uint8_t> AviWriter::Headers() const {
  const BitmapFormat bitmap = ReadBitmapFormat(format_.bitmap);
  const Segment& first = segments_.front();

  std::vector<std::uint8_t> main;
  AppendLittleEndian32(main, Saturated(1e6 / format_.rate.PerSecond()));  // Microseconds a frame.
  AppendLittleEndian32(main, Saturated(std::ceil((largestFrame_ + kChunkHeaderBytes) *
                                                 format_.rate.PerSecond())));  // Bytes a second.
  AppendLittleEndian32(main, 0);                                               // Padding.
  AppendLittleEndian32(main, kHasIndexFlag);
  AppendLittleEndian32(main, first.frames);  // What a reader of one segment finds.
  AppendLittleEndian32(main, 0);             // Frames before the sound.
  AppendLittleEndian32(main, 1);             // Streams.
  AppendLittleEndian32(main, largestFrame_ + kChunkHeaderBytes);
  AppendLittleEndian32(main, static_cast<std::uint32_t>(bitmap.width));
  AppendLittleEndian32(main, static_cast<std::uint32_t>(bitmap.height));
  main.resize(main.size() + 16);  // Reserved.

  std::vector<std::uint8_t> headerList;
  AppendChunk(headerList, MakeFourCc("avih"), main);
  AppendList(headerList, MakeFourCc("strl"), StreamList());
  if (segments_.size() > 1) {
    std::vector<std::uint8_t> frameCount;
    AppendLittleEndian32(frameCount, frames_);
    std::vector<std::uint8_t> openDml;
    AppendChunk(openDml, MakeFourCc("dmlh"), frameCount);
    AppendList(headerList, MakeFourCc("odml"), openDml);
  } else {
    AppendSpace(headerList, kOpenDmlListBytes);
  }

  std::vector<std::uint8_t> headers;
  AppendListHeader(headers, MakeFourCc("RIFF"), first.riffBytes, MakeFourCc("AVI "));
  AppendList(headers, MakeFourCc("hdrl"), headerList);
  const std::size_t used = headers.size() + kChunkHeaderBytes + kListHeaderBytes;
  const std::size_t padding = (kMovieAlignment - used % kMovieAlignment) % kMovieAlignment;
  AppendSpace(headers, kChunkHeaderBytes + padding);
  AppendListHeader(headers, MakeFourCc("LIST"), first.MovieBytes(), MakeFourCc("movi"));
  return headers;
}

std::vector<std::uint8_t> AviWriter::StandardIndex() const {
  std::vector<std::uint8_t> index =
      IndexHeader(kIndexOfChunks, kStandardIndexEntryBytes, index_.size(), segments_.back().movie);
  for (const IndexEntry& entry : index_) {
    AppendLittleEndian32(index, entry.offset + kChunkHeaderBytes);
    AppendLittleEndian32(index, entry.bytes | (entry.isKeyFrame ? 0 : kDeltaFrameBit));
  }
  return index;
}

std::vector<std::uint8_t> AviWriter::FirstIndex() const {
  std::vector<std::uint8_t> index;
  for (const IndexEntry& entry : index_) {
    AppendLittleEndian32(index, FrameCode());
    AppendLittleEndian32(index, entry.isKeyFrame ? kKeyFrameFlag : 0);
    AppendLittleEndian32(index, entry.offset);
    AppendLittleEndian32(index, entry.bytes);
  }
  return index;
}

void AviWriter::Write(std::span<const std::uint8_t> frame, bool isKeyFrame) {
  const std::uint64_t chunkBytes = kChunkHeaderBytes + PaddedBytes(frame.size());
  const auto fits = [&] {
    return SegmentBytes(chunkBytes, 1) <=
           (segments_.size() == 1 ? limits_.firstSegmentBytes : limits_.nextSegmentBytes);
  };
  if (!fits()) {
    if (segments_.size() < limits_.segments && segments_.back().frames != 0) {
      BeginNextSegment();
    }
    if (!fits()) {
      throw ToolError(ExitCode::kSizeLimit,
                      Concat(name_, ": an AVI cannot grow beyond ", ByteCountText(limits_.Total()),
                             "; put the rest of the clip into another file"));
    }
  }
  std::vector<std::uint8_t> chunkHeader;
  AppendLittleEndian32(chunkHeader, FrameCode());
  AppendLittleEndian32(chunkHeader, static_cast<std::uint32_t>(frame.size()));
  WriteBytes(file_, name_, chunkHeader);
  WriteBytes(file_, name_, frame);
  if (frame.size() % 2 != 0) {
    WriteText(file_, name_, std::string_view("\0", 1));
  }
  Segment& segment = segments_.back();
  index_.push_back(
      {kListTypeBytes + segment.frameBytes, static_cast<std::uint32_t>(frame.size()), isKeyFrame});
  segment.frameBytes += static_cast<std::uint32_t>(chunkBytes);
  ++segment.frames;
  largestFrame_ = std::max(largestFrame_, static_cast<std::uint32_t>(frame.size()));
  ++frames_;
}

void AviWriter::CompleteSegment(bool isOpenDml) {
  Segment& segment = segments_.back();
  std::vector<std::uint8_t> indexes;
  segment.standardIndexBytes = 0;
  if (isOpenDml) {
    AppendChunk(indexes, MakeFourCc("ix00"), StandardIndex());
    segment.standardIndexBytes = static_cast<std::uint32_t>(indexes.size());
  }
  if (segments_.size() == 1) {
    AppendChunk(indexes, MakeFourCc("idx1"), FirstIndex());
  }
  segment.riffBytes = static_cast<std::uint32_t>(segment.FramesEnd() + indexes.size() -
                                                 segment.begin - kChunkHeaderBytes);
  // Over what a frame that did not fit on the disk may have left there.
  file_.seekp(static_cast<std::streamoff>(segment.FramesEnd()));
  WriteBytes(file_, name_, indexes);
  if (segments_.size() > 1) {
    std::vector<std::uint8_t> header;
    AppendListHeader(header, MakeFourCc("RIFF"), segment.riffBytes, MakeFourCc("AVIX"));
    AppendListHeader(header, MakeFourCc("LIST"), segment.MovieBytes(), MakeFourCc("movi"));
    file_.seekp(static_cast<std::streamoff>(segment.begin));
    WriteBytes(file_, name_, header);
  }
}

void AviWriter::BeginNextSegment() {
  CompleteSegment(true);
  const std::uint64_t begin =
      segments_.back().begin + kChunkHeaderBytes + segments_.back().riffBytes;
  file_.seekp(static_cast<std::streamoff>(begin));
  std::vector<std::uint8_t> header;
  AppendListHeader(header, MakeFourCc("RIFF"), 0, MakeFourCc("AVIX"));
  AppendListHeader(header, MakeFourCc("LIST"), 0, MakeFourCc("movi"));
  WriteBytes(file_, name_, header);
  segments_.push_back({.begin = begin, .movie = begin + header.size() - kListTypeBytes});
  index_.clear();
}

void AviWriter::Finish() {
  CompleteSegment(segments_.size() > 1);
  file_.seekp(0);
  WriteBytes(file_, name_, Headers());
  CloseOutput(file_, name_);
}

AviSink::AviSink(const std::string& name, const ClipFormat& format)
    : writer_(name, {.bitmap = MakeBitmapFormat(format.layout),
                     .handler = IsRgb(format.layout.format)
                                    ? MakeFourCc("DIB ")
                                    : PixelFormatCompression(format.layout.format),
                     .rate = format.rate,
                     .isCompressed = false}) {}

}  // namespace qivm
