// Slices and macroblocks as PictureDecoder reads them.

#include "decoder/picture_decoder.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/lenient_parser.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_stream.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

ModelPicture PictureOf(int columns, int rows) {
  ModelPicture picture;
  picture.width = 16 * columns;
  picture.height = 16 * rows;
  return picture;
}

ModelMacroblock FlatMacroblock(const ModelPicture& picture, int dc) {
  ModelMacroblock macroblock;
  macroblock.blocks.resize(static_cast<std::size_t>(picture.BlockCount()));
  for (Block& block : macroblock.blocks) {
    block[0] = static_cast<std::int16_t>(dc);
  }
  return macroblock;
}

ModelSlice FlatSlice(const ModelPicture& picture, int row, int dc) {
  ModelSlice slice;
  slice.row = row;
  for (int column = 0; column < picture.Columns(); ++column) {
    slice.macroblocks.push_back(FlatMacroblock(picture, dc + column));
  }
  return slice;
}

/// A decoder at the first slice of a frame.
struct Decoding {
  explicit Decoding(const Bytes& bytes) : stream(bytes) {
    decoder.Attach(stream.Bytes());
    EXPECT_TRUE(decoder.ParsePictureHeaders(record));
  }

  GuardedBuffer stream;
  PictureDecoder decoder;
  MacroblockRecord record;
};

TEST(PictureDecoder, WalksThroughTheRows) {
  ModelPicture picture = PictureOf(3, 2);
  picture.slices = {FlatSlice(picture, 0, 100), FlatSlice(picture, 1, 500)};
  Decoding decoding(StreamOf(picture));
  for (int row = 0; row < 2; ++row) {
    for (int column = 0; column < 3; ++column) {
      ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
      EXPECT_EQ(decoding.record.row, row);
      EXPECT_EQ(decoding.record.column, column);
      EXPECT_EQ(decoding.record.macroblockType, 1U);
      EXPECT_EQ(decoding.record.parameters.quantiserScaleCode, 1);
      for (int block = 0; block < 8; ++block) {
        Block expected = {};
        expected[0] = static_cast<std::int16_t>((row == 0 ? 100 : 500) + column);
        const auto mine = decoding.record.Block(block);
        ASSERT_TRUE(std::equal(mine.begin(), mine.end(), expected.begin()));
      }
    }
  }
  EXPECT_FALSE(decoding.decoder.DecodeNextMacroblock(decoding.record));
}

TEST(PictureDecoder, EveryIntraDcPrecisionIsBroughtToElevenBits) {
  for (int precision = 0; precision < 4; ++precision) {
    ModelPicture picture = PictureOf(1, 1);
    picture.intraDcPrecision = precision;
    ModelSlice slice = FlatSlice(picture, 0, 128 << precision);
    slice.macroblocks[0].blocks[3][0] = 5;
    picture.slices = {slice};
    Decoding decoding(StreamOf(picture));
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.Block(0)[0], 1024);
    EXPECT_EQ(decoding.record.Block(3)[0], 5 << (3 - precision));
    EXPECT_EQ(decoding.record.Block(7)[0], 1024);
  }
}

// At the coarsest precision a first block whose DC does not differ from the reset value shows the
// predictor times eight.
TEST(PictureDecoder, DcSizeZeroRepeatsThePredictor) {
  ModelPicture picture = PictureOf(1, 1);
  picture.intraDcPrecision = 0;
  picture.slices = {FlatSlice(picture, 0, 128)};
  Decoding decoding(StreamOf(picture));
  ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
  for (int block = 0; block < 8; ++block) {
    EXPECT_EQ(decoding.record.Block(block)[0], 128 * 8);
  }
}

TEST(PictureDecoder, PredictorsAreResetByEverySliceAndOnlyThere) {
  ModelPicture picture = PictureOf(2, 2);
  for (int row = 0; row < 2; ++row) {
    ModelSlice slice;
    slice.row = row;
    for (int column = 0; column < 2; ++column) {
      ModelMacroblock macroblock;
      for (int block = 0; block < 8; ++block) {
        Block levels = {};
        levels[0] = static_cast<std::int16_t>(50 * row + 20 * column + block);
        macroblock.blocks.push_back(levels);
      }
      slice.macroblocks.push_back(macroblock);
    }
    picture.slices.push_back(slice);
  }
  Decoding decoding(StreamOf(picture));
  for (int index = 0; index < 4; ++index) {
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    for (int block = 0; block < 8; ++block) {
      EXPECT_EQ(decoding.record.Block(block)[0], 50 * (index / 2) + 20 * (index % 2) + block);
    }
  }
}

TEST(PictureDecoder, IncrementBitIsNotLookedAt) {
  // The writer puts 0 in the picture's first macroblock; a slice of another row begins with 1.
  ModelPicture picture = PictureOf(2, 2);
  picture.slices = {FlatSlice(picture, 1, 300)};
  const Bytes one = StreamOf(picture);
  picture.slices[0].row = 0;
  const Bytes zero = StreamOf(picture);
  ASSERT_EQ(one.size(), zero.size());
  Decoding first(one);
  Decoding second(zero);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(first.decoder.DecodeNextMacroblock(first.record));
    ASSERT_TRUE(second.decoder.DecodeNextMacroblock(second.record));
    EXPECT_EQ(first.record.coefficients, second.record.coefficients);
  }
}

TEST(PictureDecoder, SliceHeadersWithAndWithoutExtraInformation) {
  for (const unsigned extra : {0U, 1U, 2U, 3U, 4U, 5U, 9U, 40U}) {
    for (const bool flag : {true, false}) {
      ModelPicture picture = PictureOf(2, 1);
      ModelSlice slice = FlatSlice(picture, 0, 700);
      slice.quantiserCode = 21;
      slice.intraSliceFlag = flag;
      if (flag) {
        slice.extraInformation = Bytes(extra, 0xA7);
      }
      picture.slices = {slice};
      Decoding decoding(StreamOf(picture));
      for (int column = 0; column < 2; ++column) {
        ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
        EXPECT_EQ(decoding.record.Block(0)[0], 700 + column) << extra;
        EXPECT_EQ(decoding.record.Block(7)[0], 700 + column) << extra;
        EXPECT_EQ(decoding.record.parameters.quantiserScaleCode, 21);
      }
    }
  }
}

TEST(PictureDecoder, MacroblockQuantiserHoldsToTheEndOfTheSlice) {
  ModelPicture picture = PictureOf(4, 2);
  picture.slices = {FlatSlice(picture, 0, 10), FlatSlice(picture, 1, 10)};
  picture.slices[0].quantiserCode = 3;
  picture.slices[0].macroblocks[1].quantiserCode = 17;
  picture.slices[0].macroblocks[3].quantiserCode = 31;
  picture.slices[1].quantiserCode = 5;
  Decoding decoding(StreamOf(picture));
  constexpr std::array<int, 8> kCodes = {3, 17, 17, 31, 5, 5, 5, 5};
  constexpr std::array<std::uint32_t, 8> kTypes = {1, 3, 1, 3, 1, 1, 1, 1};
  for (std::size_t i = 0; i < 8; ++i) {
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.parameters.quantiserScaleCode, kCodes[i]) << i;
    EXPECT_EQ(decoding.record.macroblockType, kTypes[i]) << i;
  }
}

TEST(PictureDecoder, DctTypeOfEveryMacroblock) {
  ModelPicture picture = PictureOf(4, 1);
  picture.slices = {FlatSlice(picture, 0, 10)};
  picture.slices[0].macroblocks[1].fieldDct = false;
  picture.slices[0].macroblocks[2].fieldDct = false;
  Decoding decoding(StreamOf(picture));
  for (const int frameDct : {0, 1, 1, 0}) {
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.parameters.frameDct, frameDct);
  }
}

TEST(PictureDecoder, WithoutDctTypeTheLastOneHolds) {
  ModelPicture framePicture = PictureOf(1, 1);
  framePicture.slices = {FlatSlice(framePicture, 0, 10)};
  framePicture.slices[0].macroblocks[0].fieldDct = false;
  Decoding decoding(StreamOf(framePicture));
  ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
  ASSERT_EQ(decoding.record.parameters.frameDct, 1);

  for (const bool fieldPicture : {false, true}) {
    ModelPicture picture = PictureOf(1, 1);
    picture.pictureStructure = fieldPicture ? 1 : 3;
    picture.framePredFrameDct = fieldPicture ? 0 : 1;
    picture.slices = {FlatSlice(picture, 0, 10)};
    const Bytes stream = StreamOf(picture);
    decoding.decoder.Attach(stream);
    ASSERT_TRUE(decoding.decoder.ParsePictureHeaders(decoding.record));
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.parameters.frameDct, 1);
    EXPECT_EQ(decoding.record.Block(7)[0], 10);
  }
}

TEST(PictureDecoder, StartCodesThatAreNoSlicesArePassedOver) {
  const ModelPicture picture = PictureOf(1, 3);
  BitString bits;
  PutHeaders(bits, picture);
  for (const std::uint32_t code : {0x100U, 0x1B0U, 0x1B2U, 0x1B7U, 0x1FFU}) {
    bits.PutStartCode(code).Put(0xAAAA, 16);
  }
  PutSlice(bits, picture, FlatSlice(picture, 0, 30));
  bits.PutStartCode(0x1B5).Put(0x99, 8);
  // The highest code of a slice, at an odd address.
  bits.Put(0, 8).PutStartCode(0x1AF, 1);
  bits.Put(7, 5).Put(0, 1);
  int predictor = 1024;
  std::array<int, 2> chroma = {1024, 1024};
  bits.Put("1 1 1");
  Block levels = {};
  levels[0] = 77;
  for (int block = 0; block < 4; ++block) {
    PutBlock(bits, levels, Component::luma, predictor);
  }
  for (std::size_t block = 0; block < 4; ++block) {
    PutBlock(bits, levels, Component::cb, chroma[block % 2]);
  }
  bits.PutStartCode(0x1B7).Put(0, 32);
  Decoding decoding(bits.Bytes());
  ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
  EXPECT_EQ(decoding.record.row, 0);
  EXPECT_EQ(decoding.record.Block(0)[0], 30);
  ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
  EXPECT_EQ(decoding.record.row, 0xAE);
  EXPECT_EQ(decoding.record.Block(7)[0], 77);
  EXPECT_EQ(decoding.record.parameters.quantiserScaleCode, 7);
  EXPECT_FALSE(decoding.decoder.DecodeNextMacroblock(decoding.record));
}

TEST(PictureDecoder, OtherChromaFormatsHaveTheirBlocks) {
  for (const int chromaFormat : {1, 2, 3}) {
    ModelPicture picture = PictureOf(2, 1);
    picture.chromaFormat = chromaFormat;
    ModelSlice slice = FlatSlice(picture, 0, 200);
    // Cb and Cr follow each other in all formats: each has its predictor.
    for (std::size_t block = 4; block < slice.macroblocks[0].blocks.size(); ++block) {
      slice.macroblocks[0].blocks[block][0] = static_cast<std::int16_t>(100 * block);
      slice.macroblocks[0].blocks[block][63] = -1;
    }
    picture.slices = {slice};
    Decoding decoding(StreamOf(picture));
    decoding.record.coefficients.fill(-7);
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.blockCount, picture.BlockCount());
    for (int block = 4; block < picture.BlockCount(); ++block) {
      EXPECT_EQ(decoding.record.Block(block)[0], 100 * block);
      EXPECT_EQ(decoding.record.Block(block)[1], 0);
      EXPECT_EQ(decoding.record.Block(block)[63], -1);
    }
    for (int block = picture.BlockCount(); block < 12; ++block) {
      EXPECT_EQ(decoding.record.Block(block)[0], -7);
    }
    ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
    EXPECT_EQ(decoding.record.Block(5)[0], 201);
  }
}

// The place to split a frame: the first slice at or behind the middle of what is not loaded yet.
TEST(PictureDecoder, SecondDecoderStartsInTheMiddle) {
  ModelPicture picture = PictureOf(4, 9);
  for (int row = 0; row < 9; ++row) {
    picture.slices.push_back(FlatSlice(picture, row, 100 * row));
  }
  for (std::size_t padding = 0; padding < 600; padding += 13) {
    Bytes stream = StreamOf(picture);
    stream.insert(stream.end(), padding, 0);
    Decoding main(stream);
    // The first slice's start code and the word behind it are loaded.
    std::vector<std::size_t> slices;
    for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
      if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1 && stream[i + 3] >= 1 &&
          stream[i + 3] <= 9) {
        slices.push_back(i);
      }
    }
    ASSERT_EQ(slices.size(), 9U);
    const std::size_t loaded = slices[0] + 8;
    const std::size_t middle = loaded + (stream.size() - loaded) / 2;
    int expected = -1;
    for (int row = 8; row >= 0; --row) {
      if (slices[static_cast<std::size_t>(row)] >= middle) {
        expected = row;
      }
    }
    PictureDecoder second;
    ASSERT_EQ(second.ParseSliceHeaderAt(main.decoder), expected) << padding;
    if (expected >= 0) {
      MacroblockRecord record;
      ASSERT_TRUE(second.DecodeNextMacroblock(record));
      EXPECT_EQ(record.row, expected);
      EXPECT_EQ(record.column, 0);
      EXPECT_EQ(record.Block(0)[0], 100 * expected);
      EXPECT_EQ(record.parameters.width, 64);
    }
    // The first decoder has not moved.
    ASSERT_TRUE(main.decoder.DecodeNextMacroblock(main.record));
    EXPECT_EQ(main.record.row, 0);
  }
}

// A slice of any bits at all: damaged data never stops the decoder and never leads it outside the
// frame; what it makes of them is the same however it reads.
TEST(PictureDecoder, RandomBits) {
  Random random(101);
  for (int round = 0; round < 3000; ++round) {
    ModelPicture picture = PictureOf(6, 1);
    picture.chromaFormat = random.Between(1, 3);
    picture.intraDcPrecision = random.Between(0, 3);
    picture.pictureStructure = random.OneIn(3) ? 1 : 3;
    picture.framePredFrameDct = random.OneIn(3) ? 1 : 0;
    BitString bits;
    PutHeaders(bits, picture);
    ModelSlice slice;
    slice.quantiserCode = random.Between(0, 31);
    slice.intraSliceFlag = random.OneIn(2);
    PutSliceHeader(bits, slice);
    const std::size_t start = bits.Bits();
    const std::uint8_t mask = random.OneIn(2) ? 0xFF : 0x5B;
    for (std::uint32_t count = random.Below(400); count > 0; --count) {
      bits.Put(random.Byte() & mask, 8);
    }
    Decoding decoding(bits.Bytes());
    LenientSlice reference(picture, bits.Bytes(), start, slice.quantiserCode, false);
    for (int column = 0; column < 6; ++column) {
      ASSERT_TRUE(decoding.decoder.DecodeNextMacroblock(decoding.record));
      const LenientMacroblock expected = reference.Next();
      ASSERT_EQ(decoding.record.macroblockType, expected.withQuant ? 3U : 1U);
      ASSERT_EQ(decoding.record.parameters.quantiserScaleCode, expected.quantiserCode);
      ASSERT_EQ(decoding.record.parameters.frameDct, expected.frameDct ? 1 : 0);
      for (std::size_t block = 0; block < expected.blocks.size(); ++block) {
        const auto mine = decoding.record.Block(static_cast<int>(block));
        ASSERT_TRUE(std::equal(mine.begin(), mine.end(), expected.blocks[block].begin()))
            << "round " << round << " macroblock " << column << " block " << block;
      }
    }
  }
}

}  // namespace

}  // namespace qivm::test
