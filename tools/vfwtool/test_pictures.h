#pragma once

#include <cstdint>
#include <vector>

#include "tools/vfwtool/pixel_format.h"

namespace qivm {

/// A picture that codecs have about as much work with as with film: slopes, edges and grain, moved
/// on with `number`. The same on every machine.
std::vector<std::uint8_t> MakeTestPicture(const FrameLayout& layout, std::uint32_t number);

}  // namespace qivm
