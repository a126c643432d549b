#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

#include "tests/core/kernel_record.h"

namespace qivm::test {

namespace {

class IdctKernelTest : public testing::TestWithParam<KernelVariant> {
 protected:
  const MacroblockKernel idct_ = KernelsFor(GetParam()).idct;

  void ExpectReference(KernelRecord& record) const {
    record.ExpectKernel(idct_, [](Block& block, int /*index*/) { ReferenceIdct(block); });
  }
};

TEST_P(IdctKernelTest, EveryDcValue) {
  KernelRecord record(12);
  for (int first = -32768; first <= 32767; first += 12) {
    record.Record().coefficients.fill(0);
    for (int block = 0; block < 12 && first + block <= 32767; ++block) {
      record.Record().Block(block)[0] = static_cast<std::int16_t>(first + block);
    }
    idct_(record.Record());
    for (int block = 0; block < 12 && first + block <= 32767; ++block) {
      const auto expected = static_cast<std::int16_t>((first + block + 4) >> 3);
      for (const std::int16_t sample : record.Record().Block(block)) {
        ASSERT_EQ(sample, expected) << "DC " << first + block;
      }
    }
  }
}

TEST_P(IdctKernelTest, EverySingleCoefficient) {
  KernelRecord record(12);
  constexpr std::array<int, 12> kValues = {1,    -1,    7,     -8,     255,   -256,
                                           2047, -2048, 12345, -20000, 32767, -32768};
  for (std::size_t position = 0; position < 64; ++position) {
    record.Record().coefficients.fill(0);
    for (int block = 0; block < 12; ++block) {
      record.Record().Block(block)[position] =
          static_cast<std::int16_t>(kValues[static_cast<std::size_t>(block)]);
    }
    ExpectReference(record);
  }
}

TEST_P(IdctKernelTest, RandomBlocks) {
  Random random(31);
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

TEST_P(IdctKernelTest, SparseBlocks) {
  Random random(32);
  for (int round = 0; round < 1000; ++round) {
    KernelRecord record(8);
    record.Record().coefficients.fill(0);
    for (int block = 0; block < 8; ++block) {
      for (int count = random.Between(0, 5); count > 0; --count) {
        record.Record().Block(block)[random.Below(64)] =
            RandomCoefficient(random, kSpreads[random.Below(4)]);
      }
    }
    ExpectReference(record);
  }
}

// The accuracy that a decoder of real streams needs: within one of the true transform for
// coefficients that a picture can have.
TEST_P(IdctKernelTest, CloseToTheTrueTransform) {
  Random random(33);
  std::array<std::array<double, 8>, 8> basis = {};
  for (std::size_t k = 0; k < 8; ++k) {
    for (std::size_t n = 0; n < 8; ++n) {
      const double scale = k == 0 ? std::sqrt(0.125) : 0.5;
      basis[k][n] = scale * std::cos((2.0 * static_cast<double>(n) + 1) * static_cast<double>(k) *
                                     std::numbers::pi / 16);
    }
  }
  for (int round = 0; round < 200; ++round) {
    KernelRecord record(8);
    for (int block = 0; block < 8; ++block) {
      for (std::int16_t& value : record.Record().Block(block)) {
        value = static_cast<std::int16_t>(random.Between(-300, 300));
      }
    }
    const Block coefficients = record.Get(5);
    idct_(record.Record());
    for (std::size_t y = 0; y < 8; ++y) {
      for (std::size_t x = 0; x < 8; ++x) {
        double exact = 0;
        for (std::size_t v = 0; v < 8; ++v) {
          for (std::size_t u = 0; u < 8; ++u) {
            exact += basis[v][y] * basis[u][x] * coefficients[8 * v + u];
          }
        }
        ASSERT_NEAR(record.Get(5)[8 * y + x], exact, 1.0);
      }
    }
  }
}

TEST_P(IdctKernelTest, SameBitsAsPlain) { ExpectSameAsPlain<&KernelSet::idct>(GetParam(), 34); }

INSTANTIATE_TEST_SUITE_P(AllClasses, IdctKernelTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

}  // namespace

}  // namespace qivm::test
