#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

constexpr int kLargest = Quantiser::kLargestCoefficient;
constexpr int kLargestSmall = LevelBatch::kLargestSmallLevel;

/// A batch of which every byte is of no meaning, and no large levels yet.
std::unique_ptr<LevelBatch> MakeBatch() {
  auto batch = std::make_unique<LevelBatch>();
  for (auto& levels : batch->levels) {
    levels.fill(0x55);
  }
  batch->masks.fill(0x1234567812345678);
  batch->dc.fill(-4321);
  return batch;
}

class QuantiseKernelsTest : public TierTest {
 protected:
  /// The levels of a macroblock's coefficients in transmission order.
  static Blocks Reference(const Blocks& coefficients, int qScaleType, int code) {
    Blocks levels = {};
    for (std::size_t i = 0; i < levels.size(); ++i) {
      for (std::size_t position = 1; position < 64; ++position) {
        levels[i][kReferenceZigzag[position]] =
            ReferenceQuantise(coefficients[i][position], kReferenceMatrix[position],
                              ReferenceScale(qScaleType, code));
      }
    }
    return levels;
  }

  void Run(const Blocks& coefficients, int qScaleType, int code, LevelBatch& batch,
           std::size_t macroblock) {
    record_.SetCoefficients(coefficients);
    quantise_(record_.Record(),
              Quantiser(static_cast<std::uint8_t>(qScaleType), static_cast<std::uint8_t>(code)),
              batch, macroblock);
  }

  /// Expects the blocks of a macroblock in the batch, and its large levels from number `firstLarge`
  /// on.
  static void ExpectBlocks(const LevelBatch& batch, std::size_t macroblock, const Blocks& levels,
                           const Blocks& coefficients, std::size_t firstLarge) {
    std::size_t large = firstLarge;
    for (std::size_t i = 0; i < levels.size(); ++i) {
      const std::size_t block = 8 * macroblock + i;
      std::uint64_t mask = 0;
      for (std::size_t position = 0; position < 64; ++position) {
        const int level = levels[i][position];
        const int small = batch.levels[block][position];
        if (level != 0) {
          mask |= std::uint64_t{1} << position;
        }
        if (std::abs(level) <= kLargestSmall) {
          ASSERT_EQ(small, level) << "block " << block << ", position " << position;
          continue;
        }
        ASSERT_GT(level > 0 ? small : -small, kLargestSmall);
        ASSERT_LT(large, batch.largeCount);
        ASSERT_EQ(batch.large[large].block, block);
        ASSERT_EQ(batch.large[large].position, position);
        ASSERT_EQ(batch.large[large].level, level);
        ++large;
      }
      ASSERT_EQ(batch.masks[block], mask) << "block " << block;
      ASSERT_EQ(batch.dc[block], coefficients[i][0]) << "block " << block;
    }
    ASSERT_EQ(batch.largeCount, large);
  }

  void ExpectReference(const Blocks& coefficients, int qScaleType, int code) {
    const auto batch = MakeBatch();
    Run(coefficients, qScaleType, code, *batch, 0);
    ExpectBlocks(*batch, 0, Reference(coefficients, qScaleType, code), coefficients, 0);
  }

  /// The level of the coefficient of the lowest horizontal frequency; its weight is 16.
  int SecondLevel(int coefficient, int qScaleType, int code) {
    Blocks coefficients = {};
    coefficients[6][1] = static_cast<std::int16_t>(coefficient);
    const auto batch = MakeBatch();
    Run(coefficients, qScaleType, code, *batch, 0);
    return batch->levels[6][1];
  }

  const QuantiseKernel quantise_ = KernelsFor(GetParam()).quantise;
  KernelRecord record_;
};

TEST_P(QuantiseKernelsTest, RandomCoefficientsOfEveryCode) {
  Random random(21);
  for (const int qScaleType : {0, 1}) {
    for (int code = 1; code < 32; ++code) {
      for (const int reach : {8, 100, kLargest}) {
        Blocks coefficients =
            BlocksOf([&] { return static_cast<std::int16_t>(random.Between(-reach, reach)); });
        for (Block& block : coefficients) {
          block[0] = static_cast<std::int16_t>(random.Between(0, 2040));
        }
        ASSERT_NO_FATAL_FAILURE(ExpectReference(coefficients, qScaleType, code));
      }
    }
  }
}

TEST_P(QuantiseKernelsTest, EverySinglePosition) {
  for (std::size_t block = 0; block < MacroblockRecord::kBlocks; ++block) {
    for (std::size_t position = 1; position < 64; ++position) {
      for (const int coefficient : {83, -83, kLargest, -kLargest}) {
        Blocks coefficients = {};
        coefficients[block][position] = static_cast<std::int16_t>(coefficient);
        ASSERT_NO_FATAL_FAILURE(ExpectReference(coefficients, 1, 1));
      }
    }
  }
}

// The DC coefficient goes its own way, whatever it is; the level in its place is none.
TEST_P(QuantiseKernelsTest, DcCoefficients) {
  for (int first = 0; first < 2048; first += 8) {
    Blocks coefficients = {};
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      coefficients[i][0] = static_cast<std::int16_t>(first + static_cast<int>(i));
      coefficients[i][63] = 1;
    }
    ASSERT_NO_FATAL_FAILURE(ExpectReference(coefficients, 1, 1));
  }
}

TEST_P(QuantiseKernelsTest, RoundsTowardZero) {
  EXPECT_EQ(SecondLevel(37, 1, 2), 18);
  EXPECT_EQ(SecondLevel(-37, 1, 2), -18);
  EXPECT_EQ(SecondLevel(-1, 1, 2), 0);
}

TEST_P(QuantiseKernelsTest, LinearCode16IsScale22) {
  EXPECT_EQ(SecondLevel(22, 0, 16), 1);
  EXPECT_EQ(SecondLevel(21, 0, 16), 0);
  EXPECT_EQ(SecondLevel(24, 1, 16), 1);
  EXPECT_EQ(SecondLevel(23, 1, 16), 0);
}

TEST_P(QuantiseKernelsTest, LevelsAroundTheLargestSmallOne) {
  // Of weight 16 and scale 1: level and coefficient are the same.
  for (int level = kLargestSmall - 2; level <= kLargest; ++level) {
    Blocks coefficients = {};
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      coefficients[i][1] = static_cast<std::int16_t>(i % 2 == 0 ? level : -level);
      coefficients[i][8] = static_cast<std::int16_t>(i % 2 == 0 ? -level : level);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectReference(coefficients, 1, 1));
  }
}

// Each macroblock fills its own place of the batch and no other, and adds to the list of large
// levels what it has.
TEST_P(QuantiseKernelsTest, MacroblocksFillTheirPlaces) {
  Random random(23);
  for (int round = 0; round < 20; ++round) {
    const auto batch = MakeBatch();
    const auto untouched = MakeBatch();
    for (std::size_t macroblock = 0; macroblock < LevelBatch::kMacroblocks; ++macroblock) {
      const int reach = random.OneIn(3) ? 100 : kLargest;
      const Blocks coefficients =
          BlocksOf([&] { return static_cast<std::int16_t>(random.Between(-reach, reach)); });
      const auto before = std::make_unique<LevelBatch>(*batch);
      Run(coefficients, 1, 1, *batch, macroblock);
      ASSERT_NO_FATAL_FAILURE(ExpectBlocks(*batch, macroblock, Reference(coefficients, 1, 1),
                                           coefficients, before->largeCount));
      for (std::size_t block = 0; block < LevelBatch::kBlocks; ++block) {
        const LevelBatch& expected = block < 8 * macroblock ? *before : *untouched;
        if (block / 8 != macroblock) {
          ASSERT_EQ(batch->levels[block], expected.levels[block]) << "block " << block;
          ASSERT_EQ(batch->masks[block], expected.masks[block]) << "block " << block;
          ASSERT_EQ(batch->dc[block], expected.dc[block]) << "block " << block;
        }
      }
      for (std::size_t i = 0; i < before->largeCount; ++i) {
        ASSERT_EQ(batch->large[i].block, before->large[i].block);
        ASSERT_EQ(batch->large[i].position, before->large[i].position);
        ASSERT_EQ(batch->large[i].level, before->large[i].level);
      }
    }
  }
}

// The list has room for a batch in which every level is large.
TEST_P(QuantiseKernelsTest, NothingButLargeLevels) {
  const auto batch = MakeBatch();
  const Blocks coefficients = BlocksOf([] { return std::int16_t{kLargest}; });
  for (std::size_t macroblock = 0; macroblock < LevelBatch::kMacroblocks; ++macroblock) {
    Run(coefficients, 1, 1, *batch, macroblock);
  }
  EXPECT_EQ(batch->largeCount, LevelBatch::kBlocks * 63);
}

INSTANTIATE_TEST_SUITE_P(AllTiers, QuantiseKernelsTest, testing::ValuesIn(RunnableTiers()),
                         TierName);

}  // namespace

}  // namespace qivm::test
