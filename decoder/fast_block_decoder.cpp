#include "decoder/fast_block_decoder.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/ac_tables.h"
#include "decoder/bit_cursor.h"
#include "decoder/block_decoder.h"
#include "decoder/dc_size_tables.h"
#include "decoder/pair_table.h"
#include "decoder/scan_weights.h"
#include "mpeg2/scan.h"

namespace qivm {

namespace {

/// A DC code and 64 escapes, the most that a block of any bits can consume.
constexpr std::size_t kLongestBlockBytes =
    (kDcSizeIndexBits + mpeg2::kDctDcSizes + 64 * mpeg2::kEscapeTotalBits) / 8 + 1;

/// (QF * W * quantiser_scale * 2) / 32 toward zero (7.4.2.3), `weight` being W * quantiser_scale.
std::int16_t Dequantised(std::int32_t level, std::int32_t weight) {
  const std::int32_t product = level * weight;
  return static_cast<std::int16_t>((product + ((product >> 31) & 15)) >> 4);
}

void DecodeAc(BitCursor& cursor, std::int16_t* block, const mpeg2::Scan& scan,
              const ScanWeights& weights) {
  std::size_t position = 0;
  for (;;) {
    const std::uint32_t bits = cursor.Peek();
    const PairEntry pair = kPairTable[bits >> (32 - kPairIndexBits)];
    const std::size_t first = position + pair.advance1;
    const std::size_t second = first + pair.advance2;
    if (second < 64) [[likely]] {
      // Without a second code both places are the same, and the first level is what stays.
      cursor.Skip(pair.length);
      block[scan[second]] = Dequantised(pair.level2, weights[second]);
      block[scan[first]] = Dequantised(pair.level1, weights[first]);
      position = second;
      continue;
    }
    if (pair.length != 0) {
      // The block ends: with the first code, whose second one then belongs to the next block, or
      // with the second.
      if (first >= 64) {
        cursor.Skip(pair.length1);
      } else {
        cursor.Skip(pair.length);
        block[scan[first]] = Dequantised(pair.level1, weights[first]);
      }
      return;
    }
    const AcEntry entry = LookUpAc(bits);
    cursor.Skip(entry.length);
    position += entry.advance;
    if (position >= 64) {
      return;
    }
    block[scan[position]] = Dequantised(entry.level, weights[position]);
  }
}

}  // namespace

void DecodeBlocksFast(BitReader& reader, PictureParameters& parameters, MacroblockRecord& record) {
  const std::span<const std::uint8_t> frame = reader.Frame();
  const mpeg2::Scan& scan =
      parameters.alternateScan == 0 ? mpeg2::kZigzagScan : mpeg2::kAlternateScan;
  const ScanWeights& weights =
      kScanWeights[parameters.qScaleType][parameters.quantiserScaleCode][parameters.alternateScan];

  int index = 0;
  if (BitCursorFits(frame, reader.BitPosition(), kLongestBlockBytes)) {
    BitCursor cursor(frame, reader.BitPosition());
    do {
      const DcDifferential dc = LookUpDc(cursor.Peek(), DcSizeTableOf(index));
      cursor.Skip(dc.length);
      std::int16_t* const block = record.Block(index).data();
      block[0] = parameters.NextDc(index, dc.value);
      DecodeAc(cursor, block, scan, weights);
      ++index;
    } while (index < record.blockCount &&
             BitCursorFits(frame, cursor.BitPosition(), kLongestBlockBytes));
    reader.SeekBit(cursor.BitPosition());
  }

  // The frame's last blocks, by the reader that knows its end.
  for (; index < record.blockCount; ++index) {
    std::array<std::int16_t, 64> levels = {};
    const auto block = record.Block(index);
    block[0] = parameters.NextDc(index, DecodeDcDifferential(reader, DcSizeTableOf(index)));
    DecodeAc(reader, levels);
    for (std::size_t i = 1; i < levels.size(); ++i) {
      block[scan[i]] = Dequantised(levels[i], weights[i]);
    }
  }
}

}  // namespace qivm
