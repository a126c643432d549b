#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qivm {

/// The quantised coefficients of one block in transmission order, as the decoder reads them. Nearly
/// all levels fit a byte, so nearly all of a block's work touches 64 bytes; what a level has beyond
/// a byte lies apart.
struct alignas(64) LevelBlock {
  static constexpr std::size_t kLevels = 64;

  /// The low bytes of the levels, as signed numbers. The first is 0: the DC coefficient's place.
  std::array<std::int8_t, kLevels> low = {};
  /// Where a damaged block's levels land that its runs carry past the last position.
  std::array<std::int8_t, kLevels> overrun = {};
  /// level = low + 256 * high.
  std::array<std::int8_t, kLevels> high = {};
  std::array<std::uint8_t, 60> unused = {};
  /// The DC coefficient's differential to its predictor.
  std::int16_t dcDifferential = 0;
  std::int16_t unusedWord = 0;

  int Level(std::size_t position) const { return low[position] + 256 * high[position]; }
  /// Puts a level of 12 bits into its place.
  void SetLevel(std::size_t position, int level) {
    low[position] = static_cast<std::int8_t>(level);
    high[position] = static_cast<std::int8_t>((level - low[position]) >> 8);
  }
};
static_assert(sizeof(LevelBlock) == 256);

}  // namespace qivm
