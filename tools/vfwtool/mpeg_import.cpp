#include "tools/vfwtool/mpeg_import.h"

#include <algorithm>
#include <array>
#include <utility>

#include "tools/vfwtool/mpeg_units.h"
#include "tools/vfwtool/pixel_format.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::size_t kReadBytes = std::size_t{1} << 16;

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why));
}

void Append(std::vector<std::uint8_t>& bytes, const std::vector<std::uint8_t>& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace

MpegFrameReader::MpegFrameReader(std::istream& stream, std::string name)
    : stream_(stream), name_(std::move(name)) {
  FillBuffer();
  RequireVideo();
  ReadUnit();
}

void MpegFrameReader::RequireVideo() const {
  constexpr const char* kAdvice =
      ". Take the video stream out first, for instance with: ffmpeg -i IN -c:v copy -an -f "
      "mpeg2video OUT.m2v";
  const std::vector<MpegUnit> units = FindUnits(buffer_);
  if (buffer_.empty()) {
    Refuse(name_, "is empty");
  }
  const auto isStuffing = [](std::uint8_t byte) { return byte == 0; };
  if (units.empty() ||
      !std::all_of(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(units[0].begin),
                   isStuffing)) {
    Refuse(name_, Concat("is no MPEG video elementary stream", kAdvice));
  }
  if (units.front().code >= kFirstSystemCode) {
    Refuse(name_, Concat("is an MPEG program stream, not a video elementary stream", kAdvice));
  }
}

void MpegFrameReader::Headers::AppendTo(Bytes& frame) const {
  Append(frame, header);
  Append(frame, extensions);
  Append(frame, userData);
}

bool MpegFrameReader::FillBuffer() {
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(next_));
  next_ = 0;
  const std::size_t before = buffer_.size();
  buffer_.resize(before + kReadBytes);
  stream_.read(reinterpret_cast<char*>(buffer_.data() + before), kReadBytes);
  buffer_.resize(before + static_cast<std::size_t>(stream_.gcount()));
  bytesRead_ += static_cast<std::uint64_t>(stream_.gcount());
  return buffer_.size() > before;
}

/// The distance from `next_` to the first start code at or behind `offset`, which counts from there
/// as well.
std::optional<std::size_t> MpegFrameReader::FindStartCode(std::size_t offset) {
  constexpr std::array<std::uint8_t, 3> kPrefix = {0, 0, 1};
  for (;;) {
    const auto from = buffer_.begin() + static_cast<std::ptrdiff_t>(next_ + offset);
    const auto found = std::search(from, buffer_.end(), kPrefix.begin(), kPrefix.end());
    if (buffer_.end() - found >= static_cast<std::ptrdiff_t>(kStartCodeBytes)) {
      return static_cast<std::size_t>(found - buffer_.begin()) - next_;
    }
    // A start code may lie across the end of the buffer.
    const std::size_t held = buffer_.size() - next_;
    offset = std::max(offset, held - std::min(held, kStartCodeBytes - 1));
    if (!FillBuffer()) {
      return std::nullopt;
    }
  }
}

void MpegFrameReader::ReadUnit() {
  unit_.clear();
  const std::optional<std::size_t> begin = FindStartCode(0);
  if (!begin) {
    return;
  }
  next_ += *begin;
  const std::size_t bytes = FindStartCode(kStartCodeBytes).value_or(buffer_.size() - next_);
  const auto first = buffer_.begin() + static_cast<std::ptrdiff_t>(next_);
  unit_.assign(first, first + static_cast<std::ptrdiff_t>(bytes));
  next_ += bytes;
}

bool MpegFrameReader::Next(std::vector<std::uint8_t>& frame) {
  Headers group;
  Headers picture;
  Bytes slices;
  Headers* level = nullptr;
  for (; !unit_.empty(); ReadUnit()) {
    const std::uint8_t code = unit_[kStartCodeBytes - 1];
    if (IsSliceCode(code)) {
      Append(slices, unit_);
      continue;
    }
    if (!slices.empty()) {
      break;  // This unit belongs to the next frame.
    }
    if (code == kSequenceCode || code == kGroupCode || code == kPictureCode) {
      level = code == kSequenceCode ? &sequence_ : code == kGroupCode ? &group : &picture;
      *level = {.header = unit_};
    } else if (code == kExtensionCode && level != nullptr) {
      Append(level->extensions, unit_);
    } else if (code == kUserDataCode && level != nullptr && level->userData.empty()) {
      level->userData = unit_;
    }
  }
  if (slices.empty()) {
    return false;
  }
  if (sequence_.header.empty() || picture.header.empty()) {
    Refuse(name_, "the stream has slices before the first sequence and picture headers");
  }
  frame.clear();
  sequence_.AppendTo(frame);
  group.AppendTo(frame);
  picture.AppendTo(frame);
  Append(frame, slices);
  Append(frame, StartCode(kSequenceEndCode));
  return true;
}

void RequireDecodable(const MpegHeaders& headers, const std::string& name, std::uint64_t number) {
  constexpr std::uint32_t kMacroblock = 16;
  constexpr std::uint32_t kMaxHeight = 2800;
  constexpr std::uint32_t kChroma422 = 2;
  constexpr std::uint32_t kFrameStructure = 3;
  const auto require = [&](bool holds, const std::string& why) {
    if (!holds) {
      Refuse(name, Concat("frame ", number, ' ', why));
    }
  };
  constexpr const char* kEncode =
      ". Code the film anew, for instance with: ffmpeg -i IN -c:v mpeg2video -pix_fmt yuv422p -g 1 "
      "-intra_vlc 1 -q:v 2 OUT.m2v";
  require(headers.isMpeg2 && headers.hasPictureExtension,
          "is MPEG-1, not MPEG-2: it lacks the extensions of MPEG-2");
  require(headers.areAllIntra,
          Concat("is no intra picture; the codec decodes every frame alone", kEncode));
  require(headers.chromaFormat == kChroma422,
          Concat("is ", headers.ChromaText(), "; the codec decodes 4:2:2", kEncode));
  require(headers.usesTableB15,
          Concat("has intra_vlc_format 0; the codec decodes coefficients of the other table, that "
                 "of intra_vlc_format 1, alone",
                 kEncode));
  require(!headers.isScalable, "is part of a scalable stream");
  require(headers.structure == kFrameStructure,
          "is a pair of field pictures; the codec decodes frame pictures alone");
  require(headers.width % kMacroblock == 0 && headers.height % kMacroblock == 0 &&
              IsPictureSide(headers.width) && IsPictureSide(headers.height) &&
              headers.height <= kMaxHeight,
          Concat("is ", headers.width, 'x', headers.height,
                 "; the codec decodes widths and heights that are multiples of 16, and heights up "
                 "to ",
                 kMaxHeight));
  require(!headers.hasOwnMatrix,
          "brings a quantiser matrix of its own; the codec decodes with the default one");
  require(!headers.usesLinearCode16,
          "uses quantiser_scale_code 16 of the linear scale, which the codec takes for another "
          "scale than the standard's");
  // Interlaced frames have an even number of rows; the codec leaves the last one out where it lies
  // below the picture.
  const std::uint32_t rows = headers.height / kMacroblock;
  require((headers.slices == rows || headers.slices == (rows + 1) / 2 * 2) &&
              headers.hasOneSliceARow && headers.doSlicesBeginLeft,
          "is not made of one slice for each macroblock row, which the codec takes for granted");
}

}  // namespace qivm
