#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

constexpr int kLowestLevel = -2048;
constexpr int kHighestLevel = 2047;

/// What a macroblock's levels, each block's in transmission order, are dequantised with.
struct How {
  int qScaleType = 0;
  int code = 2;
  bool alternateScan = false;
};

/// The levels of a macroblock as the decoder reads them. What else its blocks hold is not the
/// kernels'.
class Levels {
 public:
  Levels() {
    for (LevelBlock& block : blocks) {
      block.unused.fill(0x3C);
      block.dcDifferential = -77;
      block.unusedWord = 78;
    }
  }
  explicit Levels(const Blocks& levels) : Levels() {
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      for (std::size_t position = 1; position < LevelBlock::kLevels; ++position) {
        blocks[i].SetLevel(position, levels[i][position]);
      }
    }
  }

  bool operator==(const Levels& other) const {
    return std::memcmp(blocks.data(), other.blocks.data(), sizeof(blocks)) == 0;
  }

  std::array<LevelBlock, MacroblockRecord::kBlocks> blocks = {};
};

class DequantiseKernelsTest : public TierTest {
 protected:
  bool Run(Levels& levels, const How& how) {
    return dequantise_(levels.blocks,
                       DequantiserOf(static_cast<std::uint8_t>(how.qScaleType),
                                     static_cast<std::uint8_t>(how.code)),
                       how.alternateScan, kDc, record_.Record());
  }

  /// Expects the kernel to put what the reference makes of each level into its place, and to leave
  /// nothing but zeros among the levels.
  void ExpectReference(const Blocks& levels, const How& how) {
    const auto& scan = how.alternateScan ? kReferenceAlternate : kReferenceZigzag;
    const int scale = ReferenceScale(how.qScaleType, how.code);
    record_.SetCoefficients(BlocksOf([] { return kBefore; }));
    Levels mine(levels);
    ASSERT_TRUE(Run(mine, how));
    const Blocks coefficients = record_.Coefficients();
    for (std::size_t i = 0; i < levels.size(); ++i) {
      Block expected = {kDc[i]};
      for (std::size_t position = 1; position < expected.size(); ++position) {
        expected[position] =
            ReferenceDequantise(levels[i][scan[position]], kReferenceMatrix[position], scale);
      }
      ASSERT_EQ(coefficients[i], expected) << "block " << i << ", code " << how.code;
    }
    ASSERT_TRUE(mine == Levels());
    record_.ExpectTheRestUnchanged();
  }

  /// What the level behind the DC coefficient becomes; its weight is 16.
  int SecondCoefficient(int level, int qScaleType, int code) {
    Blocks levels = {};
    levels[5][1] = static_cast<std::int16_t>(level);
    Levels mine(levels);
    EXPECT_TRUE(Run(mine, {qScaleType, code}));
    return record_.Coefficients()[5][1];
  }

  static constexpr std::int16_t kBefore = 0x5A5A;
  static constexpr DcCoefficients kDc = {1024, -1, 0, 32767, -32768, 2040, 8, -2047};

  const DequantiseKernel dequantise_ = KernelsFor(GetParam()).dequantise;
  KernelRecord record_;
};

// Eight levels at a time: a block has the same one everywhere, so that it meets every weight.
TEST_P(DequantiseKernelsTest, EveryLevelAndCodeOfBothTypesAndScans) {
  for (const int qScaleType : {0, 1}) {
    for (int code = 0; code < 32; ++code) {
      for (int first = kLowestLevel; first <= kHighestLevel; first += 8) {
        Blocks levels;
        for (std::size_t i = 0; i < levels.size(); ++i) {
          levels[i].fill(static_cast<std::int16_t>(first + static_cast<int>(i)));
        }
        for (const bool alternateScan : {false, true}) {
          ASSERT_NO_FATAL_FAILURE(ExpectReference(levels, {qScaleType, code, alternateScan}));
        }
      }
    }
  }
}

TEST_P(DequantiseKernelsTest, EverySinglePosition) {
  for (const int level : {1, -128, 129, -2048}) {
    for (std::size_t block = 0; block < MacroblockRecord::kBlocks; ++block) {
      for (std::size_t position = 1; position < 64; ++position) {
        for (const bool alternateScan : {false, true}) {
          Blocks levels = {};
          levels[block][position] = static_cast<std::int16_t>(level);
          ASSERT_NO_FATAL_FAILURE(ExpectReference(levels, {1, 20, alternateScan}));
        }
      }
    }
  }
}

// Blocks with any share of levels that do not fit a byte, empty ones among them.
TEST_P(DequantiseKernelsTest, LargeAndSmallLevelsTogether) {
  Random random(21);
  for (int round = 0; round < 3000; ++round) {
    const std::uint32_t density = 1 + random.Below(64);
    const std::uint32_t largeOnes = 1 + random.Below(64);
    const Blocks levels = BlocksOf([&] {
      const int reach = random.OneIn(largeOnes) ? 2047 : 5;
      return static_cast<std::int16_t>(random.OneIn(density) ? random.Between(-reach, reach) : 0);
    });
    ASSERT_NO_FATAL_FAILURE(
        ExpectReference(levels, {random.Between(0, 1), random.Between(1, 31), random.OneIn(2)}));
  }
}

// Levels whose low byte is zero, or has another sign than the level.
TEST_P(DequantiseKernelsTest, BytesOfALargeLevelApart) {
  Blocks levels = {};
  constexpr std::array<int, 10> kLevels = {256, -256, 128, -129, 255, -255, 511, -512, 1920, -1792};
  for (std::size_t i = 0; i < levels.size(); ++i) {
    for (std::size_t k = 0; k < kLevels.size(); ++k) {
      levels[i][1 + (7 * i + 6 * k) % 63] = static_cast<std::int16_t>(kLevels[k]);
    }
  }
  ExpectReference(levels, {0, 9, false});
  ExpectReference(levels, {0, 9, true});
}

// The second coefficient in transmission order is the lowest horizontal frequency in the zig-zag
// scan and the lowest vertical one in the alternate scan.
TEST_P(DequantiseKernelsTest, SecondCoefficient) {
  Blocks levels = {};
  levels[7][1] = 5;
  Levels zigzag(levels);
  Levels alternate(levels);
  ASSERT_TRUE(Run(zigzag, {0, 8, false}));
  EXPECT_EQ(record_.Coefficients()[7][1], 5 * 16);
  ASSERT_TRUE(Run(alternate, {0, 8, true}));
  EXPECT_EQ(record_.Coefficients()[7][8], 5 * 16);
}

TEST_P(DequantiseKernelsTest, RoundsTowardZero) {
  EXPECT_EQ(SecondCoefficient(-3, 1, 2), -6);
  Blocks levels = {};
  levels[0][3] = -1;  // at the third row's beginning, of weight 19: 76 / 32
  levels[1][3] = 1;
  Levels mine(levels);
  ASSERT_TRUE(Run(mine, {1, 2, false}));
  const Blocks coefficients = record_.Coefficients();
  EXPECT_EQ(coefficients[0][16], -2);
  EXPECT_EQ(coefficients[1][16], 2);
}

TEST_P(DequantiseKernelsTest, LinearCode16IsScale22) {
  EXPECT_EQ(SecondCoefficient(1, 0, 15), 30);
  EXPECT_EQ(SecondCoefficient(1, 0, 16), 22);
  EXPECT_EQ(SecondCoefficient(1, 0, 17), 34);
  EXPECT_EQ(SecondCoefficient(1, 1, 16), 24);
}

TEST_P(DequantiseKernelsTest, ResultsKeepTheirLow16Bits) {
  Blocks levels = {};
  for (Block& block : levels) {
    block[63] = kHighestLevel;
  }
  levels[3][63] = 127;
  Levels mine(levels);
  ASSERT_TRUE(Run(mine, {1, 31, false}));
  const Blocks coefficients = record_.Coefficients();
  // 2047 * 83 * 112 * 2 / 32 = 1189307, far beyond 16 bits; 127 * ... = 73787 is too.
  EXPECT_EQ(coefficients[0][63], static_cast<std::int16_t>(2047 * 83 * 112 * 2 / 32));
  EXPECT_EQ(coefficients[3][63], static_cast<std::int16_t>(127 * 83 * 112 * 2 / 32));
}

// A level behind a block's last position, wherever: the macroblock is left as it was.
TEST_P(DequantiseKernelsTest, OverrunsAreRefused) {
  Random random(22);
  const Blocks before = BlocksOf([&random] { return random.Word(); });
  const Blocks levels = BlocksOf([&random] { return RandomCoefficient(random, Spread::level); });
  for (std::size_t block = 0; block < MacroblockRecord::kBlocks; ++block) {
    for (std::size_t position = 0; position < LevelBlock::kLevels; ++position) {
      for (const int level : {1, -1, -128}) {
        Levels mine(levels);
        mine.blocks[block].overrun[position] = static_cast<std::int8_t>(level);
        const Levels copy = mine;
        record_.SetCoefficients(before);
        ASSERT_FALSE(Run(mine, {1, 5, position % 2 == 0}));
        ASSERT_TRUE(mine == copy);
        ASSERT_EQ(record_.Coefficients(), before);
      }
    }
  }
  record_.ExpectTheRestUnchanged();
}

INSTANTIATE_TEST_SUITE_P(AllTiers, DequantiseKernelsTest, testing::ValuesIn(RunnableTiers()),
                         TierName);

}  // namespace

}  // namespace qivm::test
