// Recorded frames, see golden_frames.h: their pixels, and the bytes that the encoder makes.

#include "tests/core/golden_frames.h"

#include <gtest/gtest.h>

#include "tests/core/kernel_tiers.h"

namespace qivm::test {

namespace {

class GoldenFramesTest : public TierTest {};

TEST_P(GoldenFramesTest, DecodeToTheRecordedPixels) {
  const std::vector<GoldenFrame> frames = GoldenFrames();
  ASSERT_GE(frames.size(), 20U);
  for (const GoldenFrame& recorded : frames) {
    GoldenFrame decoded = recorded;
    EXPECT_EQ(DecodedChecksums(decoded, GoldenBytes(recorded), GetParam()), recorded.checksums)
        << recorded.name;
    EXPECT_EQ(decoded.turnedAway, recorded.turnedAway) << recorded.name;
  }
}

TEST_P(GoldenFramesTest, AreMadeOfTheSamePictures) {
  int made = 0;
  for (const GoldenFrame& recorded : GoldenFrames()) {
    if (recorded.isOwn) {
      EXPECT_EQ(EncodedFrame(recorded, GetParam()), GoldenBytes(recorded)) << recorded.name;
      ++made;
    }
  }
  EXPECT_GE(made, 10);
}

INSTANTIATE_TEST_SUITE_P(Tiers, GoldenFramesTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
