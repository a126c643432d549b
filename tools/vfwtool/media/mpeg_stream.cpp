#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

namespace mpeg2 = qivm::mpeg2;

constexpr std::array<std::uint8_t, 3> kStartCodePrefix = {0, 0, 1};
constexpr std::size_t kReadBytes = std::size_t{1} << 16;
/// More than the headers of a picture ever take. Those of a sequence are repeated with every
/// picture, so that without a limit a small stream could become a large file.
constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 16;

std::uint32_t StartCodeOf(const Bytes& unit) {
  return mpeg2::kPictureStartCode | unit[mpeg2::kStartCodeBytes - 1];
}

/// Replaces frame_rate_code in the frame's sequence headers.
void SetFrameRateCode(std::span<std::uint8_t> frame, std::uint32_t code) {
  constexpr std::size_t kByte = mpeg2::kStartCodeBytes + 3;
  for (const MpegUnit& unit : FindUnits(frame)) {
    if (unit.startCode == mpeg2::kSequenceHeaderCode && unit.begin + kByte < unit.end) {
      std::uint8_t& byte = frame[unit.begin + kByte];
      byte = static_cast<std::uint8_t>((byte & 0xF0U) | code);
    }
  }
}

}  // namespace

bool MakeStandard(std::span<std::uint8_t> frame) {
  const std::vector<MpegUnit> units = FindUnits(frame);
  if (units.empty() || units.front().startCode != mpeg2::kSequenceHeaderCode) {
    return false;
  }
  const auto slice = std::ranges::find_if(units, IsSliceCode, &MpegUnit::startCode);
  if (slice == units.end()) {
    return false;
  }
  const std::span<std::uint8_t> unit = frame.subspan(slice->begin, slice->end - slice->begin);
  const std::size_t bit = 8 * mpeg2::kStartCodeBytes + SliceHeaderBits(unit);
  if (bit / 8 >= unit.size()) {
    return false;
  }
  unit[bit / 8] = static_cast<std::uint8_t>(unit[bit / 8] | 0x80U >> bit % 8);
  return true;
}

void MpegExporter::Write(std::span<const std::uint8_t> frame) {
  if (!frame.empty()) {
    Bytes standard(frame.begin(), frame.end());
    if (!MakeStandard(standard)) {
      throw ToolError(
          ExitCode::kInput,
          Concat("frame ", frames_ + due_ + 1,
                 " is no MPEG-2 picture with a sequence header of its own; only AVIs of "
                 "this codec (QIVM, MMES) can be exported"));
    }
    if (frameRateCode_) {
      SetFrameRateCode(standard, *frameRateCode_);
    }
    frame_ = std::move(standard);
  }
  ++due_;
  for (; due_ != 0 && !frame_.empty(); --due_) {
    output_.Write(frame_);
    output_.Keep();
    ++frames_;
  }
}

void MpegExporter::Finish() {
  const std::vector<MpegUnit> units = FindUnits(frame_);
  if (!units.empty() && units.back().startCode != mpeg2::kSequenceEndCode) {
    output_.Write(StartCode(mpeg2::kSequenceEndCode));
  }
  output_.Close();
}

std::uint64_t MpegExporter::FinishEarly() noexcept {
  try {
    if (frames_ != 0 && output_.TakeBack()) {
      Finish();
    }
  } catch (const std::exception&) {
    // What ended the work early is reported; the stream stays as far as it came.
  }
  return frames_;
}

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
    RefuseInput(name_, "is empty");
  }
  const auto isStuffing = [](std::uint8_t byte) { return byte == 0; };
  if (units.empty() ||
      !std::all_of(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(units[0].begin),
                   isStuffing)) {
    RefuseInput(name_, "is no MPEG video elementary stream", kAdvice);
  }
  if (units.front().startCode >= mpeg2::kFirstSystemStartCode) {
    RefuseInput(name_, "is an MPEG program stream, not a video elementary stream", kAdvice);
  }
}

void MpegFrameReader::Headers::AppendTo(Bytes& frame) const {
  AppendBytes(frame, header);
  AppendBytes(frame, extensions);
  AppendBytes(frame, userData);
}

bool MpegFrameReader::FillBuffer() {
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(next_));
  next_ = 0;
  const std::size_t before = buffer_.size();
  buffer_.resize(before + kReadBytes);
  stream_.read(reinterpret_cast<char*>(buffer_.data() + before), kReadBytes);
  buffer_.resize(before + static_cast<std::size_t>(stream_.gcount()));
  return buffer_.size() > before;
}

/// The distance from `next_` to the first start code at or behind `offset`, which counts from there
/// as well.
std::optional<std::size_t> MpegFrameReader::FindStartCode(std::size_t offset) {
  for (;;) {
    const auto from = buffer_.begin() + static_cast<std::ptrdiff_t>(next_ + offset);
    const auto found =
        std::search(from, buffer_.end(), kStartCodePrefix.begin(), kStartCodePrefix.end());
    if (buffer_.end() - found >= static_cast<std::ptrdiff_t>(mpeg2::kStartCodeBytes)) {
      return static_cast<std::size_t>(found - buffer_.begin()) - next_;
    }
    // A start code may lie across the end of the buffer.
    const std::size_t held = buffer_.size() - next_;
    offset = std::max(offset, held - std::min<std::size_t>(held, mpeg2::kStartCodeBytes - 1));
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
  const std::optional<std::size_t> end = FindStartCode(mpeg2::kStartCodeBytes);
  if (const auto rest = std::span(buffer_).subspan(next_ + mpeg2::kStartCodeBytes);
      !end && rest.size() >= kStartCodePrefix.size() &&
      std::ranges::equal(rest.last(kStartCodePrefix.size()), kStartCodePrefix)) {
    // The stream breaks off inside a start code: with what is put behind it, it would become one.
    buffer_.resize(buffer_.size() - kStartCodePrefix.size());
  }
  const std::size_t bytes = end.value_or(buffer_.size() - next_);
  const auto first = buffer_.begin() + static_cast<std::ptrdiff_t>(next_);
  unit_.assign(first, first + static_cast<std::ptrdiff_t>(bytes));
  next_ += bytes;
}

void MpegFrameReader::RequireSmall(const Headers& headers) const {
  if (headers.Size() > kMaxHeaderBytes) {
    RefuseInput(name_, "the headers of a picture take more than ", kMaxHeaderBytes, " bytes");
  }
}

bool MpegFrameReader::Next(Bytes& frame) {
  Headers group;
  Headers picture;
  Bytes slices;
  Headers* level = nullptr;
  for (; !unit_.empty(); ReadUnit()) {
    const std::uint32_t code = StartCodeOf(unit_);
    if (IsSliceCode(code)) {
      AppendBytes(slices, unit_);
      continue;
    }
    if (!slices.empty()) {
      break;  // This unit belongs to the next frame.
    }
    if (code == mpeg2::kSequenceHeaderCode) {
      level = &sequence_;
      *level = {.header = unit_};
    } else if (code == mpeg2::kGroupStartCode || code == mpeg2::kPictureStartCode) {
      level = code == mpeg2::kGroupStartCode ? &group : &picture;
      *level = {.header = unit_};
    } else if (code == mpeg2::kExtensionStartCode && level != nullptr) {
      AppendBytes(level->extensions, unit_);
    } else if (code == mpeg2::kUserDataStartCode && level != nullptr && level->userData.empty()) {
      level->userData = unit_;
    }
    if (level != nullptr) {
      RequireSmall(*level);
    }
  }
  if (slices.empty()) {
    return false;
  }
  if (sequence_.header.empty() || picture.header.empty()) {
    RefuseInput(name_, "the stream has slices before the first sequence and picture headers");
  }
  frame.clear();
  sequence_.AppendTo(frame);
  group.AppendTo(frame);
  picture.AppendTo(frame);
  AppendBytes(frame, slices);
  AppendBytes(frame, StartCode(mpeg2::kSequenceEndCode));
  return true;
}

}  // namespace vfwtool
