#include "encoder/row_encoder.h"

#include <algorithm>
#include <cstring>

#include "encoder/dc_codes.h"
#include "encoder/stream_format.h"
#include "mpeg2/start_codes.h"
#include "mpeg2/vlc.h"

namespace qivm {

namespace {

constexpr std::uint32_t kEndOfBlock = PackCode(mpeg2::kEndOfBlock.bits, mpeg2::kEndOfBlock.length);

/// macroblock_address_increment, macroblock_type Intra ("1") and dct_type. The increment is "1"
/// everywhere but in the picture's first macroblock: this codec's streams have always had 0 there,
/// and its decoder does not look.
constexpr std::uint32_t MacroblockHeader(bool first) {
  return PackCode((first ? 0U : 4U) | 2U | stream_format::kDctType, 3);
}

constexpr std::uint32_t kNextMacroblock = JoinCodes(kEndOfBlock, MacroblockHeader(false));

/// Writes the slice header (6.2.4) and the first macroblock's header. Returns where to go on.
BitTail WriteSliceHeader(std::uint8_t* output, int row, std::uint8_t quantiserScaleCode) {
  // quantiser_scale_code, intra_slice_flag and intra_slice 1, reserved_bits, extra_bit_slice.
  const std::uint32_t header = JoinCodes(
      PackCode(std::uint32_t{quantiserScaleCode} << 10 | 3U << 8, 15), MacroblockHeader(row == 0));
  static_assert(CodeCount(JoinCodes(PackCode(0, 15), MacroblockHeader(true))) == 18);
  const std::uint32_t startCode =
      __builtin_bswap32(mpeg2::kFirstSliceStartCode + static_cast<std::uint32_t>(row));
  std::memcpy(output, &startCode, sizeof(startCode));
  output[4] = static_cast<std::uint8_t>(CodeBits(header) >> 10);
  output[5] = static_cast<std::uint8_t>(CodeBits(header) >> 2);
  return {output + 6, static_cast<std::uint8_t>(CodeBits(header) << 6), 2};
}

/// Ends the last block and pads with zero bits to a multiple of 4 bytes behind `begin`. Returns how
/// many they are.
std::size_t FinishSlice(std::uint8_t* begin, const BitTail& tail) {
  const unsigned end =
      std::uint32_t{mpeg2::kEndOfBlock.bits} << (16 - mpeg2::kEndOfBlock.length) >> tail.count;
  const unsigned bits = std::uint32_t{tail.bits} << 8 | end;
  tail.next[0] = static_cast<std::uint8_t>(bits >> 8);
  tail.next[1] = static_cast<std::uint8_t>(bits);
  const unsigned bytes = (tail.count + mpeg2::kEndOfBlock.length + 7U) / 8U;
  const auto size = static_cast<std::size_t>(tail.next - begin) + bytes;
  const std::size_t padded = (size + 3) / 4 * 4;
  std::fill(begin + size, begin + padded, std::uint8_t{0});
  return padded;
}

}  // namespace

std::size_t RowEncoder::EncodeRow(const InputConverter& converter, int row, int step, int columns,
                                  const FrameQuantiser& quantiser, std::span<std::uint8_t> output) {
  dcPredictor_.fill(stream_format::kDcReset);
  record_.row = static_cast<std::int16_t>(row);
  BitTail tail = WriteSliceHeader(output.data(), row, quantiser.scaleCode);
  for (int column = 0; column < columns;) {
    const auto macroblocks =
        std::min<std::size_t>(LevelBatch::kMacroblocks, static_cast<unsigned>(columns - column));
    FillBatch(converter, column, step, columns, macroblocks, quantiser.factors);
    codeLevels_(batch_, CodeDc(macroblocks, column == 0), lists_, tail);
    column += static_cast<int>(macroblocks);
  }
  return FinishSlice(output.data(), tail);
}

void RowEncoder::FillBatch(const InputConverter& converter, int firstColumn, int step, int columns,
                           std::size_t macroblocks, const Quantiser& quantiser) {
  batch_.largeCount = 0;
  for (std::size_t i = 0; i < macroblocks; ++i) {
    const int column = firstColumn + static_cast<int>(i);
    const int ahead = column + kPrefetchDistance;
    converter.Prefetch(ahead < columns ? ahead : ahead - columns,
                       ahead < columns ? record_.row : record_.row + step);
    record_.column = static_cast<std::int16_t>(column);
    converter.ConvertMacroblock(record_);
    fdct_(record_);
    quantise_(record_, quantiser, batch_, i);
  }
}

/// The codes of the batch's DC coefficients, each with what stands between it and the level before.
std::span<const std::uint32_t> RowEncoder::CodeDc(std::size_t macroblocks, bool beginsSlice) {
  const auto code = [this](std::size_t block, std::size_t component, const DcCodes& codes) {
    const int difference = batch_.dc[block] - dcPredictor_[component];
    dcPredictor_[component] = batch_.dc[block];
    return codes[static_cast<unsigned>(difference) % kDcDifferences];
  };
  for (std::size_t first = 0; first < 8 * macroblocks; first += 8) {
    const std::uint32_t dc = code(first, 0, kDcCodesLuma);
    // The slice's first macroblock has its header already.
    dcCodes_[first] = beginsSlice && first == 0 ? dc : JoinCodes(kNextMacroblock, dc);
    for (std::size_t i = first + 1; i < first + 4; ++i) {
      dcCodes_[i] = JoinCodes(kEndOfBlock, code(i, 0, kDcCodesLuma));
    }
    for (std::size_t i = first + 4; i < first + 8; ++i) {
      dcCodes_[i] = JoinCodes(kEndOfBlock, code(i, 1 + i % 2, kDcCodesChroma));
    }
  }
  return std::span(dcCodes_).first(8 * macroblocks);
}

}  // namespace qivm
