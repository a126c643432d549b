// Slices, macroblocks and blocks as SliceReader reads them.

#include "decoder/slice_reader.h"

#include <gtest/gtest.h>

#include "tests/core/random_pictures.h"
#include "tests/core/slice_runs.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

/// The bytes of a picture's only slice behind its start code.
Bytes SliceOf(const ModelPicture& picture) {
  BitString bits;
  PutSlice(bits, picture, picture.slices.at(0));
  return {bits.Bytes().begin() + 4, bits.Bytes().end()};
}

std::vector<LenientMacroblock> Read(const ModelPicture& picture) {
  const GuardedBuffer slice(SliceOf(picture));
  return ReadCarefully(slice.Bytes(), ParametersOf(picture), picture.Columns());
}

TEST(SliceReader, DcCoefficientsOfARow) {
  const ModelPicture picture = FlatPicture(3, 1);
  const auto macroblocks = Read(picture);
  for (std::size_t column = 0; column < 3; ++column) {
    EXPECT_EQ(macroblocks[column].quantiserCode, 1);
    EXPECT_EQ(macroblocks[column].blocks, picture.slices[0].macroblocks[column].blocks);
  }
}

TEST(SliceReader, EveryIntraDcPrecisionIsBroughtToElevenBits) {
  for (int precision = 0; precision < 4; ++precision) {
    ModelPicture picture = FlatPicture(1, 1);
    picture.intraDcPrecision = precision;
    for (Block& block : picture.slices[0].macroblocks[0].blocks) {
      block[0] = static_cast<std::int16_t>(128 << precision);
    }
    picture.slices[0].macroblocks[0].blocks[3][0] = 5;
    const LenientMacroblock macroblock = Read(picture).at(0);
    EXPECT_EQ(macroblock.blocks[0][0], 1024);
    EXPECT_EQ(macroblock.blocks[3][0], 5 << (3 - precision));
    EXPECT_EQ(macroblock.blocks[7][0], 1024);
  }
}

// At the coarsest precision a first block whose DC does not differ from the reset value shows the
// predictor times eight.
TEST(SliceReader, DcSizeZeroRepeatsThePredictor) {
  ModelPicture picture = FlatPicture(1, 1);
  picture.intraDcPrecision = 0;
  for (Block& block : picture.slices[0].macroblocks[0].blocks) {
    block[0] = 128;
  }
  const LenientMacroblock macroblock = Read(picture).at(0);
  for (const Block& block : macroblock.blocks) {
    EXPECT_EQ(block[0], 128 * 8);
  }
}

TEST(SliceReader, PredictorsAreThoseOfTheComponents) {
  ModelPicture picture = FlatPicture(2, 1);
  for (std::size_t column = 0; column < 2; ++column) {
    for (std::size_t block = 0; block < 8; ++block) {
      picture.slices[0].macroblocks[column].blocks[block][0] =
          static_cast<std::int16_t>(20 * column + block);
    }
  }
  const auto macroblocks = Read(picture);
  for (std::size_t column = 0; column < 2; ++column) {
    for (std::size_t block = 0; block < 8; ++block) {
      EXPECT_EQ(macroblocks[column].blocks[block][0], static_cast<int>(20 * column + block));
    }
  }
}

TEST(SliceReader, IncrementBitIsNotLookedAt) {
  // The writer puts 0 in the picture's first macroblock; a slice of another row begins with 1.
  ModelPicture picture = FlatPicture(2, 1);
  const Bytes zero = SliceOf(picture);
  const auto first = Read(picture);
  picture.slices[0].row = 1;
  EXPECT_NE(SliceOf(picture), zero);
  EXPECT_EQ(Read(picture), first);
}

TEST(SliceReader, SliceHeadersWithAndWithoutExtraInformation) {
  for (const unsigned extra : {0U, 1U, 2U, 3U, 4U, 5U, 9U, 40U}) {
    for (const bool flag : {true, false}) {
      ModelPicture picture = FlatPicture(2, 1);
      ModelSlice& slice = picture.slices[0];
      slice.quantiserCode = 21;
      slice.intraSliceFlag = flag;
      if (flag) {
        slice.extraInformation = Bytes(extra, 0xA7);
      }
      const auto macroblocks = Read(picture);
      for (std::size_t column = 0; column < 2; ++column) {
        EXPECT_EQ(macroblocks[column].blocks, slice.macroblocks[column].blocks) << extra;
        EXPECT_EQ(macroblocks[column].quantiserCode, 21);
      }
    }
  }
}

TEST(SliceReader, MacroblockQuantiserHoldsToTheEndOfTheSlice) {
  ModelPicture picture = FlatPicture(4, 1);
  picture.slices[0].quantiserCode = 3;
  picture.slices[0].macroblocks[1].quantiserCode = 17;
  picture.slices[0].macroblocks[3].quantiserCode = 31;
  const auto macroblocks = Read(picture);
  EXPECT_EQ(macroblocks[0].quantiserCode, 3);
  EXPECT_EQ(macroblocks[1].quantiserCode, 17);
  EXPECT_EQ(macroblocks[2].quantiserCode, 17);
  EXPECT_EQ(macroblocks[3].quantiserCode, 31);
}

TEST(SliceReader, DctTypeOfEveryMacroblock) {
  ModelPicture picture = FlatPicture(4, 1);
  picture.slices[0].macroblocks[1].fieldDct = false;
  picture.slices[0].macroblocks[2].fieldDct = false;
  const auto macroblocks = Read(picture);
  EXPECT_FALSE(macroblocks[0].frameDct);
  EXPECT_TRUE(macroblocks[1].frameDct);
  EXPECT_TRUE(macroblocks[2].frameDct);
  EXPECT_FALSE(macroblocks[3].frameDct);
}

// Where the syntax has no dct_type, frame_pred_frame_dct decides, and field pictures have field
// macroblocks.
TEST(SliceReader, WithoutDctType) {
  for (const bool fieldPicture : {false, true}) {
    ModelPicture picture = FlatPicture(2, 1);
    picture.pictureStructure = fieldPicture ? 1 : 3;
    picture.framePredFrameDct = fieldPicture ? 0 : 1;
    for (const LenientMacroblock& macroblock : Read(picture)) {
      EXPECT_EQ(macroblock.frameDct, !fieldPicture);
      EXPECT_EQ(macroblock.blocks[7][0], macroblock.blocks[0][0]);
    }
  }
}

/// Reads one block, that of DC and AC bits, behind `lead` other bits.
struct BlockRun {
  explicit BlockRun(const BitString& bits, unsigned lead = 0, bool luma = true) {
    // A macroblock whose other blocks have neither difference nor level.
    BitString whole;
    whole.Put(0, lead).Put("111");
    const unsigned target = luma ? 0 : 4;
    for (unsigned index = 0; index < 8; ++index) {
      if (index == target) {
        whole.Put(bits);
      } else {
        whole.Put(index < 4 ? "100 0110" : "00 0110");
      }
    }
    whole.Put(0x5AF3, 16);
    BitReader reader;
    reader.Attach(whole.Bytes());
    reader.SeekBit(lead);
    ModelPicture picture;
    SliceState state;
    std::array<LevelBlock, MacroblockRecord::kBlocks> levels;
    ReadMacroblock(reader, ParametersOf(picture), state, levels);
    differential = levels[target].dcDifferential;
    for (std::size_t i = 1; i < 64; ++i) {
      block[i] = static_cast<std::int16_t>(levels[target].Level(i));
    }
    consumedAll = reader.BitPosition() == whole.Bits() - 16;
  }

  int differential = 0;
  Block block = {};
  /// Whether the block ended with its last bit: only then are those behind it found.
  bool consumedAll = false;
};

Block WithLevel(std::size_t position, int level) {
  Block block = {};
  block[position] = static_cast<std::int16_t>(level);
  return block;
}

TEST(DcDecoding, EverySizeAndDifference) {
  for (const bool luma : {true, false}) {
    const auto& codes = luma ? kReferenceDcLuma : kReferenceDcChroma;
    for (unsigned size = 0; size < 12; ++size) {
      for (unsigned value = 0; value < 1U << size; ++value) {
        BitString bits;
        bits.Put(codes[size]).Put(value, size).Put(kReferenceEndOfBlock);
        const BlockRun run(bits, value % 31, luma);
        int expected = 0;
        if (size > 0) {
          expected = value >= 1U << (size - 1) ? static_cast<int>(value)
                                               : static_cast<int>(value) - (1 << size) + 1;
        }
        ASSERT_EQ(run.differential, expected);
        ASSERT_TRUE(run.consumedAll);
      }
    }
  }
}

TEST(DcDecoding, SizeOne) {
  EXPECT_EQ(BlockRun(BitString().Put("00 0 0110")).differential, -1);
  EXPECT_EQ(BlockRun(BitString().Put("00 1 0110")).differential, 1);
}

/// The levels of a block behind a DC coefficient without difference.
BlockRun AcOf(const BitString& bits, unsigned lead = 0) {
  return BlockRun(BitString().Put("100").Put(bits), lead);
}

TEST(AcDecoding, EndOfBlockAloneTakesFourBits) {
  const BlockRun run = AcOf(BitString().Put("0110"));
  EXPECT_EQ(run.block, Block{});
  EXPECT_TRUE(run.consumedAll);
}

TEST(AcDecoding, EveryCodeWithBothSignsAtEveryBitOffset) {
  for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
    for (const int sign : {1, -1}) {
      for (unsigned lead = 0; lead < 32; ++lead) {
        BitString bits;
        bits.Put(entry.bits, entry.length).PutBit(sign < 0).Put(kReferenceEndOfBlock);
        const BlockRun run = AcOf(bits, lead);
        ASSERT_EQ(run.block, WithLevel(static_cast<std::size_t>(entry.run) + 1, sign * entry.level))
            << entry.run << "/" << sign * entry.level;
        ASSERT_TRUE(run.consumedAll);
      }
    }
  }
}

TEST(AcDecoding, EveryEscape) {
  for (unsigned run = 0; run < 64; ++run) {
    for (unsigned level = 0; level < 4096; ++level) {
      // The last run passes the end of the block and ends it: no end of block is read then.
      const bool inside = run < 63;
      BitString bits;
      bits.Put(kReferenceEscape).Put(run, 6).Put(level, 12);
      bits.Put(inside ? kReferenceEndOfBlock : "");
      const BlockRun result = AcOf(bits, level % 32);
      const int value = level < 2048 ? static_cast<int>(level) : static_cast<int>(level) - 4096;
      ASSERT_EQ(result.block, inside ? WithLevel(run + 1, value) : Block{}) << run << "/" << value;
      ASSERT_TRUE(result.consumedAll);
    }
  }
}

TEST(AcDecoding, SmallestEscapeLevel) {
  BitString bits;
  bits.Put("110 0");  // run 0, level 2
  bits.Put(kReferenceEscape).Put(5, 6).Put(0x800, 12).Put(kReferenceEndOfBlock);
  Block expected = WithLevel(1, 2);
  expected[1 + 5 + 1] = -2048;
  EXPECT_EQ(AcOf(bits).block, expected);
}

TEST(AcDecoding, CodeInNoTableEndsTheBlockWithFourBits) {
  const ModelPicture picture;
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
    // Behind run 0, level -1. The four bits are zeros, so what is behind them are the word's
    // others: the next block's DC and so on.
    BitString bits;
    bits.Put(0, word % 32).Put("111 100 101").Put(word, 16).Put(0x39C6318C63, 40).Put(~0ULL, 64);
    LenientSlice expected(picture, bits.Bytes(), word % 32, 0);
    BitReader reader;
    reader.Attach(bits.Bytes());
    reader.SeekBit(word % 32);
    SliceState state;
    std::array<LevelBlock, MacroblockRecord::kBlocks> levels;
    ReadMacroblock(reader, ParametersOf(picture), state, levels);
    ASSERT_EQ(levels[0].Level(1), -1) << word;
    ASSERT_EQ(levels[0].Level(2), 0) << word;
    const LenientMacroblock macroblock = expected.Next();
    for (std::size_t block = 0; block < 8; ++block) {
      for (std::size_t i = 1; i < 64; ++i) {
        ASSERT_EQ(levels[block].Level(i), macroblock.blocks[block][i]) << word;
      }
    }
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
  const BlockRun run = AcOf(bits);
  EXPECT_EQ(run.block, expected);
  EXPECT_TRUE(run.consumedAll);
}

TEST(AcDecoding, LongestBlock) {
  BitString bits;
  Block expected = {};
  for (std::size_t i = 1; i < 64; ++i) {
    bits.Put(kReferenceEscape).Put(0, 6).Put(0x7FF, 12);
    expected[i] = 2047;
  }
  bits.Put(kReferenceEndOfBlock);
  const BlockRun run = AcOf(bits, 13);
  EXPECT_EQ(run.block, expected);
  EXPECT_TRUE(run.consumedAll);
}

TEST(AcDecoding, LevelPastTheLastPositionEndsTheBlock) {
  BitString bits;
  for (int i = 1; i < 64; ++i) {
    bits.Put("10 0");
  }
  bits.Put("10 1");  // where the end of block is due
  const BlockRun run = AcOf(bits);
  Block expected = {};
  expected.fill(1);
  expected[0] = 0;
  EXPECT_EQ(run.block, expected);
  EXPECT_TRUE(run.consumedAll);
}

// A slice of any bits at all: damaged data never stops the reader and never leads it outside.
TEST(SliceReader, RandomBits) {
  Random random(101);
  for (int round = 0; round < 3000; ++round) {
    ModelPicture picture;
    picture.intraDcPrecision = random.Between(0, 3);
    picture.pictureStructure = random.OneIn(3) ? 1 : 3;
    picture.framePredFrameDct = random.OneIn(3) ? 1 : 0;
    BitString bits;
    ModelSlice slice;
    slice.quantiserCode = random.Between(0, 31);
    slice.intraSliceFlag = random.OneIn(2);
    PutSliceHeader(bits, slice);
    const std::size_t start = bits.Bits() - 32;
    const std::uint8_t mask = random.OneIn(2) ? 0xFF : 0x5B;
    for (std::uint32_t count = random.Below(400); count > 0; --count) {
      bits.Put(random.Byte() & mask, 8);
    }
    const GuardedBuffer bytes(std::span(bits.Bytes()).subspan(4));
    LenientSlice reference(picture, bytes.Bytes(), start, slice.quantiserCode);
    constexpr int kMacroblocks = 6;
    for (const LenientMacroblock& macroblock :
         ReadCarefully(bytes.Bytes(), ParametersOf(picture), kMacroblocks)) {
      ASSERT_EQ(macroblock, reference.Next()) << "round " << round;
    }
  }
}

}  // namespace

}  // namespace qivm::test
