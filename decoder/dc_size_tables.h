#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/vlc.h"

namespace qivm {

/// A decoded dct_dc_size and the number of bits of its code.
struct DcSizeEntry {
  std::uint8_t size = 0;
  std::uint8_t length = 0;
};

/// Bits that index a DC size table: the longest code of either table of the standard.
constexpr unsigned kDcSizeIndexBits = 10;
using DcSizeTable = std::array<DcSizeEntry, 1U << kDcSizeIndexBits>;

/// Spreads every code over all indices that begin with it. The codes leave no index free.
constexpr DcSizeTable MakeDcSizeTable(const std::array<mpeg2::Code, mpeg2::kDctDcSizes>& codes) {
  DcSizeTable table = {};
  for (std::size_t size = 0; size < codes.size(); ++size) {
    const unsigned spare = kDcSizeIndexBits - codes[size].length;
    for (std::size_t i = 0; i < std::size_t{1} << spare; ++i) {
      table[(static_cast<std::size_t>(codes[size].bits) << spare) + i] = {
          static_cast<std::uint8_t>(size), codes[size].length};
    }
  }
  return table;
}

constexpr DcSizeTable kDcSizeLumaTable = MakeDcSizeTable(mpeg2::kDcSizeLuma);
constexpr DcSizeTable kDcSizeChromaTable = MakeDcSizeTable(mpeg2::kDcSizeChroma);

/// The table for a block of a macroblock, luminance first.
constexpr const DcSizeTable& DcSizeTableOf(std::size_t block) {
  return block < 4 ? kDcSizeLumaTable : kDcSizeChromaTable;
}

/// A dct_dc_size code together with the differential behind it.
struct DcDifferential {
  unsigned length = 0;  // bits of both, at most 21
  int value = 0;
};

/// The DC differential that the top of a word begins with (7.2.1).
constexpr DcDifferential LookUpDc(std::uint32_t bits, const DcSizeTable& sizes) {
  const DcSizeEntry entry = sizes[bits >> (32 - kDcSizeIndexBits)];
  // In two steps, so that no size needs a branch.
  const int value = static_cast<int>((bits << entry.length) >> 1 >> (31U - entry.size));
  const int half = (1 << entry.size) >> 1;
  return {static_cast<unsigned>(entry.length) + entry.size,
          value < half ? value - 2 * half + 1 : value};
}

}  // namespace qivm
