#include "decoder/fast_block_decoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/ac_tables.h"
#include "decoder/bit_cursor.h"
#include "decoder/block_decoder.h"
#include "decoder/dc_size_tables.h"
#include "decoder/pair_table.h"
#include "decoder/scan_steps.h"

namespace qivm {

namespace {

/// A DC code and 64 escapes, the most that a block of any bits can consume.
constexpr std::size_t kLongestBlockBytes =
    (kDcSizeIndexBits + mpeg2::kDctDcSizes + std::size_t{64} * mpeg2::kEscapeTotalBits) / 8 + 1;

/// Puts (QF * W * quantiser_scale * 2) / 32, toward zero, into its place (7.4.2.3).
[[gnu::always_inline]] inline void Store(std::int16_t* block, ScanStep step, std::int32_t level,
                                         std::int32_t bias) {
  block[step.position] = static_cast<std::int16_t>((level * step.weight + bias) >> 4);
}

/// Decodes a block's AC coefficients; may put a zero in the DC coefficient's place. Where the
/// stream turns a block's end into one of two cases at random the code does not branch between
/// them: a branch that is not foreseen costs as much as two codes.
void DecodeAc(BitCursor& cursor, std::int16_t* block, const ScanSteps& steps) {
  // One refill is good for this many looks at the pair table.
  constexpr int kLooks = BitCursor::kRefilledBits / kPairIndexBits;
  constexpr std::size_t kEnd = MacroblockRecord::kBlockSize;

  std::size_t position = 0;
  for (;;) {
    cursor.Refill();
    for (int look = 0; look < kLooks; ++look) {
      const PairEntry& pair = kPairTable[cursor.Top() >> (32 - kPairIndexBits)];
      if (pair.length == 0) [[unlikely]] {
        cursor.Refill();
        const AcEntry entry = LookUpLongAc(cursor.Top());
        cursor.Skip(entry.length);
        position += entry.advance;
        if (position >= kEnd) {
          return;
        }
        Store(block, steps[position], entry.level, DequantisationBias(entry.level));
        break;
      }
      const std::size_t first = position + pair.advance1;
      const std::size_t second = first + pair.advance2;
      if (second >= kEnd) [[unlikely]] {
        // A run across the end with a second code behind it, which belongs to the next block.
        const bool secondIsNextBlocks = (first >= kEnd) & (pair.length != pair.length1);
        if (secondIsNextBlocks) [[unlikely]] {
          cursor.Skip(pair.length1);
          return;
        }
        // Either the first code ends the block and has level 0, or the second does.
        cursor.Skip(pair.length);
        Store(block, steps[std::min(first, kEnd)], pair.level1, pair.bias1);
        return;
      }
      // Without a second code both places are the same, and the first level is what stays.
      cursor.Skip(pair.length);
      Store(block, steps[second], pair.level2, pair.bias2);
      Store(block, steps[first], pair.level1, pair.bias1);
      position = second;
    }
  }
}

}  // namespace

void DecodeBlocksFast(BitReader& reader, PictureParameters& parameters, MacroblockRecord& record) {
  const std::span<const std::uint8_t> frame = reader.Frame();
  const ScanSteps& steps =
      kScanSteps[parameters.qScaleType][parameters.quantiserScaleCode][parameters.alternateScan];

  int index = 0;
  if (BitCursor::Fits(frame, reader.BitPosition(), kLongestBlockBytes)) {
    BitCursor cursor(frame, reader.BitPosition());
    do {
      cursor.Refill();
      const DcDifferential dc = LookUpDc(cursor.Top(), DcSizeTableOf(index));
      cursor.Skip(dc.length);
      std::int16_t* const block = record.Block(index).data();
      DecodeAc(cursor, block, steps);
      block[0] = parameters.NextDc(index, dc.value);
      ++index;
    } while (index < record.blockCount &&
             BitCursor::Fits(frame, cursor.BitPosition(), kLongestBlockBytes));
    reader.SeekBit(cursor.BitPosition());
  }

  // The frame's last blocks, by the reader that knows its end.
  for (; index < record.blockCount; ++index) {
    std::array<std::int16_t, 64> levels = {};
    const auto block = record.Block(index);
    block[0] = parameters.NextDc(index, DecodeDcDifferential(reader, DcSizeTableOf(index)));
    DecodeAc(reader, levels);
    for (std::size_t i = 1; i < levels.size(); ++i) {
      Store(block.data(), steps[i], levels[i], DequantisationBias(levels[i]));
    }
  }
}

}  // namespace qivm
