#include "encoder/dc_codes.h"

#include <gtest/gtest.h>

#include "tests/support/model_stream.h"

namespace qivm::test {

namespace {

// All that samples of a byte can lead to, and what lies beyond up to what the codes hold.
TEST(DcCodes, EveryDifference) {
  for (const bool luma : {true, false}) {
    const DcCodes& codes = luma ? kDcCodesLuma : kDcCodesChroma;
    for (int difference = -2047; difference <= 2047; ++difference) {
      BitString expected;
      Block block = {};
      block[0] = static_cast<std::int16_t>(difference);
      int predictor = 0;
      PutBlock(expected, block, luma ? Component::luma : Component::cb, predictor);
      const std::uint32_t code = codes[static_cast<unsigned>(difference) % kDcDifferences];
      BitString mine;
      mine.Put(CodeBits(code), CodeCount(code)).Put("0110");
      ASSERT_EQ(mine.Bits(), expected.Bits()) << difference;
      ASSERT_EQ(mine.Bytes(), expected.Bytes()) << difference;
    }
  }
}

}  // namespace

}  // namespace qivm::test
