#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qivm {

/// The quantised coefficients of some successive macroblocks of a row, as the encoder codes them:
/// enough to keep its passes over them long, few enough to stay in the processor's nearest cache.
struct LevelBatch {
  static constexpr std::size_t kMacroblocks = 8;
  static constexpr std::size_t kBlocks = 8 * kMacroblocks;
  static constexpr std::size_t kLevels = 64;

  /// What does not fit a level's byte.
  static constexpr int kLargestSmallLevel = 126;

  /// A level that is larger.
  struct Large {
    std::uint16_t block;
    std::uint8_t position;
    std::int16_t level;
  };

  /// Levels in transmission order; the first of each block, the DC coefficient's place, is 0. A
  /// level beyond kLargestSmallLevel is more than that, or less than its negative, here.
  alignas(64) std::array<std::array<std::int8_t, kLevels>, kBlocks> levels;
  /// Bit i: level i is not zero.
  std::array<std::uint64_t, kBlocks> masks;
  std::array<std::int16_t, kBlocks> dc;

  /// In the order of the stream.
  std::array<Large, kBlocks * kLevels> large;
  std::size_t largeCount = 0;
};

}  // namespace qivm
