#include "tools/vfwtool/media/clip.h"

#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/picture.h"

namespace vfwtool {

namespace {

/// value * numerator / denominator, rounded to the nearest, where the product may take more than 64
/// bits; the fraction's parts are below 2^62.
std::uint64_t Scaled(std::uint64_t value, std::uint64_t numerator, std::uint64_t denominator) {
  constexpr std::uint64_t kMost = std::uint64_t{1} << 62;
  std::uint64_t quotient = 0;
  std::uint64_t rest = 0;
  for (unsigned bit = 64; bit-- > 0;) {
    const bool isSet = (value >> bit & 1) != 0;
    rest = 2 * rest + (isSet ? numerator % denominator : 0);
    quotient = 2 * quotient + (isSet ? numerator / denominator : 0) + rest / denominator;
    rest %= denominator;
    if (quotient >= kMost) {
      return kMost;
    }
  }
  return quotient + (2 * rest >= denominator ? 1 : 0);
}

}  // namespace

bool FrameRate::IsValid() const {
  constexpr std::uint32_t kLimit = std::uint32_t{1} << 31;
  return numerator != 0 && denominator != 0 && numerator < kLimit && denominator < kLimit;
}

std::uint64_t FrameRate::Times(std::uint64_t factor) const {
  return Scaled(factor, numerator, denominator);
}

std::uint64_t FrameRate::MomentIn(const FrameRate& other, std::uint64_t unit) const {
  return Scaled(unit, std::uint64_t{denominator} * other.numerator,
                std::uint64_t{numerator} * other.denominator);
}

double FrameRate::PerSecond() const {
  return static_cast<double>(numerator) / static_cast<double>(denominator);
}

std::string FrameRate::Text() const {
  if (denominator != 0 && numerator % denominator == 0) {
    return Concat(numerator / denominator);
  }
  return Concat(numerator, '/', denominator, " (", FixedText(PerSecond(), 2), ")");
}

RepackingSource::RepackingSource(std::unique_ptr<FrameSource> source, PixelFormat format,
                                 const std::string& name)
    : source_(std::move(source)), format_(source_->Format()) {
  const PixelFormat sourceFormat = format_.layout.format;
  if (!CanRepack(sourceFormat, format)) {
    throw ToolError(ExitCode::kUsage,
                    Concat("--format ", PixelFormatName(format), ": the pictures of ", name,
                           " are ", PixelFormatName(sourceFormat),
                           ", and this tool does not convert colours; feed it a clip that is ",
                           IsRgb(format) ? "RGB" : "YUV", " already"));
  }
  format_.layout.format = format;
  sourceFrame_.resize(source_->Format().layout.FrameBytes());
}

bool RepackingSource::Read(std::span<std::uint8_t> frame) {
  if (!source_->Read(sourceFrame_)) {
    return false;
  }
  Repack(source_->Format().layout, sourceFrame_, format_.layout.format, frame);
  return true;
}

}  // namespace vfwtool
