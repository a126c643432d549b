#include "kernels/kernel_set.h"

#include <gtest/gtest.h>

#include "kernels/fdct.h"
#include "kernels/idct.h"
#include "kernels/packed_yuv_input.h"
#include "kernels/packed_yuv_output.h"
#include "kernels/rgb_input.h"
#include "kernels/rgb_output.h"
#include "kernels/start_codes.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/client_pictures.h"

// Which function of which tier each member of a set is. That a wrong one would give the same bits,
// only more slowly, is why the other tests of the kernels do not show it.
namespace qivm::test {

namespace {

/// The set of a tier, put together from its functions.
KernelSet Expected(KernelTier tier) {
  namespace plain = kernels::plain;
  namespace sse2 = kernels::sse2;
  namespace avx2 = kernels::avx2;
  KernelSet kernels;
  switch (tier) {
    case KernelTier::plain:
      kernels = {&plain::FindStartCode, &plain::Dequantise, &plain::Idct,
                 &plain::Fdct,          &plain::Quantise,   &plain::CodeLevels};
      plain::AddRgbInput(kernels);
      plain::AddRgbOutput(kernels);
      plain::AddPackedYuvInput(kernels);
      plain::AddPackedYuvOutput(kernels);
      break;
    case KernelTier::sse2:
      // Coding levels has nothing to gain from vectors without variable shifts and shuffles of
      // bytes.
      kernels = {&sse2::FindStartCode, &sse2::Dequantise, &sse2::Idct,
                 &sse2::Fdct,          &sse2::Quantise,   &plain::CodeLevels};
      sse2::AddRgbInput(kernels);
      sse2::AddRgbOutput(kernels);
      sse2::AddPackedYuvInput(kernels);
      sse2::AddPackedYuvOutput(kernels);
      break;
    case KernelTier::avx2:
      kernels = {&avx2::FindStartCode, &avx2::Dequantise, &avx2::Idct,
                 &avx2::Fdct,          &avx2::Quantise,   &avx2::CodeLevels};
      avx2::AddRgbInput(kernels);
      avx2::AddRgbOutput(kernels);
      avx2::AddPackedYuvInput(kernels);
      avx2::AddPackedYuvOutput(kernels);
      break;
  }
  return kernels;
}

class KernelSetTest : public testing::TestWithParam<KernelTier> {};

TEST_P(KernelSetTest, HasTheFunctionsOfItsTier) {
  KernelSet kernels = KernelsFor(GetParam());
  KernelSet expected = Expected(GetParam());
  EXPECT_EQ(kernels.findStartCode, expected.findStartCode);
  EXPECT_EQ(kernels.dequantise, expected.dequantise);
  EXPECT_EQ(kernels.idct, expected.idct);
  EXPECT_EQ(kernels.fdct, expected.fdct);
  EXPECT_EQ(kernels.quantise, expected.quantise);
  EXPECT_EQ(kernels.codeLevels, expected.codeLevels);
  for (const ClientFormat format : kInputFormats) {
    EXPECT_NE(kernels.Input(format), nullptr) << FormatName(format);
    EXPECT_EQ(kernels.Input(format), expected.Input(format)) << FormatName(format);
  }
  for (const ClientFormat format : kOutputFormats) {
    EXPECT_NE(kernels.Output(format).frameDct, nullptr) << FormatName(format);
    EXPECT_NE(kernels.Output(format).fieldDct, nullptr) << FormatName(format);
    EXPECT_EQ(kernels.Output(format).frameDct, expected.Output(format).frameDct);
    EXPECT_EQ(kernels.Output(format).fieldDct, expected.Output(format).fieldDct);
  }
  EXPECT_EQ(kernels.Output(ClientFormat::y16a).frameDct, nullptr);
  EXPECT_EQ(kernels.Output(ClientFormat::y16a).fieldDct, nullptr);
}

INSTANTIATE_TEST_SUITE_P(AllTiers, KernelSetTest, testing::ValuesIn(kTiers), TierName);

}  // namespace

}  // namespace qivm::test
