#include "tools/vfwtool/avi_writer.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/little_endian.h"
#include "tools/vfwtool/stream_output.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

// Where the frames begin, as in the AVIs that Windows' own functions write.
constexpr std::size_t kMovieAlignment = 2048;

constexpr std::uint32_t kChunkHeaderBytes = 8;
constexpr std::uint32_t kListTypeBytes = 4;
constexpr std::uint32_t kIndexEntryBytes = 16;
constexpr std::uint32_t kKeyFrameFlag = 0x10;  // AVIIF_KEYFRAME
// AVIF_HASINDEX alone: with AVIF_TRUSTCKTYPE, frames marked "dc" would never count as key frames.
constexpr std::uint32_t kHasIndexFlag = 0x10;

void AppendCode(std::vector<std::uint8_t>& bytes, FourCc code) {
  AppendLittleEndian32(bytes, code);
}

void AppendChunk(std::vector<std::uint8_t>& bytes, FourCc code,
                 std::span<const std::uint8_t> contents) {
  AppendCode(bytes, code);
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(contents.size()));
  bytes.insert(bytes.end(), contents.begin(), contents.end());
  bytes.resize((bytes.size() + 1) / 2 * 2);
}

void AppendList(std::vector<std::uint8_t>& bytes, FourCc type,
                std::span<const std::uint8_t> contents) {
  AppendCode(bytes, MakeFourCc("LIST"));
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(contents.size()) + kListTypeBytes);
  AppendCode(bytes, type);
  bytes.insert(bytes.end(), contents.begin(), contents.end());
}

/// A header field of 32 bits that cannot hold more.
std::uint32_t Saturated(double value) {
  return static_cast<std::uint32_t>(std::min(std::round(value), 4294967295.0));
}

}  // namespace

AviWriter::AviWriter(std::string name, AviStreamFormat format, std::uint64_t maxBytes)
    : name_(std::move(name)),
      format_(std::move(format)),
      maxBytes_(std::min(maxBytes, kMaxAviBytes)),
      file_(OpenOutput(name_)) {
  const std::vector<std::uint8_t> headers = Headers();
  headerBytes_ = static_cast<std::uint32_t>(headers.size());
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

std::uint64_t AviWriter::FramesEnd() const {
  return std::uint64_t{headerBytes_} - kListTypeBytes + movieBytes_;
}

std::vector<std::uint8_t> AviWriter::Headers() const {
  const BitmapFormat bitmap = ReadBitmapFormat(format_.bitmap);
  const auto width = static_cast<std::uint32_t>(bitmap.width);
  const auto height = static_cast<std::uint32_t>(bitmap.height);

  std::vector<std::uint8_t> main;
  AppendLittleEndian32(main, Saturated(1e6 / format_.rate.PerSecond()));  // Microseconds a frame.
  AppendLittleEndian32(main, Saturated(std::ceil((largestFrame_ + kChunkHeaderBytes) *
                                                 format_.rate.PerSecond())));  // Bytes a second.
  AppendLittleEndian32(main, 0);                                               // Padding.
  AppendLittleEndian32(main, kHasIndexFlag);
  AppendLittleEndian32(main, frames_);
  AppendLittleEndian32(main, 0);  // Frames before the sound.
  AppendLittleEndian32(main, 1);  // Streams.
  AppendLittleEndian32(main, largestFrame_ + kChunkHeaderBytes);
  AppendLittleEndian32(main, width);
  AppendLittleEndian32(main, height);
  main.resize(main.size() + 16);  // Reserved.

  std::vector<std::uint8_t> stream;
  AppendCode(stream, MakeFourCc("vids"));
  AppendCode(stream, format_.handler);
  stream.resize(stream.size() + 12);  // Flags, priority, language, frames before the sound.
  AppendLittleEndian32(stream, format_.rate.denominator);
  AppendLittleEndian32(stream, format_.rate.numerator);
  AppendLittleEndian32(stream, 0);  // Start.
  AppendLittleEndian32(stream, frames_);
  AppendLittleEndian32(stream, largestFrame_);
  AppendLittleEndian32(stream, 0xFFFFFFFF);  // Quality: the codec's default.
  AppendLittleEndian32(stream, 0);           // Sample size: frames have sizes of their own.
  AppendLittleEndian32(stream, 0);           // Left and top of the picture.
  AppendLittleEndian16(stream, width);
  AppendLittleEndian16(stream, height);

  std::vector<std::uint8_t> streamList;
  AppendChunk(streamList, MakeFourCc("strh"), stream);
  AppendChunk(streamList, MakeFourCc("strf"), format_.bitmap);
  std::vector<std::uint8_t> headerList;
  AppendChunk(headerList, MakeFourCc("avih"), main);
  AppendList(headerList, MakeFourCc("strl"), streamList);

  std::vector<std::uint8_t> headers;
  AppendCode(headers, MakeFourCc("RIFF"));
  AppendLittleEndian32(headers, 0);  // The size follows below.
  AppendCode(headers, MakeFourCc("AVI "));
  AppendList(headers, MakeFourCc("hdrl"), headerList);

  constexpr std::size_t kMovieHeaderBytes = kChunkHeaderBytes + kListTypeBytes;
  const std::size_t used = headers.size() + kChunkHeaderBytes + kMovieHeaderBytes;
  const std::size_t padding = (kMovieAlignment - used % kMovieAlignment) % kMovieAlignment;
  AppendChunk(headers, MakeFourCc("JUNK"), std::vector<std::uint8_t>(padding));
  AppendCode(headers, MakeFourCc("LIST"));
  AppendLittleEndian32(headers, movieBytes_);
  AppendCode(headers, MakeFourCc("movi"));

  const std::size_t riffBytes = headers.size() - kChunkHeaderBytes - kListTypeBytes + movieBytes_ +
                                kChunkHeaderBytes + index_.size();
  std::vector<std::uint8_t> sizeField;
  AppendLittleEndian32(sizeField, static_cast<std::uint32_t>(riffBytes));
  std::ranges::copy(sizeField, headers.begin() + 4);
  return headers;
}

void AviWriter::Write(std::span<const std::uint8_t> frame, bool isKeyFrame) {
  const std::uint64_t paddedBytes = (std::uint64_t{frame.size()} + 1) / 2 * 2;
  const std::uint64_t fileBytes = FramesEnd() + kChunkHeaderBytes + paddedBytes +
                                  kChunkHeaderBytes + index_.size() + kIndexEntryBytes;
  if (fileBytes > maxBytes_) {
    throw ToolError(ExitCode::kSizeLimit,
                    Concat(name_, ": an AVI cannot grow beyond ", ByteCountText(maxBytes_),
                           "; put the rest of the clip into another file"));
  }
  const FourCc code = format_.isCompressed ? MakeFourCc("00dc") : MakeFourCc("00db");
  std::vector<std::uint8_t> chunkHeader;
  AppendCode(chunkHeader, code);
  AppendLittleEndian32(chunkHeader, static_cast<std::uint32_t>(frame.size()));
  WriteBytes(file_, name_, chunkHeader);
  WriteBytes(file_, name_, frame);
  if (paddedBytes != frame.size()) {
    WriteText(file_, name_, std::string_view("\0", 1));
  }
  AppendCode(index_, code);
  AppendLittleEndian32(index_, isKeyFrame ? kKeyFrameFlag : 0);
  AppendLittleEndian32(index_, movieBytes_);  // From the word "movi".
  AppendLittleEndian32(index_, static_cast<std::uint32_t>(frame.size()));
  movieBytes_ += kChunkHeaderBytes + static_cast<std::uint32_t>(paddedBytes);
  largestFrame_ = std::max(largestFrame_, static_cast<std::uint32_t>(frame.size()));
  ++frames_;
}

void AviWriter::Finish() {
  std::vector<std::uint8_t> indexChunk;
  AppendChunk(indexChunk, MakeFourCc("idx1"), index_);
  // Over what a frame that did not fit on the disk may have left there.
  file_.seekp(static_cast<std::streamoff>(FramesEnd()));
  WriteBytes(file_, name_, indexChunk);
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
