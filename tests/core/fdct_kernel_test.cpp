#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

#include "tests/core/kernel_record.h"

namespace qivm::test {

namespace {

class FdctKernelTest : public testing::TestWithParam<KernelVariant> {
 protected:
  const MacroblockKernel fdct_ = KernelsFor(GetParam()).fdct;

  void ExpectReference(KernelRecord& record) const {
    record.ExpectKernel(fdct_, [](Block& block, int /*index*/) { ReferenceFdct(block); });
  }
};

TEST_P(FdctKernelTest, FlatBlocksHaveADcAlone) {
  KernelRecord record(8);
  for (int sample = 0; sample <= 255; ++sample) {
    record.Record().coefficients.fill(static_cast<std::int16_t>(sample));
    fdct_(record.Record());
    Block expected = {};
    expected[0] = static_cast<std::int16_t>(8 * sample);
    ASSERT_EQ(record.Get(0), expected) << sample;
    ASSERT_EQ(record.Get(7), expected) << sample;
  }
}

TEST_P(FdctKernelTest, EverySingleSample) {
  KernelRecord record(12);
  constexpr std::array<int, 12> kValues = {1,   -1,  16,    128,    235,   255,
                                           256, 511, 12345, -20000, 32767, -32768};
  for (std::size_t position = 0; position < 64; ++position) {
    record.Record().coefficients.fill(0);
    for (int block = 0; block < 12; ++block) {
      record.Record().Block(block)[position] =
          static_cast<std::int16_t>(kValues[static_cast<std::size_t>(block)]);
    }
    ExpectReference(record);
  }
}

TEST_P(FdctKernelTest, RandomSamples) {
  Random random(41);
  for (int round = 0; round < 500; ++round) {
    KernelRecord record(8);
    for (std::int16_t& sample : record.Record().coefficients) {
      sample = random.Byte();
    }
    ExpectReference(record);
  }
}

TEST_P(FdctKernelTest, BlackAndWhiteSamples) {
  Random random(42);
  for (int round = 0; round < 500; ++round) {
    KernelRecord record(8);
    for (std::int16_t& sample : record.Record().coefficients) {
      sample = random.OneIn(2) ? 255 : 0;
    }
    ExpectReference(record);
  }
}

TEST_P(FdctKernelTest, RandomBlocks) {
  Random random(43);
  for (const int blockCount : {1, 6, 8, 12}) {
    for (const Spread spread : kSpreads) {
      for (int round = 0; round < 300; ++round) {
        KernelRecord record(blockCount);
        record.Randomise(random, spread);
        ExpectReference(record);
      }
    }
  }
}

TEST_P(FdctKernelTest, CloseToTheTrueTransform) {
  Random random(44);
  for (int round = 0; round < 100; ++round) {
    KernelRecord record(8);
    for (std::int16_t& sample : record.Record().coefficients) {
      sample = random.Byte();
    }
    const Block samples = record.Get(6);
    fdct_(record.Record());
    for (std::size_t v = 0; v < 8; ++v) {
      for (std::size_t u = 0; u < 8; ++u) {
        double exact = 0;
        for (std::size_t y = 0; y < 8; ++y) {
          for (std::size_t x = 0; x < 8; ++x) {
            const auto angle = [](std::size_t n, std::size_t k) {
              return (2.0 * static_cast<double>(n) + 1) * static_cast<double>(k) *
                     std::numbers::pi / 16;
            };
            exact += std::cos(angle(y, v)) * std::cos(angle(x, u)) * samples[8 * y + x];
          }
        }
        exact *=
            0.25 * (v == 0 ? std::numbers::sqrt2 / 2 : 1) * (u == 0 ? std::numbers::sqrt2 / 2 : 1);
        ASSERT_NEAR(record.Get(6)[8 * v + u], exact, 1.0) << "row " << v << " column " << u;
      }
    }
  }
}

TEST_P(FdctKernelTest, SameBitsAsPlain) { ExpectSameAsPlain<&KernelSet::fdct>(GetParam(), 45); }

INSTANTIATE_TEST_SUITE_P(AllClasses, FdctKernelTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

}  // namespace

}  // namespace qivm::test
