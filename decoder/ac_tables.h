#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "mpeg2/vlc.h"

namespace qivm {

/// One decoded run/level code of Table B-15, sign included.
struct AcEntry {
  std::uint8_t length = 0;   // bits consumed in all
  std::uint8_t advance = 0;  // run + 1
  std::int16_t level = 0;
};

/// A code that is in no table ends the block like end of block does, and consumes as many bits.
constexpr AcEntry kEndsBlock = {mpeg2::kEndOfBlock.length, 64, 0};

/// Look-up of the codes that begin with `kSkippedBits` zero bits, indexed by the `kIndexBits` bits
/// behind these.
template <unsigned kSkippedBits, unsigned kIndexBits, unsigned kMinZeros, unsigned kMaxZeros>
constexpr auto MakeAcTable() {
  std::array<AcEntry, 1U << kIndexBits> table = {};
  table.fill(kEndsBlock);
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    const unsigned length = entry.code.length;
    const auto zeros = length - static_cast<unsigned>(std::bit_width(entry.code.bits));
    if (zeros < kMinZeros || zeros > kMaxZeros) {
      continue;
    }
    const unsigned spare = kSkippedBits + kIndexBits - length;
    const auto first = static_cast<std::size_t>(entry.code.bits) << spare;
    const std::size_t count = std::size_t{1} << spare;
    for (std::size_t i = 0; i < count; ++i) {
      // The sign is the first bit behind the code.
      const bool negative = i >= count / 2;
      table[first + i] = {
          static_cast<std::uint8_t>(length + 1), static_cast<std::uint8_t>(entry.run + 1),
          static_cast<std::int16_t>(negative ? -int{entry.level} : int{entry.level})};
    }
  }
  return table;
}

/// Codes with at most 4 leading zeros, by their first 9 bits.
constexpr auto kAcShortTable = MakeAcTable<0, 9, 0, 4>();
/// Codes with 6 or more leading zeros, by the 11 bits behind the first 6.
constexpr auto kAcLongTable = MakeAcTable<6, 11, 6, 16>();

/// The run/level code or escape that the top of a word begins with; its first 5 bits are zero.
constexpr AcEntry LookUpLongAc(std::uint32_t bits) {
  if (bits >> 26 == mpeg2::kEscape.bits) [[likely]] {
    const auto advance = static_cast<std::uint8_t>(((bits >> 20) & 0x3F) + 1);
    const auto level = static_cast<std::int16_t>(static_cast<std::int32_t>(bits << 12) >> 20);
    return {mpeg2::kEscapeTotalBits, advance, level};
  }
  return kAcLongTable[(bits >> 15) & 0x7FF];
}

/// The run/level code, escape or end of block that the top of a word begins with.
constexpr AcEntry LookUpAc(std::uint32_t bits) {
  return bits >> 27 != 0 ? kAcShortTable[bits >> 23] : LookUpLongAc(bits);
}

}  // namespace qivm
