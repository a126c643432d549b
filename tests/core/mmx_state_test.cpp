#include <array>
#include <gtest/gtest.h>
#include <memory>

#include "kernels/fast_copy.h"
#include "tests/core/kernel_variants.h"
#include "tests/support/guarded_buffer.h"

// The MMX registers are those of the x87 unit. Code that calls the codec counts on an empty x87
// stack when the codec returns.
namespace qivm::test {

namespace {

/// The x87 tag word: two bits for each register, all set when all are empty.
std::uint32_t X87Tags() {
  std::array<std::uint32_t, 7> environment = {};
  asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));
  return environment[2] & 0xFFFF;
}
constexpr std::uint32_t kAllEmpty = 0xFFFF;

class MmxStateTest : public testing::TestWithParam<KernelVariant> {};

TEST_P(MmxStateTest, KernelsLeaveTheX87RegistersEmpty) {
  ASSERT_EQ(X87Tags(), kAllEmpty);
  const KernelSet kernels = KernelsFor(GetParam());
  const auto record = std::make_unique<MacroblockRecord>();
  record->parameters.quantiserScaleCode = 4;
  // 3000 is beyond what the transform of samples gives: the vectors leave it to the plain form.
  for (const std::int16_t value : {std::int16_t{100}, std::int16_t{3000}}) {
    for (const MacroblockKernel kernel :
         {kernels.fdct, kernels.quantise, kernels.scanZigzag, kernels.scanAlternate,
          kernels.levelMask, kernels.unscanZigzag, kernels.unscanAlternate, kernels.dequantise,
          kernels.idct}) {
      record->coefficients.fill(value);
      kernel(*record);
      EXPECT_EQ(X87Tags(), kAllEmpty);
    }
  }
  std::array<std::uint8_t, 4 * 256> pixels = {};
  for (const OutputKernelPair& pair : kernels.output) {
    for (const OutputKernel kernel : {pair.frameDct, pair.fieldDct}) {
      if (kernel != nullptr) {
        kernel(pixels.data(), record->coefficients.data(), 64);
        EXPECT_EQ(X87Tags(), kAllEmpty);
      }
    }
  }
  for (const InputKernel kernel : kernels.input) {
    kernel(record->coefficients.data(), pixels.data(), 64);
    EXPECT_EQ(X87Tags(), kAllEmpty);
  }
}

TEST_P(MmxStateTest, CopiesLeaveTheX87RegistersEmpty) {
  const CopyFunction copy = CopyFor(GetParam().cpuClass);
  const GuardedBuffer source(10000);
  const GuardedBuffer destination(10000);
  for (const std::size_t size : {0U, 5U, 40U, 8192U, 10000U}) {
    copy(destination.Data(), source.Data(), size);
    EXPECT_EQ(X87Tags(), kAllEmpty) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(AllKernels, MmxStateTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

TEST(MmxState, FaultInACopyLeavesTheX87RegistersEmpty) {
  const GuardedBuffer source(10000);
  GuardedBuffer destination(10000);
  destination.Protect(GuardedBuffer::Access::read);
  FastCopy(destination.Data(), source.Data(), source.Size());
  EXPECT_EQ(X87Tags(), kAllEmpty);
}

}  // namespace

}  // namespace qivm::test
