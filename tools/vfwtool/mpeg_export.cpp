#include "tools/vfwtool/mpeg_export.h"

#include <algorithm>
#include <utility>

#include "tools/vfwtool/mpeg_units.h"
#include "tools/vfwtool/stream_output.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {

bool MakeStandard(std::span<std::uint8_t> frame) {
  const std::vector<MpegUnit> units = FindUnits(frame);
  if (units.empty() || units.front().code != kSequenceCode) {
    return false;
  }
  const auto slice = std::ranges::find_if(units, IsSliceCode, &MpegUnit::code);
  if (slice == units.end()) {
    return false;
  }
  const std::span<std::uint8_t> unit = frame.subspan(slice->begin, slice->end - slice->begin);
  const std::size_t bit = 8 * kStartCodeBytes + SliceHeaderBits(unit);
  if (bit / 8 >= unit.size()) {
    return false;
  }
  unit[bit / 8] = static_cast<std::uint8_t>(unit[bit / 8] | 0x80U >> bit % 8);
  return true;
}

void SetFrameRateCode(std::span<std::uint8_t> frame, std::uint32_t code) {
  constexpr std::size_t kByte = kStartCodeBytes + 3;
  for (const MpegUnit& unit : FindUnits(frame)) {
    if (unit.code == kSequenceCode && unit.begin + kByte < unit.end) {
      std::uint8_t& byte = frame[unit.begin + kByte];
      byte = static_cast<std::uint8_t>((byte & 0xF0U) | code);
    }
  }
}

MpegExporter::MpegExporter(std::ostream& stream, std::string name,
                           std::optional<std::uint32_t> frameRateCode)
    : stream_(stream), name_(std::move(name)), frameRateCode_(frameRateCode) {}

void MpegExporter::Write(std::span<const std::uint8_t> frame) {
  if (!frame.empty()) {
    frame_.assign(frame.begin(), frame.end());
    if (!MakeStandard(frame_)) {
      throw ToolError(
          ExitCode::kInput,
          Concat("frame ", frames_ + 1,
                 " is no MPEG-2 picture with a sequence header of its own; only AVIs of "
                 "this codec (QIVM, MMES) can be exported"));
    }
    if (frameRateCode_) {
      SetFrameRateCode(frame_, *frameRateCode_);
    }
  }
  WriteBytes(stream_, name_, frame_);
  bytes_ += frame_.size();
  ++frames_;
}

void MpegExporter::Finish() {
  const std::vector<MpegUnit> units = FindUnits(frame_);
  if (!units.empty() && units.back().code != kSequenceEndCode) {
    const std::vector<std::uint8_t> end = StartCode(kSequenceEndCode);
    WriteBytes(stream_, name_, end);
    bytes_ += end.size();
  }
  FlushOutput(stream_, name_);
}

}  // namespace qivm
