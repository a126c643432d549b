#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

class ScanKernelsTest : public testing::TestWithParam<KernelVariant> {
 protected:
  const KernelSet kernels_ = KernelsFor(GetParam());

  template <typename Reference>
  static void ExpectOnRandomBlocks(MacroblockKernel kernel, Reference reference) {
    Random random(11);
    for (const int blockCount : {1, 6, 8, 12}) {
      KernelRecord record(blockCount);
      record.Randomise(random, Spread::full);
      record.ExpectKernel(kernel, [&](Block& block, int /*index*/) { block = reference(block); });
    }
  }
};

TEST_P(ScanKernelsTest, ZigzagScan) {
  ExpectOnRandomBlocks(kernels_.scanZigzag,
                       [](const Block& b) { return ReferenceScanned(b, kReferenceZigzag); });
}

TEST_P(ScanKernelsTest, AlternateScan) {
  ExpectOnRandomBlocks(kernels_.scanAlternate,
                       [](const Block& b) { return ReferenceScanned(b, kReferenceAlternate); });
}

TEST_P(ScanKernelsTest, ZigzagUnscan) {
  ExpectOnRandomBlocks(kernels_.unscanZigzag,
                       [](const Block& b) { return ReferenceUnscanned(b, kReferenceZigzag); });
}

TEST_P(ScanKernelsTest, AlternateUnscan) {
  ExpectOnRandomBlocks(kernels_.unscanAlternate,
                       [](const Block& b) { return ReferenceUnscanned(b, kReferenceAlternate); });
}

// The second coefficient in transmission order is the lowest horizontal frequency in the zig-zag
// scan and the lowest vertical one in the alternate scan.
TEST_P(ScanKernelsTest, SecondCoefficient) {
  KernelRecord record(8);
  record.Record().coefficients.fill(0);
  record.Record().Block(7)[1] = 5;
  kernels_.unscanZigzag(record.Record());
  EXPECT_EQ(record.Get(7)[1], 5);

  record.Record().coefficients.fill(0);
  record.Record().Block(7)[1] = 5;
  kernels_.unscanAlternate(record.Record());
  EXPECT_EQ(record.Get(7)[8], 5);
}

TEST_P(ScanKernelsTest, SameBitsAsPlain) {
  ExpectSameAsPlain<&KernelSet::scanZigzag>(GetParam(), 1);
  ExpectSameAsPlain<&KernelSet::scanAlternate>(GetParam(), 2);
  ExpectSameAsPlain<&KernelSet::unscanZigzag>(GetParam(), 3);
  ExpectSameAsPlain<&KernelSet::unscanAlternate>(GetParam(), 4);
}

INSTANTIATE_TEST_SUITE_P(AllClasses, ScanKernelsTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

}  // namespace

}  // namespace qivm::test
