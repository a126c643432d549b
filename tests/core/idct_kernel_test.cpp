#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/kernel_record.h"

namespace qivm::test {

namespace {

class IdctKernelTest : public TierTest {
 protected:
  const MacroblockKernel idct_ = KernelsFor(GetParam()).idct;

  void ExpectReference(const Blocks& coefficients) const {
    KernelRecord record;
    const Blocks samples = record.Idct(idct_, coefficients);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      Block expected = coefficients[i];
      ReferenceIdct(expected);
      ASSERT_EQ(samples[i], expected) << "block " << i;
    }
    record.ExpectTheRestUnchanged();
  }
};

TEST_P(IdctKernelTest, EveryDcValue) {
  KernelRecord record;
  for (int first = -32768; first <= 32767; first += static_cast<int>(MacroblockRecord::kBlocks)) {
    Blocks coefficients = {};
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      coefficients[i][0] = static_cast<std::int16_t>(first + static_cast<int>(i));
    }
    const Blocks samples = record.Idct(idct_, coefficients);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      Block expected;
      expected.fill(static_cast<std::int16_t>((coefficients[i][0] + 4) >> 3));
      ASSERT_EQ(samples[i], expected) << "DC " << coefficients[i][0];
    }
  }
}

TEST_P(IdctKernelTest, EverySingleCoefficient) {
  constexpr std::array<std::int16_t, 16> kValues = {1,     -1,    7,      -8,    255,   -256,
                                                    1020,  -1020, 2047,   -2048, 12345, -20000,
                                                    32766, 32767, -32767, -32768};
  for (std::size_t position = 0; position < 64; ++position) {
    for (std::size_t first = 0; first < kValues.size(); first += MacroblockRecord::kBlocks) {
      Blocks coefficients = {};
      for (std::size_t i = 0; i < coefficients.size(); ++i) {
        coefficients[i][position] = kValues[first + i];
      }
      ExpectReference(coefficients);
    }
  }
}

TEST_P(IdctKernelTest, RandomBlocks) {
  Random random(31);
  for (const Spread spread : kSpreads) {
    for (int round = 0; round < 500; ++round) {
      ExpectReference(BlocksOf([&] { return RandomCoefficient(random, spread); }));
    }
  }
}

TEST_P(IdctKernelTest, SparseBlocks) {
  Random random(32);
  for (int round = 0; round < 1000; ++round) {
    Blocks coefficients = {};
    for (Block& block : coefficients) {
      for (int count = random.Between(0, 5); count > 0; --count) {
        block[random.Below(64)] = RandomCoefficient(random, kSpreads[random.Below(4)]);
      }
    }
    ExpectReference(coefficients);
  }
}

constexpr std::size_t kHalfBlock = 32;  // the upper half of the vertical frequencies

// Blocks whose lower half of the vertical frequencies is empty may be done in a shorter form, alone
// or together with a neighbour: every choice of such blocks in a macroblock.
TEST_P(IdctKernelTest, EmptyLowerHalvesAmongFullOnes) {
  Random random(34);
  for (const Spread spread : kSpreads) {
    for (unsigned full = 0; full < 256; ++full) {
      Blocks coefficients = BlocksOf([&] { return RandomCoefficient(random, spread); });
      for (std::size_t i = 0; i < coefficients.size(); ++i) {
        if ((full >> i & 1) == 0) {
          std::fill(coefficients[i].begin() + kHalfBlock, coefficients[i].end(), std::int16_t{0});
        }
      }
      ExpectReference(coefficients);
    }
  }
}

// A single coefficient there makes the difference, whichever it is and however small.
TEST_P(IdctKernelTest, SingleCoefficientInALowerHalf) {
  Random random(35);
  for (std::size_t block = 0; block < MacroblockRecord::kBlocks; ++block) {
    for (std::size_t position = kHalfBlock; position < 64; ++position) {
      for (const int value : {1, -1, 256, -32768}) {
        Blocks coefficients = {};
        for (Block& other : coefficients) {
          std::generate_n(other.begin(), kHalfBlock,
                          [&] { return RandomCoefficient(random, Spread::level); });
        }
        coefficients[block][position] = static_cast<std::int16_t>(value);
        ExpectReference(coefficients);
      }
    }
  }
}

// The accuracy that a decoder of real streams needs: within one of the true transform for
// coefficients that a picture can have.
TEST_P(IdctKernelTest, CloseToTheTrueTransform) {
  Random random(33);
  KernelRecord record;
  for (int round = 0; round < 200; ++round) {
    const Blocks coefficients =
        BlocksOf([&random] { return static_cast<std::int16_t>(random.Between(-300, 300)); });
    const Block samples = record.Idct(idct_, coefficients)[5];
    for (std::size_t y = 0; y < 8; ++y) {
      for (std::size_t x = 0; x < 8; ++x) {
        double exact = 0;
        for (std::size_t i = 0; i < 64; ++i) {
          exact += BasisOf(i / 8, y) * BasisOf(i % 8, x) * coefficients[5][i];
        }
        ASSERT_NEAR(samples[8 * y + x], exact, 1.0) << "row " << y << " column " << x;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, IdctKernelTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
