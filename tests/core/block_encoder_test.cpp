#include "encoder/block_encoder.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/core/lenient_parser.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

/// An encoder over a buffer with room for a few macroblocks.
class Encoding {
 public:
  explicit Encoding(std::size_t size = 16384) : buffer_(size) {
    EXPECT_TRUE(encoder_.Init(64, 64));
    Restart();
  }
  void Restart() {
    encoder_.StartFrame(buffer_.Bytes(), 1);
    encoder_.Parameters().dcPredictor.fill(1024);
  }
  BlockEncoder& Encoder() { return encoder_; }
  /// The bits so far, padded to whole words.
  Bytes Finish() {
    encoder_.Writer().WriteSequenceEnd();
    const auto bytes = buffer_.Bytes().first(encoder_.Writer().BytesWritten() - 4);
    return {bytes.begin(), bytes.end()};
  }

 private:
  GuardedBuffer buffer_;
  BlockEncoder encoder_;
};

/// The first block of a component (0 is Y, 1 Cb, 2 Cr) in a macroblock.
int BlockOf(unsigned component) {
  constexpr std::array<int, 3> kFirst = {0, 4, 5};
  return kFirst[component];
}

Block WithDc(int dc) {
  Block block = {};
  block[0] = static_cast<std::int16_t>(dc);
  return block;
}

Bytes Padded(BitString bits) { return bits.AlignTo(4).Bytes(); }

TEST(BlockEncoder, NothingButTheSizeCodeAndTheEnd) {
  Encoding luma;
  luma.Encoder().CodeBlock(WithDc(1024), 0);
  EXPECT_EQ(luma.Finish(), Padded(BitString().Put("100 0110")));
  Encoding chroma;
  chroma.Encoder().CodeBlock(WithDc(1024), BlockOf(1));
  EXPECT_EQ(chroma.Finish(), Padded(BitString().Put("00 0110")));
}

TEST(BlockEncoder, EveryDcDifference) {
  Encoding encoding(64);
  for (unsigned component = 0; component < 3; ++component) {
    for (int dc = -1023; dc <= 2047 + 1024; ++dc) {
      encoding.Restart();
      encoding.Encoder().CodeBlock(WithDc(dc), BlockOf(component));
      EXPECT_EQ(encoding.Encoder().Parameters().dcPredictor[component], dc);
      BitString expected;
      int predictor = 1024;
      PutBlock(expected, WithDc(dc), component == 0 ? Component::luma : Component::cb, predictor);
      ASSERT_EQ(encoding.Finish(), Padded(expected)) << dc;
    }
  }
}

TEST(BlockEncoder, DcPrecisions) {
  for (int precision = 0; precision < 4; ++precision) {
    for (const int dc : {0, 1, 3, 4, 5, 7, 8, 100, 1020, 1023, 1024, 2040, -1, -4, -5}) {
      Encoding encoding;
      encoding.Encoder().Parameters().intraDcPrecision = static_cast<std::uint8_t>(precision);
      encoding.Encoder().Parameters().dcPredictor.fill(100);
      encoding.Encoder().CodeBlock(WithDc(dc), BlockOf(2));
      constexpr std::array<int, 4> kRounding = {4, 2, 1, 0};
      const int value = (dc + kRounding[static_cast<std::size_t>(precision)]) >> (3 - precision);
      BitString expected;
      int predictor = 100;
      PutBlock(expected, WithDc(value), Component::cr, predictor);
      EXPECT_EQ(encoding.Finish(), Padded(expected)) << dc << " precision " << precision;
    }
  }
}

TEST(BlockEncoder, PredictorsOfTheComponentsAreTheirOwn) {
  Encoding encoding;
  BitString expected;
  std::array<int, 3> predictors = {1024, 1024, 1024};
  Random random(161);
  for (int i = 0; i < 60; ++i) {
    const unsigned component = random.Below(3);
    const Block block = WithDc(random.Between(0, 2040));
    encoding.Encoder().CodeBlock(block, BlockOf(component));
    PutBlock(expected, block, component == 0 ? Component::luma : Component::cb,
             predictors[component]);
  }
  EXPECT_EQ(encoding.Finish(), Padded(expected));
}

TEST(BlockEncoder, EveryCodeWithBothSigns) {
  for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
    for (const int sign : {1, -1}) {
      Block block = WithDc(1024);
      block[static_cast<std::size_t>(entry.run) + 1] =
          static_cast<std::int16_t>(sign * entry.level);
      Encoding encoding;
      encoding.Encoder().CodeBlock(block, 0);
      BitString expected;
      expected.Put("100").Put(entry.bits, entry.length).PutBit(sign < 0).Put("0110");
      ASSERT_EQ(encoding.Finish(), Padded(expected)) << entry.run << "/" << sign * entry.level;
    }
  }
}

TEST(BlockEncoder, EveryEscape) {
  Encoding encoding(64);
  for (int run = 0; run < 63; ++run) {
    for (int level = -2100; level <= 2100; ++level) {
      if (level == 0 || FindRunLevel(run, std::abs(level)) != nullptr) {
        continue;
      }
      Block block = WithDc(1024);
      block[static_cast<std::size_t>(run) + 1] = static_cast<std::int16_t>(level);
      encoding.Restart();
      encoding.Encoder().CodeBlock(block, 0);
      BitString expected;
      // Levels beyond 12 bits keep their low 12.
      expected.Put("100 000001").Put(static_cast<unsigned>(run), 6);
      expected.Put(static_cast<unsigned>(level) & 0xFFF, 12).Put("0110");
      ASSERT_EQ(encoding.Finish(), Padded(expected)) << run << "/" << level;
    }
  }
}

// What one side writes the other reads, whatever the room that is left in the accumulator.
TEST(BlockEncoder, RandomBlocks) {
  Random random(162);
  for (int round = 0; round < 400; ++round) {
    Encoding encoding;
    BitString expected;
    std::array<int, 3> predictors = {1024, 1024, 1024};
    for (int i = 0; i < 8; ++i) {
      Block block = WithDc(random.Between(0, 2040));
      const std::uint32_t sparseness = 1 + random.Below(30);
      const int bound = random.OneIn(3) ? 2047 : random.Between(1, 45);
      for (std::size_t position = 1; position < 64; ++position) {
        if (random.OneIn(sparseness)) {
          block[position] = static_cast<std::int16_t>(random.Between(-bound, bound));
        }
      }
      const unsigned component = i < 4 ? 0U : static_cast<unsigned>(i % 2) + 1;
      encoding.Encoder().CodeBlock(block, BlockOf(component));
      PutBlock(expected, block, component == 0 ? Component::luma : Component::cb,
               predictors[component]);
    }
    ASSERT_EQ(encoding.Finish(), Padded(expected)) << round;
  }
}

MacroblockRecord RecordAt(int column, int row) {
  MacroblockRecord record;
  record.column = static_cast<std::int16_t>(column);
  record.row = static_cast<std::int16_t>(row);
  for (int block = 0; block < 8; ++block) {
    record.Block(block)[0] = static_cast<std::int16_t>(100 * block + column);
    record.Block(block)[5] = static_cast<std::int16_t>(block - 3);
  }
  return record;
}

TEST(BlockEncoder, Slices) {
  BlockEncoder encoder;
  ASSERT_TRUE(encoder.Init(64, 64));
  GuardedBuffer buffer(4096);
  encoder.StartFrame(buffer.Bytes(), 19);
  ModelPicture picture;
  picture.width = 64;
  picture.height = 64;
  BitString expected;
  for (int row = 0; row < 3; ++row) {
    ModelSlice slice;
    slice.row = row;
    slice.quantiserCode = 19;
    for (int column = 0; column < 4; ++column) {
      MacroblockRecord record = RecordAt(column, row);
      encoder.WriteMacroblock(record);
      ModelMacroblock& macroblock = slice.macroblocks.emplace_back();
      for (int block = 0; block < 8; ++block) {
        const auto levels = record.Block(block);
        std::copy(levels.begin(), levels.end(), macroblock.blocks.emplace_back().begin());
      }
    }
    PutSlice(expected, picture, slice);
  }
  encoder.Writer().WriteSequenceEnd();
  PutSequenceEnd(expected);
  const auto bytes = buffer.Bytes().first(encoder.Writer().BytesWritten());
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), expected.Bytes());
}

TEST(BlockEncoder, DctTypeOnlyWhereTheSyntaxHasIt) {
  for (const int pictureStructure : {1, 3}) {
    for (const int framePredFrameDct : {0, 1}) {
      for (const int frameDct : {0, 1}) {
        Encoding encoding;
        PictureParameters& parameters = encoding.Encoder().Parameters();
        parameters.pictureStructure = static_cast<std::uint8_t>(pictureStructure);
        parameters.framePredFrameDct = static_cast<std::uint8_t>(framePredFrameDct);
        parameters.frameDct = static_cast<std::uint8_t>(frameDct);
        MacroblockRecord record = RecordAt(1, 0);
        encoding.Encoder().WriteMacroblock(record);
        const Bytes bytes = encoding.Finish();
        BitString expected;
        expected.Put("1 1");
        if (pictureStructure == 3 && framePredFrameDct == 0) {
          expected.PutBit(frameDct == 0);
        }
        std::array<int, 3> predictors = {1024, 1024, 1024};
        for (int block = 0; block < 8; ++block) {
          Block levels = {};
          const auto source = record.Block(block);
          std::copy(source.begin(), source.end(), levels.begin());
          PutBlock(expected, levels, block < 4 ? Component::luma : Component::cb,
                   predictors[block < 4 ? 0U : static_cast<std::size_t>(block % 2) + 1]);
        }
        EXPECT_EQ(bytes, Padded(expected));
      }
    }
  }
}

// The largest macroblock there can be: every coefficient an escape, every DC difference of the
// longest code.
TEST(BlockEncoder, LargestMacroblock) {
  Encoding encoding;
  encoding.Encoder().Parameters().dcPredictor.fill(2047);
  MacroblockRecord record;
  record.column = 1;
  for (int block = 0; block < 8; ++block) {
    // Alternately the least and the most of what eleven bits hold, in every component.
    const bool least = block < 4 ? block % 2 == 0 : block < 6;
    record.Block(block)[0] = least ? 0 : 2047;
    for (std::size_t i = 1; i < 64; ++i) {
      record.Block(block)[i] = 2047;
    }
  }
  encoding.Encoder().WriteMacroblock(record);
  constexpr std::size_t kBits = 3 + 4 * (9 + 11) + 4 * (10 + 11) + 8 * (std::size_t{63} * 24 + 4);
  EXPECT_EQ(encoding.Finish().size(), (kBits + 31) / 32 * 4);
  EXPECT_LE((kBits + 7) / 8, BlockEncoder::kMaxMacroblockBytes);
}

TEST(BlockEncoder, TableZeroIsAFault) {
  Encoding encoding;
  encoding.Encoder().Parameters().intraVlcFormat = 0;
  const Block block = WithDc(1024);
  auto code = [&] { encoding.Encoder().CodeBlock(block, 0); };
  EXPECT_FALSE(platform::RunGuarded(code));
}

}  // namespace

}  // namespace qivm::test
