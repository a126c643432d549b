#include "tools/vfwtool/clip.h"

#include "tools/vfwtool/text.h"

namespace qivm {

double FrameRate::PerSecond() const {
  return static_cast<double>(numerator) / static_cast<double>(denominator);
}

std::string FrameRate::Text() const {
  if (denominator != 0 && numerator % denominator == 0) {
    return Concat(numerator / denominator);
  }
  return Concat(numerator, '/', denominator, " (", FixedText(PerSecond(), 2), ")");
}

}  // namespace qivm
