#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "encoder/stream_format.h"
#include "kernels/code_levels.h"
#include "kernels/input_converter.h"
#include "kernels/kernel_set.h"
#include "mpeg2/level_batch.h"
#include "mpeg2/macroblock_record.h"
#include "platform/heap_object.h"

namespace qivm {

/// The quantiser of a frame.
struct FrameQuantiser {
  std::uint8_t scaleCode;
  Quantiser factors;

  explicit FrameQuantiser(std::uint8_t quantiserScaleCode)
      : scaleCode(quantiserScaleCode), factors(stream_format::kQScaleType, quantiserScaleCode) {}
};

/// Codes macroblock rows of frames on one thread, a few macroblocks at a time: each batch is
/// fetched from the client's bitmap, transformed and quantised, then coded.
class RowEncoder : public HeapObject {
 public:
  /// Bytes that a row's slice of so many macroblocks cannot exceed, with what is written behind it
  /// on the way: every coefficient an escape of 24 bits; DC codes and macroblock headers; the slice
  /// header, the end of the last block and the padding.
  static constexpr std::size_t LargestSlice(std::size_t macroblocks) {
    constexpr std::size_t kMacroblock = (8 * (63 * 24 + 25) + 3 + 7) / 8;
    return macroblocks * kMacroblock + 64;
  }

  explicit RowEncoder(const KernelSet& kernels)
      : fdct_(kernels.fdct), quantise_(kernels.quantise), codeLevels_(kernels.codeLevels) {}

  /// Writes the slice of a row of `columns` macroblocks, a multiple of 4 bytes, to the beginning of
  /// `output`, which has room for the largest. Returns its size. The next row to be coded is likely
  /// to be `row` + `step`.
  std::size_t EncodeRow(const InputConverter& converter, int row, int step, int columns,
                        const FrameQuantiser& quantiser, std::span<std::uint8_t> output);

 private:
  /// Macroblocks between the one that is fetched and the one whose pixels are asked for.
  static constexpr int kPrefetchDistance = 8;

  void FillBatch(const InputConverter& converter, int firstColumn, int step, int columns,
                 std::size_t macroblocks, const Quantiser& quantiser);
  std::span<const std::uint32_t> CodeDc(std::size_t macroblocks, bool beginsSlice);

  MacroblockKernel fdct_;
  QuantiseKernel quantise_;
  CodeLevelsKernel codeLevels_;
  MacroblockRecord record_;
  LevelBatch batch_;
  CodeLists lists_;
  std::array<std::uint32_t, LevelBatch::kBlocks> dcCodes_;
  std::array<std::int16_t, 3> dcPredictor_ = {};  // of Y, Cb, Cr
};

}  // namespace qivm
