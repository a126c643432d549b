#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg2/picture_parameters.h"
#include "mpeg2/quantiser.h"
#include "platform/heap_object.h"

namespace qivm {

/// What dividing by a quantiser matrix takes, kept from one macroblock to the next: the weights
/// times quantiser_scale and a 16-bit reciprocal of each. The SIMD forms of quantisation keep their
/// own here and use them only while the divisors are those of the macroblock at hand.
struct QuantiserReciprocals {
  alignas(64) std::array<std::uint16_t, 64> divisors = {};
  alignas(64) std::array<std::uint16_t, 64> reciprocals = {};
};

/// The work piece that travels between the stream, the kernels and the client's bitmap, in both
/// directions: one macroblock's coefficients with all that is needed to transform and to place it.
/// Each thread has one and uses it for every macroblock. Lives in the codec's heap.
struct MacroblockRecord : HeapObject {
  static constexpr std::size_t kBlockSize = 64;
  static constexpr std::size_t kMaxBlocks = 12;  // 4:4:4

  static constexpr std::uint32_t kIntra = 1;           // macroblock_type, Table B-2
  static constexpr std::uint32_t kIntraWithQuant = 3;  // with a quantiser_scale_code of its own

  using Matrix = std::array<std::uint16_t, kBlockSize>;

  /// Blocks in the standard's order (Figures 6-10 to 6-12), luminance first, each in raster order
  /// but for the time between block decoding and the inverse scan, or the scan and block coding.
  alignas(64) std::array<std::int16_t, kBlockSize* kMaxBlocks> coefficients = {};
  /// Quantiser weights in raster order.
  alignas(64) Matrix intraMatrixLuma = mpeg2::kDefaultIntraMatrix;
  alignas(64) Matrix intraMatrixChroma = mpeg2::kDefaultIntraMatrix;
  /// By the matrix of blocks 0 to 3 and by that of the others.
  QuantiserReciprocals lumaReciprocals;
  QuantiserReciprocals chromaReciprocals;

  /// Bit i of a block's mask: its value i is not zero. For the fast block coder.
  std::array<std::uint64_t, kMaxBlocks> levelMasks = {};
  /// Whether the fast block decoder has already brought the coefficients into raster order and
  /// scaled them, so that only the inverse DCT is left to do.
  bool dequantised = false;
  std::uint32_t macroblockType = kIntra;
  std::int16_t column = 0;
  std::int16_t row = 0;
  /// 6, 8 or 12 by chroma_format.
  std::int16_t blockCount = 8;
  PictureParameters parameters;

  /// The loop over the thread's rows: row and column being worked on, their ends.
  int mbColumnCounter = 0;
  int mbPerRow = 0;
  int rowCounter = 0;
  int rowEnd = 0;

  std::span<std::int16_t, kBlockSize> Block(int index) {
    return std::span<std::int16_t, kBlockSize>(
        coefficients.data() + static_cast<std::size_t>(index) * kBlockSize, kBlockSize);
  }

  /// Weights of a block's AC coefficients (7.4.2.1): 4:2:0 has one matrix for all blocks.
  const Matrix& IntraMatrix(int block) const {
    return block < 4 || blockCount == 6 ? intraMatrixLuma : intraMatrixChroma;
  }
};

}  // namespace qivm
