#include <gtest/gtest.h>

#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

class QuantiseKernelsTest : public testing::TestWithParam<KernelVariant> {
 protected:
  using Reference = std::int16_t (*)(int value, int weight, int scale);

  static void SetQuantiser(MacroblockRecord& record, int qScaleType, int code) {
    record.parameters.qScaleType = static_cast<std::uint8_t>(qScaleType);
    record.parameters.quantiserScaleCode = static_cast<std::uint8_t>(code);
  }

  /// Expects the kernel to treat every AC coefficient as the reference does, with the weights of
  /// the record, and to leave the DC coefficients alone.
  static void ExpectQuantiser(KernelRecord& record, MacroblockKernel kernel, Reference reference) {
    const MacroblockRecord& fields = record.Record();
    const int scale =
        ReferenceScale(fields.parameters.qScaleType, fields.parameters.quantiserScaleCode);
    record.ExpectKernel(kernel, [&](Block& block, int index) {
      const bool lumaWeights = index < 4 || fields.blockCount == 6;
      const auto& weights = lumaWeights ? fields.intraMatrixLuma : fields.intraMatrixChroma;
      for (std::size_t i = 1; i < block.size(); ++i) {
        block[i] = reference(block[i], weights[i], scale);
      }
    });
  }

  static void ExpectAllCodes(MacroblockKernel kernel, Reference reference) {
    Random random(21);
    for (const int qScaleType : {0, 1}) {
      for (int code = 1; code <= 31; ++code) {
        for (const int blockCount : {6, 8, 12}) {
          for (const Spread spread : kSpreads) {
            KernelRecord record(blockCount);
            record.Randomise(random, spread);
            SetQuantiser(record.Record(), qScaleType, code);
            for (std::size_t i = 0; i < 64; ++i) {
              record.Record().intraMatrixLuma[i] =
                  static_cast<std::uint16_t>(random.Between(1, 255));
              record.Record().intraMatrixChroma[i] =
                  static_cast<std::uint16_t>(random.Between(1, 255));
            }
            ExpectQuantiser(record, kernel, reference);
          }
        }
      }
    }
  }

  /// Every value of a level, 63 at a time, against every code and a few weights.
  static void ExpectAllValues(MacroblockKernel kernel, Reference reference, int lowest,
                              int highest) {
    for (const int weight : {1, 8, 16, 19, 83, 255}) {
      for (const int qScaleType : {0, 1}) {
        for (int code = 1; code <= 31; ++code) {
          KernelRecord record(12);
          record.Record().intraMatrixLuma.fill(static_cast<std::uint16_t>(weight));
          record.Record().intraMatrixChroma.fill(static_cast<std::uint16_t>(weight));
          SetQuantiser(record.Record(), qScaleType, code);
          const int scale = ReferenceScale(qScaleType, code);
          for (int first = lowest; first <= highest; first += 12 * 63) {
            const auto valueAt = [first](int block, int position) {
              return static_cast<std::int16_t>(first + block * 63 + position - 1);
            };
            for (int block = 0; block < 12; ++block) {
              for (int i = 1; i < 64; ++i) {
                record.Record().Block(block)[static_cast<std::size_t>(i)] = valueAt(block, i);
              }
            }
            kernel(record.Record());
            for (int block = 0; block < 12; ++block) {
              for (int i = 1; i < 64; ++i) {
                ASSERT_EQ(record.Record().Block(block)[static_cast<std::size_t>(i)],
                          reference(valueAt(block, i), weight, scale))
                    << "value " << valueAt(block, i) << " weight " << weight << " scale " << scale;
              }
            }
          }
        }
      }
    }
  }

  std::int16_t One(MacroblockKernel kernel, int value, int weight, int qScaleType, int code) {
    KernelRecord record(8);
    record.Record().coefficients.fill(0);
    record.Record().intraMatrixLuma[1] = static_cast<std::uint16_t>(weight);
    record.Record().Block(0)[1] = static_cast<std::int16_t>(value);
    SetQuantiser(record.Record(), qScaleType, code);
    kernel(record.Record());
    return record.Record().Block(0)[1];
  }

  const KernelSet kernels_ = KernelsFor(GetParam());
};

TEST_P(QuantiseKernelsTest, DequantiseAllCodesOfBothTypes) {
  ExpectAllCodes(kernels_.dequantise, &ReferenceDequantise);
}

TEST_P(QuantiseKernelsTest, QuantiseAllCodesOfBothTypes) {
  ExpectAllCodes(kernels_.quantise, &ReferenceQuantise);
}

TEST_P(QuantiseKernelsTest, DequantiseEveryLevel) {
  ExpectAllValues(kernels_.dequantise, &ReferenceDequantise, -2048, 2047);
}

TEST_P(QuantiseKernelsTest, QuantiseEveryCoefficientOfAPicture) {
  // The coefficients of samples from 0 to 255 lie within these bounds.
  ExpectAllValues(kernels_.quantise, &ReferenceQuantise, -2100, 2100);
}

TEST_P(QuantiseKernelsTest, DequantiseRoundsTowardZero) {
  EXPECT_EQ(One(kernels_.dequantise, -3, 16, 1, 2), -6);
  EXPECT_EQ(One(kernels_.dequantise, -1, 19, 1, 2), -2);
  EXPECT_EQ(One(kernels_.dequantise, 1, 19, 1, 2), 2);
}

TEST_P(QuantiseKernelsTest, QuantiseRoundsTowardZero) {
  EXPECT_EQ(One(kernels_.quantise, 37, 19, 1, 2), 15);
  EXPECT_EQ(One(kernels_.quantise, -37, 19, 1, 2), -15);
  EXPECT_EQ(One(kernels_.quantise, -2, 19, 1, 2), 0);
}

TEST_P(QuantiseKernelsTest, LinearCode16IsScale22) {
  EXPECT_EQ(One(kernels_.dequantise, 1, 16, 0, 16), 22);
  EXPECT_EQ(One(kernels_.dequantise, 1, 16, 0, 15), 30);
  EXPECT_EQ(One(kernels_.dequantise, 1, 16, 0, 17), 34);
  EXPECT_EQ(One(kernels_.dequantise, 1, 16, 1, 16), 24);
  EXPECT_EQ(One(kernels_.quantise, 22, 16, 0, 16), 1);
  EXPECT_EQ(One(kernels_.quantise, 21, 16, 0, 16), 0);
}

TEST_P(QuantiseKernelsTest, CodeZeroDequantisesToZeroInBothTypes) {
  EXPECT_EQ(One(kernels_.dequantise, 2047, 16, 0, 0), 0);
  EXPECT_EQ(One(kernels_.dequantise, -2048, 16, 1, 0), 0);
}

TEST_P(QuantiseKernelsTest, ResultsKeepTheirLow16Bits) {
  // 2047 * 255 * 112 * 2 / 32 = 3653895, far beyond 16 bits.
  EXPECT_EQ(One(kernels_.dequantise, 2047, 255, 1, 31),
            static_cast<std::int16_t>(2047 * 255 * 112 * 2 / 32));
}

// A class may keep tables of its own from one macroblock to the next. They must follow every
// change of what they are made of.
TEST_P(QuantiseKernelsTest, NothingStaysFromTheMacroblockBefore) {
  KernelRecord record(8);
  Random random(22);
  for (int round = 0; round < 50; ++round) {
    record.Randomise(random, Spread::level);
    SetQuantiser(record.Record(), round % 2, 7 + round / 10);
    if (round % 3 == 0) {
      record.Record().intraMatrixChroma.fill(static_cast<std::uint16_t>(random.Between(1, 255)));
    }
    ExpectQuantiser(record, kernels_.dequantise, &ReferenceDequantise);
    record.Randomise(random, Spread::level);
    ExpectQuantiser(record, kernels_.quantise, &ReferenceQuantise);
  }
}

TEST_P(QuantiseKernelsTest, SameBitsAsPlain) {
  ExpectSameAsPlain<&KernelSet::dequantise>(GetParam(), 23);
  ExpectSameAsPlain<&KernelSet::quantise>(GetParam(), 24);
}

INSTANTIATE_TEST_SUITE_P(AllClasses, QuantiseKernelsTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

}  // namespace

}  // namespace qivm::test
