#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/level_batch.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

/// What a macroblock's coefficients are divided by.
///
/// With d = W * quantiser_scale and n = 32 |F|, the level 16 |F| / d rounded down is
/// (n * multiplier / 65536) / 2^s, both divisions rounded down, where multiplier is 2^(15 + s) / d
/// rounded up and s the largest that keeps it below 65536: exact for |F| up to 1023, and those of
/// samples are at most 1020.
struct Quantiser {
  static constexpr int kLargestCoefficient = 1023;
  /// Of a column, twice: for two blocks side by side.
  using Column = std::array<std::uint16_t, 16>;

  alignas(64) std::array<Column, 8> multipliers;
  alignas(
      64) std::array<Column, 8> shifts;  ///< 2^(16 - s): the second division as a multiplication
  std::uint16_t scale;                   ///< quantiser_scale

  /// For q_scale_type and quantiser_scale_code (1 to 31), with the default intra matrix.
  Quantiser(std::uint8_t qScaleType, std::uint8_t quantiserScaleCode);
};

namespace kernels {

/// From the coefficients of a macroblock to its levels in transmission order (zig-zag scan): each
/// but the first of a block becomes 32 F / (2 W * quantiser_scale), rounded toward zero. Fills the
/// batch's place number `macroblock` and adds to its list of large levels. The coefficients are
/// those of samples from 0 to 255.
namespace plain {
void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock);
}
namespace sse2 {
void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock);
}
namespace avx2 {
void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock);
}

}  // namespace kernels

}  // namespace qivm
