#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace qivm {

/// "The codec's own quality" in a frame's request (ICQUALITY_DEFAULT of the Windows headers).
constexpr std::uint32_t kDefaultQualityRequest = 0xFFFFFFFF;

/// Quality of a fresh codec instance, of 10000.
constexpr std::uint32_t kInitialQuality = 8000;

/// The coarsest quantiser_scale_code there is.
constexpr std::uint8_t kCoarsestQuantiserCode = 31;

/// quantiser_scale_code of a frame by its quality in steps of 500. Qualities above 10000 count as
/// 10000.
constexpr std::uint8_t QuantiserCodeOfQuality(std::uint32_t quality) {
  constexpr std::array<std::uint8_t, 21> kCodes = {18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8,
                                                   7,  6,  5,  4,  3,  2,  2,  1,  1,  1};
  return kCodes[std::min<std::size_t>(quality / 500, kCodes.size() - 1)];
}

}  // namespace qivm
