#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "encoder/row_encoder.h"
#include "kernels/kernel_set.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_stream.h"
#include "tests/support/random.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

/// A code of any bits, as stands for a block's DC coefficient.
struct DcCode {
  std::uint32_t bits = 0;
  unsigned count = 2;
};

struct CodedBlock {
  DcCode dc;
  Block levels = {};  // in transmission order; the first plays no part
};
using CodedBlocks = std::vector<CodedBlock>;

/// The bits of the levels alone: those of a block without what PutBlock has before and behind them.
void PutLevels(BitString& bits, Block levels) {
  BitString block;
  int predictor = 0;
  levels[0] = 0;
  PutBlock(block, levels, Component::luma, predictor);
  BitCursor cursor(block.Bytes(), kReferenceDcLuma[0].size());
  while (cursor.Position() < block.Bits() - kReferenceEndOfBlock.size()) {
    bits.PutBit(cursor.Take(1) == 1);
  }
}

/// What a batch has of the levels. A level that does not fit is any of those that say so.
std::unique_ptr<LevelBatch> BatchOf(const CodedBlocks& blocks) {
  auto batch = std::make_unique<LevelBatch>();
  batch->masks.fill(~std::uint64_t{0});  // of the blocks behind, which are not coded
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    batch->levels[i] = {};
    batch->masks[i] = 0;
    for (std::size_t position = 1; position < LevelBatch::kLevels; ++position) {
      const int level = blocks[i].levels[position];
      if (level == 0) {
        continue;
      }
      batch->masks[i] |= std::uint64_t{1} << position;
      if (std::abs(level) > LevelBatch::kLargestSmallLevel) {
        const int beyond = level > 0 ? 127 : -127 - static_cast<int>(position % 2);
        batch->levels[i][position] = static_cast<std::int8_t>(beyond);
        batch->large[batch->largeCount++] = {static_cast<std::uint16_t>(i),
                                             static_cast<std::uint8_t>(position),
                                             static_cast<std::int16_t>(level)};
      } else {
        batch->levels[i][position] = static_cast<std::int8_t>(level);
      }
    }
  }
  return batch;
}

class CodeLevelsTest : public TierTest {
 protected:
  static constexpr std::uint8_t kBefore = 0xC5;
  /// What may be written behind the tail.
  static constexpr std::size_t kSlack = 8;

  CodeLevelsTest() {
    // What a batch before has left there.
    lists_->levels.fill(0xFFFF);
    lists_->codes.fill(0xFFFFFFFF);
    lists_->blocks.fill(0xFFFFFFFF);
  }

  /// Expects the model's bits behind the first `offset` bits of a byte, and nothing written before
  /// that byte or more than eight bytes behind the last.
  void ExpectReference(const CodedBlocks& blocks, unsigned offset = 0) {
    const unsigned first = 0xB6U >> (8 - offset);
    BitString expected;
    expected.Put(first, offset);
    std::vector<std::uint32_t> dcCodes;
    for (const CodedBlock& block : blocks) {
      expected.Put(block.dc.bits, block.dc.count);
      PutLevels(expected, block.levels);
      dcCodes.push_back(PackCode(block.dc.bits, block.dc.count));
    }
    const auto output = memory_.Bytes().last(1 + expected.Bits() / 8 + kSlack);
    output[0] = kBefore;
    BitTail tail = {&output[1], static_cast<std::uint8_t>(first << (8 - offset)),
                    static_cast<std::uint8_t>(offset)};
    codeLevels_(*BatchOf(blocks), dcCodes, *lists_, tail);

    ASSERT_EQ(output[0], kBefore);
    ASSERT_EQ(tail.next, &output[1] + expected.Bits() / 8);
    ASSERT_EQ(tail.count, expected.Bits() % 8);
    // The last bits are in the tail; in memory there may be anything in their place.
    const auto whole = output.subspan(1, expected.Bits() / 8);
    ASSERT_TRUE(std::equal(whole.begin(), whole.end(), expected.Bytes().begin()));
    ASSERT_EQ(tail.bits, tail.count == 0 ? 0 : expected.Bytes().back());
  }

  const CodeLevelsKernel codeLevels_ = KernelsFor(GetParam()).codeLevels;
  const std::unique_ptr<CodeLists> lists_ = std::make_unique<CodeLists>();
  const GuardedBuffer memory_ = GuardedBuffer(RowEncoder::LargestSlice(LevelBatch::kMacroblocks));
};

CodedBlock BlockOf(int run, int level) {
  CodedBlock block;
  block.levels[static_cast<std::size_t>(run + 1)] = static_cast<std::int16_t>(level);
  return block;
}

constexpr int kLargestLevel = 2047;
constexpr int kRuns = 63;  // 0 to 62: a block has that many places

// Codes of Table B-15 with both signs and escapes, up to what 12 bits hold.
TEST_P(CodeLevelsTest, EveryRunAndLevel) {
  for (int run = 0; run < kRuns; ++run) {
    for (int first = 1; first <= kLargestLevel; first += 32) {
      CodedBlocks blocks;
      for (int level = first; level < std::min(first + 32, kLargestLevel + 1); ++level) {
        blocks.push_back(BlockOf(run, level));
        blocks.push_back(BlockOf(run, -level));
      }
      ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks)) << "run " << run << ", from " << first;
    }
  }
}

// A run behind another level, and behind that of the block before.
TEST_P(CodeLevelsTest, EveryRunBetweenTwoLevels) {
  CodedBlocks blocks;
  for (std::size_t from = 1; from < 64; ++from) {
    for (std::size_t to = from + 1; to < 64; ++to) {
      CodedBlock block;
      block.levels[from] = static_cast<std::int16_t>(to % 2 == 0 ? 1 : -2);
      block.levels[to] = static_cast<std::int16_t>(from % 3 == 0 ? 3 : -1);
      blocks.push_back(block);
      if (blocks.size() == LevelBatch::kBlocks) {
        ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks));
        blocks.clear();
      }
    }
  }
  ExpectReference(blocks);
}

TEST_P(CodeLevelsTest, LevelsOfMoreThan12BitsLoseTheUpperOnes) {
  CodedBlocks blocks;
  for (const int level : {-2048, -2049, 2048, 4095, -4096 - 5, 32767, -32768}) {
    blocks.push_back(BlockOf(3, level));
  }
  ExpectReference(blocks);
}

/// A code for the DC coefficient of any kind: from the size 0 of chrominance alone to an end of
/// block, a macroblock's header and a luminance code of size 11.
DcCode RandomDc(Random& random) {
  const auto count = static_cast<unsigned>(random.Between(2, 27));
  return {random.Next() >> (32 - count), count};
}

CodedBlocks RandomBlocks(Random& random, std::size_t count, std::uint32_t density,
                         std::uint32_t largeOnes) {
  CodedBlocks blocks(count);
  for (CodedBlock& block : blocks) {
    block.dc = RandomDc(random);
    for (std::size_t i = 1; i < block.levels.size(); ++i) {
      const int reach = random.OneIn(largeOnes) ? 1023 : 3;
      block.levels[i] =
          static_cast<std::int16_t>(random.OneIn(density) ? random.Between(-reach, reach) : 0);
    }
  }
  return blocks;
}

TEST_P(CodeLevelsTest, RandomBatches) {
  Random random(71);
  for (int round = 0; round < 2000; ++round) {
    const std::size_t macroblocks = 1 + random.Below(LevelBatch::kMacroblocks);
    ASSERT_NO_FATAL_FAILURE(ExpectReference(
        RandomBlocks(random, 8 * macroblocks, 1 + random.Below(100), 1 + random.Below(200)),
        random.Below(8)))
        << "round " << round;
  }
}

// Every length of the lists against the vectors' steps, and any number of blocks.
TEST_P(CodeLevelsTest, EveryNumberOfLevels) {
  Random random(72);
  for (std::size_t levels = 0; levels < 64; ++levels) {
    for (std::size_t count = 1; count <= 9; ++count) {
      CodedBlocks blocks(count);
      for (std::size_t i = 0; i < levels; ++i) {
        blocks[i % count].levels[1 + i / count] =
            static_cast<std::int16_t>(random.OneIn(2) ? 1 : -40);
      }
      ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks, random.Below(8)));
    }
  }
}

TEST_P(CodeLevelsTest, EveryOffset) {
  for (unsigned offset = 0; offset < 8; ++offset) {
    for (unsigned count = 2; count <= 27; ++count) {
      CodedBlocks blocks(8);
      for (CodedBlock& block : blocks) {
        block.dc = {0x5555555U & ((1U << count) - 1), count};
      }
      ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks, offset));
      blocks[7] = BlockOf(0, -1);
      ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks, offset));
    }
  }
}

TEST_P(CodeLevelsTest, LargestBatch) {
  for (const int level : {1, -40, 126, -127, 1023, -2047}) {
    CodedBlocks blocks(LevelBatch::kBlocks);
    for (CodedBlock& block : blocks) {
      block.dc = {0x7FFFFFF, 27};
      block.levels.fill(static_cast<std::int16_t>(level));
    }
    for (unsigned offset = 0; offset < 8; ++offset) {
      ASSERT_NO_FATAL_FAILURE(ExpectReference(blocks, offset));
    }
  }
}

// Everything as long as it can be: an encoder's output for a row has room for it.
TEST_P(CodeLevelsTest, LargestSliceFits) {
  constexpr std::size_t kBatches = 3;
  constexpr std::size_t kMacroblocks = kBatches * LevelBatch::kMacroblocks;
  CodedBlocks blocks(LevelBatch::kBlocks);
  std::vector<std::uint32_t> dcCodes;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    blocks[i].levels.fill(-1000);
    // End of block, a macroblock's header where one begins, the longest code of size 11.
    const unsigned count = 4U + (i % 8 == 0 ? 3U : 0U) + (i % 8 < 4 ? 9U : 10U) + 11U;
    dcCodes.push_back(PackCode((1U << count) - 1, count));
  }
  const auto batch = BatchOf(blocks);
  const GuardedBuffer output(RowEncoder::LargestSlice(kMacroblocks));
  constexpr std::size_t kHeader = 6;  // start code, slice header, two bits of a macroblock's
  BitTail tail = {output.Data() + kHeader, 0xC0, 2};
  for (std::size_t i = 0; i < kBatches; ++i) {
    codeLevels_(*batch, dcCodes, *lists_, tail);
  }
  // The end of the last block, and up to a multiple of four bytes.
  const auto end = static_cast<std::size_t>(tail.next - output.Data()) + 2 + 3;
  EXPECT_LE(end, output.Size());
}

INSTANTIATE_TEST_SUITE_P(AllTiers, CodeLevelsTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
