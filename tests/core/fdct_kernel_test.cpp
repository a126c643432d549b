#include <gtest/gtest.h>

#include "tests/core/kernel_record.h"

namespace qivm::test {

namespace {

// The samples for which the vectors' 16-bit sums are exact; the converters give 0 to 255.
constexpr int kLowestSample = -13;
constexpr int kHighestSample = 269;

class FdctKernelTest : public TierTest {
 protected:
  const MacroblockKernel fdct_ = KernelsFor(GetParam()).fdct;

  void ExpectReference(const Blocks& samples) const {
    KernelRecord record;
    const Blocks coefficients = record.Fdct(fdct_, samples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      Block expected = samples[i];
      ReferenceFdct(expected);
      ASSERT_EQ(coefficients[i], expected) << "block " << i;
    }
    record.ExpectTheRestUnchanged();
  }
};

TEST_P(FdctKernelTest, FlatBlocksHaveADcAlone) {
  KernelRecord record;
  for (int first = 0; first <= 255; ++first) {
    const auto sampleOf = [first](std::size_t block) {
      return static_cast<std::int16_t>((first + 37 * static_cast<int>(block)) % 256);
    };
    Blocks samples;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i].fill(sampleOf(i));
    }
    const Blocks coefficients = record.Fdct(fdct_, samples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const Block expected = {static_cast<std::int16_t>(8 * sampleOf(i))};
      ASSERT_EQ(coefficients[i], expected) << "samples of " << sampleOf(i);
    }
  }
}

TEST_P(FdctKernelTest, EverySingleSample) {
  constexpr std::array<std::int16_t, MacroblockRecord::kBlocks> kValues = {1,   16,  127, 128,
                                                                           129, 235, 254, 255};
  for (const auto background : std::to_array<std::int16_t>({0, 128, 255})) {
    for (std::size_t position = 0; position < 64; ++position) {
      Blocks samples = BlocksOf([background] { return background; });
      for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i][position] = kValues[i];
      }
      ExpectReference(samples);
    }
  }
}

TEST_P(FdctKernelTest, RandomSamples) {
  Random random(41);
  for (int round = 0; round < 500; ++round) {
    ExpectReference(BlocksOf([&random] { return random.Byte(); }));
  }
}

TEST_P(FdctKernelTest, BlackAndWhiteSamples) {
  Random random(42);
  for (int round = 0; round < 500; ++round) {
    ExpectReference(
        BlocksOf([&random] { return random.OneIn(2) ? std::int16_t{255} : std::int16_t{0}; }));
  }
}

TEST_P(FdctKernelTest, SamplesOfTheWholeExactRange) {
  Random random(43);
  for (int round = 0; round < 500; ++round) {
    ExpectReference(BlocksOf([&random] {
      return static_cast<std::int16_t>(random.Between(kLowestSample, kHighestSample));
    }));
    ExpectReference(BlocksOf([&random] {
      return static_cast<std::int16_t>(random.OneIn(2) ? kLowestSample : kHighestSample);
    }));
  }
}

// What drives each coefficient, and with it the sums that it is made of, as far as samples can.
TEST_P(FdctKernelTest, LargestCoefficients) {
  for (std::size_t frequency = 0; frequency < 64; ++frequency) {
    Blocks samples;
    for (std::size_t i = 0; i < 64; ++i) {
      const bool positive = BasisOf(frequency / 8, i / 8) * BasisOf(frequency % 8, i % 8) > 0;
      const std::array<int, 4> values = {positive ? 255 : 0, positive ? 0 : 255,
                                         positive ? kHighestSample : kLowestSample,
                                         positive ? kLowestSample : kHighestSample};
      for (std::size_t block = 0; block < samples.size(); ++block) {
        samples[block][i] = static_cast<std::int16_t>(values[block % values.size()]);
      }
    }
    ExpectReference(samples);
  }
}

TEST_P(FdctKernelTest, CloseToTheTrueTransform) {
  Random random(44);
  KernelRecord record;
  for (int round = 0; round < 100; ++round) {
    const Blocks samples = BlocksOf([&random] { return random.Byte(); });
    const Block coefficients = record.Fdct(fdct_, samples)[6];
    for (std::size_t v = 0; v < 8; ++v) {
      for (std::size_t u = 0; u < 8; ++u) {
        double exact = 0;
        for (std::size_t i = 0; i < 64; ++i) {
          exact += BasisOf(v, i / 8) * BasisOf(u, i % 8) * samples[6][i];
        }
        ASSERT_NEAR(coefficients[8 * v + u], exact, 1.0) << "row " << v << " column " << u;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, FdctKernelTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
