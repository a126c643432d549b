#include "decoder/block_decoder.h"

#include <gtest/gtest.h>

#include "tests/core/lenient_parser.h"
#include "tests/support/random.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

/// A reader over a bit string, with `lead` other bits in front that are already consumed.
class BlockBits {
 public:
  explicit BlockBits(const BitString& bits, unsigned lead = 0) : lead_(lead) {
    BitString whole;
    whole.Put(0x2AAAAAAA & ((std::uint64_t{1} << lead) - 1), lead);
    for (std::size_t i = 0; i < bits.Bits(); ++i) {
      BitCursor cursor(bits.Bytes(), i);
      whole.Put(cursor.Take(1), 1);
    }
    bytes_ = whole.Bytes();
    reader_.Attach(bytes_);
    reader_.Refill();
    reader_.Skip(lead);
  }
  BitReader& Reader() { return reader_; }
  std::size_t Consumed() const { return 8 * reader_.NextOffset() - reader_.BitCount() - lead_; }

 private:
  unsigned lead_;
  Bytes bytes_;
  BitReader reader_;
};

struct AcResult {
  Block block;
  std::size_t consumed;
};

/// Decodes the bits, followed by ones: a decoder that reads on finds more levels.
AcResult DecodeAcOf(const BitString& bits, unsigned lead = 0) {
  BitString padded = bits;
  padded.Put(0xFFFFFFFFFFFFFFFF, 64);
  BlockBits blockBits(padded, lead);
  AcResult result = {};
  DecodeAc(blockBits.Reader(), result.block);
  result.consumed = blockBits.Consumed();
  return result;
}

Block WithLevel(std::size_t position, int level) {
  Block block = {};
  block[position] = static_cast<std::int16_t>(level);
  return block;
}

TEST(DcDecoding, EverySizeAndDifference) {
  for (const bool luma : {true, false}) {
    const auto& codes = luma ? kReferenceDcLuma : kReferenceDcChroma;
    const DcSizeTable& table = luma ? kDcSizeLumaTable : kDcSizeChromaTable;
    for (unsigned size = 0; size < 12; ++size) {
      for (unsigned value = 0; value < 1U << size; ++value) {
        BitString bits;
        bits.Put(codes[size]).Put(value, size).Put("1111");
        BlockBits blockBits(bits, value % 31);
        int expected = 0;
        if (size > 0) {
          expected = value >= 1U << (size - 1) ? static_cast<int>(value)
                                               : static_cast<int>(value) - (1 << size) + 1;
        }
        ASSERT_EQ(DecodeDcDifferential(blockBits.Reader(), table), expected);
        ASSERT_EQ(blockBits.Consumed(), codes[size].size() + size);
      }
    }
  }
}

TEST(DcDecoding, SizeOne) {
  BlockBits minus(BitString().Put("00 0"));
  EXPECT_EQ(DecodeDcDifferential(minus.Reader(), kDcSizeLumaTable), -1);
  BlockBits plus(BitString().Put("00 1"));
  EXPECT_EQ(DecodeDcDifferential(plus.Reader(), kDcSizeLumaTable), 1);
}

TEST(AcDecoding, EndOfBlockAloneTakesFourBits) {
  const AcResult result = DecodeAcOf(BitString().Put(kReferenceEndOfBlock));
  EXPECT_EQ(result.block, Block{});
  EXPECT_EQ(result.consumed, 4U);
}

TEST(AcDecoding, EveryCodeWithBothSignsAtEveryBitOffset) {
  for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
    for (const int sign : {1, -1}) {
      for (unsigned lead = 0; lead < 32; ++lead) {
        BitString bits;
        bits.Put(entry.bits, entry.length).PutBit(sign < 0).Put(kReferenceEndOfBlock);
        const AcResult result = DecodeAcOf(bits, lead);
        ASSERT_EQ(result.block,
                  WithLevel(static_cast<std::size_t>(entry.run) + 1, sign * entry.level))
            << entry.run << "/" << sign * entry.level;
        ASSERT_EQ(result.consumed, bits.Bits());
      }
    }
  }
}

TEST(AcDecoding, EveryEscape) {
  for (unsigned run = 0; run < 64; ++run) {
    for (unsigned level = 0; level < 4096; ++level) {
      BitString bits;
      bits.Put(kReferenceEscape).Put(run, 6).Put(level, 12).Put(kReferenceEndOfBlock);
      const AcResult result = DecodeAcOf(bits, level % 32);
      const int value = level < 2048 ? static_cast<int>(level) : static_cast<int>(level) - 4096;
      // The last run passes the end of the block and ends it: no end of block is read then.
      const bool inside = run < 63;
      ASSERT_EQ(result.block, inside ? WithLevel(run + 1, value) : Block{}) << run << "/" << value;
      ASSERT_EQ(result.consumed, inside ? 28U : 24U);
    }
  }
}

TEST(AcDecoding, SmallestEscapeLevel) {
  BitString bits;
  bits.Put("110 0");  // run 0, level 2
  bits.Put(kReferenceEscape).Put(5, 6).Put(0x800, 12).Put(kReferenceEndOfBlock);
  Block expected = WithLevel(1, 2);
  expected[1 + 5 + 1] = -2048;
  EXPECT_EQ(DecodeAcOf(bits).block, expected);
}

TEST(AcDecoding, CodeInNoTableEndsTheBlockWithFourBits) {
  int invalid = 0;
  for (std::uint32_t word = 0; word < 0x10000; ++word) {
    const bool escape = word >> 10 == 1;
    bool known = escape || word >> 12 == 6;
    for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
      known = known || word >> (16 - entry.length) == entry.bits;
    }
    if (known) {
      continue;
    }
    ++invalid;
    BitString bits;
    bits.Put("10 1").Put(word, 16);  // run 0, level -1 before it
    const AcResult result = DecodeAcOf(bits, word % 32);
    ASSERT_EQ(result.block, WithLevel(1, -1)) << word;
    ASSERT_EQ(result.consumed, 3U + 4U) << word;
  }
  EXPECT_EQ(invalid, 144);
}

TEST(AcDecoding, FullBlock) {
  BitString bits;
  Block expected = {};
  for (std::size_t i = 1; i < 64; ++i) {
    const bool negative = i % 3 == 0;
    bits.Put("10").PutBit(negative);
    expected[i] = negative ? -1 : 1;
  }
  bits.Put(kReferenceEndOfBlock);
  const AcResult result = DecodeAcOf(bits);
  EXPECT_EQ(result.block, expected);
  EXPECT_EQ(result.consumed, 63U * 3 + 4);
}

TEST(AcDecoding, LongestBlock) {
  BitString bits;
  Block expected = {};
  for (std::size_t i = 1; i < 64; ++i) {
    bits.Put(kReferenceEscape).Put(0, 6).Put(0x7FF, 12);
    expected[i] = 2047;
  }
  bits.Put(kReferenceEndOfBlock);
  const AcResult result = DecodeAcOf(bits, 13);
  EXPECT_EQ(result.block, expected);
  EXPECT_EQ(result.consumed, 63U * 24 + 4);
}

TEST(AcDecoding, LevelPastTheLastPositionEndsTheBlock) {
  BitString bits;
  for (int i = 1; i < 64; ++i) {
    bits.Put("10 0");
  }
  bits.Put("10 1");  // where the end of block is due
  const AcResult result = DecodeAcOf(bits);
  Block expected = {};
  expected.fill(1);
  expected[0] = 0;
  EXPECT_EQ(result.block, expected);
  EXPECT_EQ(result.consumed, 64U * 3);
}

TEST(AcDecoding, PositionsWithoutALevelAreLeftAlone) {
  BlockBits blockBits(BitString().Put("010 0").Put(kReferenceEndOfBlock));  // run 1, level 1
  Block block = {};
  block.fill(99);
  DecodeAc(blockBits.Reader(), block);
  Block expected = {};
  expected.fill(99);
  expected[2] = 1;
  EXPECT_EQ(block, expected);
}

// Any bits at all, to the end of the frame and beyond.
TEST(AcDecoding, RandomBits) {
  Random random(91);
  for (int round = 0; round < 20000; ++round) {
    Bytes bytes(random.Below(40));
    for (std::uint8_t& byte : bytes) {
      // Few bits set leads to the long codes.
      byte = random.OneIn(3) ? random.Byte()
                             : static_cast<std::uint8_t>(random.Byte() & random.Byte() & 0x33);
    }
    BitReader reader;
    reader.Attach(bytes);
    BitCursor cursor(bytes);
    for (int block = 0; block < 4; ++block) {
      Block mine = {};
      Block expected = {};
      DecodeAc(reader, mine);
      LenientAc(cursor, expected);
      ASSERT_EQ(mine, expected) << "round " << round;
      BitCursor peek = cursor;
      ASSERT_EQ(reader.Peek32(), peek.Take(32)) << "round " << round;
    }
  }
}

}  // namespace

}  // namespace qivm::test
