// Quantisation divides by multiplying with a reciprocal, which is exact for magnitudes up to
// Quantiser::kLargestCoefficient. Here every divisor meets every such coefficient, and no samples
// have a larger one.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

constexpr int kLargest = Quantiser::kLargestCoefficient;

class QuantiseReciprocalTest : public TierTest {
 protected:
  const KernelSet kernels_ = KernelsFor(GetParam());
  const std::unique_ptr<LevelBatch> batch_ = std::make_unique<LevelBatch>();
  KernelRecord record_;
};

TEST_P(QuantiseReciprocalTest, EveryCoefficientWeightAndCode) {
  for (const int qScaleType : {0, 1}) {
    for (int code = 1; code < 32; ++code) {
      const Quantiser quantiser(static_cast<std::uint8_t>(qScaleType),
                                static_cast<std::uint8_t>(code));
      const int scale = ReferenceScale(qScaleType, code);
      // Eight coefficients at a time: a block has the same one everywhere, so that it meets every
      // weight.
      for (int first = -kLargest; first <= kLargest; first += 8) {
        const auto coefficientOf = [first](std::size_t block) {
          return static_cast<std::int16_t>(std::min(first + static_cast<int>(block), kLargest));
        };
        Blocks coefficients;
        for (std::size_t i = 0; i < coefficients.size(); ++i) {
          coefficients[i].fill(coefficientOf(i));
        }
        record_.SetCoefficients(coefficients);
        batch_->largeCount = 0;
        kernels_.quantise(record_.Record(), quantiser, *batch_, 0);
        std::size_t large = 0;
        for (std::size_t i = 0; i < coefficients.size(); ++i) {
          std::array<int, 64> expected = {};
          for (std::size_t position = 1; position < 64; ++position) {
            expected[kReferenceZigzag[position]] =
                ReferenceQuantise(coefficientOf(i), kReferenceMatrix[position], scale);
          }
          for (std::size_t k = 1; k < 64; ++k) {
            const bool isLarge = std::abs(expected[k]) > LevelBatch::kLargestSmallLevel;
            const int level = isLarge ? batch_->large[large++].level : batch_->levels[i][k];
            ASSERT_EQ(level, expected[k])
                << "coefficient " << coefficientOf(i) << ", scale " << scale << ", index " << k;
          }
        }
        ASSERT_EQ(batch_->largeCount, large);
      }
    }
  }
}

/// The samples from 0 to 255 that drive a coefficient as far up as it goes, or down.
Block Extreme(std::size_t frequency, bool up) {
  Block samples;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double share = BasisOf(frequency / 8, i / 8) * BasisOf(frequency % 8, i % 8);
    samples[i] = (share > 0) == up ? 255 : 0;
  }
  return samples;
}

// The exact transform has 255 times the positive shares of a coefficient's samples at most. The
// codec's constants are off by less than 2 in 10000 in both passes together, and rounding moves a
// result by less than 0.6: by 0.5 at the end, and what the eight results of the first pass have,
// each 0.5 and a little, comes to less than 0.09 * 0.6.
TEST(LargestCoefficient, IsWithinTheExactRange) {
  double largest = 0;
  for (std::size_t frequency = 1; frequency < 64; ++frequency) {
    double sum = 0;
    for (std::size_t i = 0; i < 64; ++i) {
      sum += 255 * std::max(0.0, BasisOf(frequency / 8, i / 8) * BasisOf(frequency % 8, i % 8));
    }
    largest = std::max(largest, sum);
  }
  EXPECT_NEAR(largest, 1020, 1e-9);
  EXPECT_LT(largest * 1.0002 + 0.6, 1021);
  static_assert(kLargest >= 1020);
}

// The extreme samples of each frequency and their neighbours give no more.
TEST_P(QuantiseReciprocalTest, ExtremeSamples) {
  Random random(25);
  int largest = 0;
  for (std::size_t frequency = 1; frequency < 64; ++frequency) {
    for (int round = 0; round < 20; ++round) {
      Blocks samples;
      for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = Extreme(frequency, i % 2 == 0);
        // The first two blocks stay as they are.
        for (int changes = i < 2 ? 0 : random.Between(1, 12); changes > 0; --changes) {
          std::int16_t& sample = samples[i][random.Below(64)];
          sample = static_cast<std::int16_t>(std::abs(sample - random.Between(0, 3)));
        }
      }
      const Blocks coefficients = record_.Fdct(kernels_.fdct, samples);
      for (const Block& block : coefficients) {
        for (std::size_t i = 1; i < block.size(); ++i) {
          largest = std::max(largest, std::abs(int{block[i]}));
        }
      }
    }
  }
  EXPECT_EQ(largest, 1020);
}

INSTANTIATE_TEST_SUITE_P(AllTiers, QuantiseReciprocalTest, testing::ValuesIn(RunnableTiers()),
                         TierName);

}  // namespace

}  // namespace qivm::test
