#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "kernels/code_levels.h"
#include "mpeg2/vlc.h"

namespace qivm {

/// Differences of DC coefficients of 11 bits, by their low 12 bits.
constexpr std::size_t kDcDifferences = 4096;
using DcCodes = std::array<std::uint32_t, kDcDifferences>;

/// The dct_dc_size code of each difference with the difference behind it (7.2.1), as PackCode packs
/// them: at most 21 bits.
constexpr DcCodes MakeDcCodes(const std::array<mpeg2::Code, mpeg2::kDctDcSizes>& sizes) {
  DcCodes codes = {};
  for (int difference = -2047; difference <= 2047; ++difference) {
    const int magnitude = difference < 0 ? -difference : difference;
    const auto size = static_cast<unsigned>(std::bit_width(static_cast<unsigned>(magnitude)));
    const mpeg2::Code& code = sizes[size];
    const int value = difference >= 0 ? difference : difference + (1 << size) - 1;
    codes[static_cast<unsigned>(difference) % kDcDifferences] =
        PackCode(static_cast<std::uint32_t>(code.bits) << size | static_cast<std::uint32_t>(value),
                 code.length + size);
  }
  return codes;
}

constexpr DcCodes kDcCodesLuma = MakeDcCodes(mpeg2::kDcSizeLuma);
constexpr DcCodes kDcCodesChroma = MakeDcCodes(mpeg2::kDcSizeChroma);

/// One code behind another.
constexpr std::uint32_t JoinCodes(std::uint32_t first, std::uint32_t second) {
  return (CodeBits(first) << (CodeCount(second) + 5) | second) + CodeCount(first);
}

}  // namespace qivm
