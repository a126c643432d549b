#include "tools/vfwtool/base/progress.h"

#include <algorithm>
#include <cmath>

#include "tools/vfwtool/base/text.h"

namespace vfwtool {

namespace {

constexpr double kSecondsBetweenRewrites = 0.25;
constexpr double kSecondsBetweenLines = 5.0;

/// "43 s" or "2:05 min".
std::string DurationText(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::llround(std::max(0.0, seconds)));
  if (whole < 60) {
    return Concat(whole, " s");
  }
  return Concat(whole / 60, ':', whole % 60 < 10 ? "0" : "", whole % 60, " min");
}

}  // namespace

Progress::Progress(std::ostream& errors, Style style, std::optional<std::uint64_t> total)
    : errors_(errors), style_(style), total_(total) {}

Progress::~Progress() {
  if (shownLength_ != 0) {
    errors_ << '\r' << std::string(shownLength_, ' ') << '\r' << std::flush;
  }
}

void Progress::Update(std::uint64_t done, double seconds) {
  if (style_ == Style::kSilent || seconds < nextReport_) {
    return;
  }
  std::string line = Line(done, seconds);
  if (style_ == Style::kLines) {
    nextReport_ = seconds + kSecondsBetweenLines;
    errors_ << line << '\n' << std::flush;
    return;
  }
  nextReport_ = seconds + kSecondsBetweenRewrites;
  const std::size_t length = line.size();
  line.resize(std::max(length, shownLength_), ' ');
  shownLength_ = length;
  errors_ << '\r' << line << std::flush;
}

std::string Progress::Line(std::uint64_t done, double seconds) const {
  const double perSecond = static_cast<double>(done) / seconds;
  if (!total_ || *total_ < done || done == 0) {
    return Concat("frame ", done, ", ", FixedText(perSecond, 1), " frames/s");
  }
  return Concat("frame ", done, " of ", *total_, " (", 100 * done / *total_, " %), ",
                FixedText(perSecond, 1), " frames/s, ",
                DurationText(static_cast<double>(*total_ - done) / perSecond), " left");
}

}  // namespace vfwtool
