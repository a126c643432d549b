#include "encoder/fast_block_coder.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "encoder/ac_codes.h"
#include "encoder/dc_codes.h"

namespace qivm {

namespace {

// A dct_dc_size code and its differential take 21 bits at the most; the end of the block before
// them goes out with them.
static_assert(21 + mpeg2::kEndOfBlock.length <= BitSink::kBits - 7);
static_assert(mpeg2::kEscapeTotalBits <= BitSink::kBits - 7);

/// A word of a level mask that one instruction can scan.
using MaskWord = std::size_t;
constexpr unsigned kMaskWordBits = sizeof(MaskWord) * 8;

void PutAc(BitSink& sink, unsigned run, int level) {
  // One comparison covers both ends of the row; rows are empty where every level takes an escape.
  const auto column = static_cast<unsigned>(kMaxCodedLevel + level);
  if (column < kAcCodes[run].size() && kAcCodes[run][column].length != 0) [[likely]] {
    sink.Put(kAcCodes[run][column].bits, kAcCodes[run][column].length);
  } else {
    sink.Put(EscapeBits(run, level), mpeg2::kEscapeTotalBits);
  }
  sink.Flush();
}

void PutAcCoefficients(BitSink& sink, const std::int16_t* block, std::uint64_t levelMask) {
  unsigned next = 1;  // the position behind the last level
  for (unsigned base = 0; base < 64; base += kMaskWordBits) {
    auto mask = static_cast<MaskWord>(levelMask >> base);
    if (base == 0) {
      mask &= ~MaskWord{1};  // the DC coefficient
    }
    while (mask != 0) {
      const unsigned position = base + static_cast<unsigned>(std::countr_zero(mask));
      PutAc(sink, position - next, block[position]);
      next = position + 1;
      mask &= mask - 1;
    }
  }
}

}  // namespace

void CodeBlocksFast(BitSink& callersSink, PictureParameters& parameters, MacroblockRecord& record) {
  // A copy, which what is stored through its position cannot change: it stays in registers.
  BitSink sink = callersSink;
  for (int index = 0; index < record.blockCount; ++index) {
    const std::int16_t* const block = record.Block(index).data();
    const DcCode dc = CodeDcDifferential(parameters.DcDifference(index, block[0]), index);
    sink.Put(dc.bits, dc.length);
    sink.Flush();
    PutAcCoefficients(sink, block, record.levelMasks[static_cast<std::size_t>(index)]);
    // Goes out with the next block's DC coefficient.
    sink.Put(mpeg2::kEndOfBlock.bits, mpeg2::kEndOfBlock.length);
  }
  sink.Flush();
  callersSink = sink;
}

}  // namespace qivm
