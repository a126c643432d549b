#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qivm {

/// The work piece that travels between the kernels and the client's bitmap, in both directions: one
/// 4:2:2 macroblock's blocks, as coefficients or as samples. Each thread has one and uses it for
/// every macroblock.
struct MacroblockRecord {
  static constexpr std::size_t kBlockSize = 64;
  static constexpr std::size_t kBlocks = 8;
  static constexpr std::size_t kValues = kBlocks * kBlockSize;

  /// Samples lie block by block in the standard's order (Figure 6-11), luminance first, and row by
  /// row in a block. Coefficients lie two blocks side by side, column by column, as Column tells.
  /// The transforms turn one into the other on the way.
  alignas(64) std::array<std::int16_t, kValues> values = {};

  std::int16_t column = 0;
  std::int16_t row = 0;
  /// Whether the luminance blocks are stacked (frame DCT) and not interleaved by field.
  bool frameDct = false;

  /// The samples of a block.
  std::int16_t* Block(std::size_t index) { return values.data() + index * kBlockSize; }

  /// The coefficients of a block with a horizontal frequency, by vertical frequency. Those of the
  /// other block of a pair lie before or behind them.
  std::int16_t* Column(std::size_t block, std::size_t frequency) {
    return values.data() + ColumnOffset(block, frequency);
  }
  const std::int16_t* Column(std::size_t block, std::size_t frequency) const {
    return values.data() + ColumnOffset(block, frequency);
  }
  static constexpr std::size_t ColumnOffset(std::size_t block, std::size_t frequency) {
    return block / 2 * 2 * kBlockSize + 16 * frequency + block % 2 * 8;
  }
};

}  // namespace qivm
