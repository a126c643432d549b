#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg2/level_block.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

/// What a macroblock's levels are multiplied with (7.4.2), and the order in which they come.
struct Dequantiser {
  /// Multiplications by up to this much can be done in one step of 16 bits.
  static constexpr unsigned kLargestFineWeight = 4095;
  /// Of a column, twice: for two blocks side by side.
  using Column = std::array<std::uint16_t, 16>;

  /// W * quantiser_scale, times 16 when `fine`.
  alignas(64) std::array<Column, 8> weights = {};
  bool fine = false;
};

/// The dequantiser of a macroblock: the default intra matrix, whatever matrices a stream brings,
/// times the scale of q_scale_type and quantiser_scale_code.
const Dequantiser& DequantiserOf(std::uint8_t qScaleType, std::uint8_t quantiserScaleCode);

using MacroblockLevels = std::span<LevelBlock, MacroblockRecord::kBlocks>;
using DcCoefficients = std::array<std::int16_t, MacroblockRecord::kBlocks>;

namespace kernels {

/// From the levels of a macroblock in transmission order to its coefficients (7.3 and 7.4): every
/// level but the first of a block becomes level * W * quantiser_scale * 2 / 32, rounded toward zero
/// and kept to 16 bits, at its place in the record; the first place gets the DC coefficient. The
/// levels are zero afterwards, ready for the next macroblock.
///
/// False, with nothing changed, when a block has a level behind its last position.
namespace plain {
bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record);
}
namespace sse2 {
bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record);
}
namespace avx2 {
bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record);
}

}  // namespace kernels

}  // namespace qivm
