#include "tools/vfwtool/media/clip.h"

#include <gtest/gtest.h>

namespace vfwtool {
namespace {

TEST(FrameRate, IsAFraction) {
  EXPECT_EQ((FrameRate{25, 1}.Text()), "25");
  EXPECT_EQ((FrameRate{50, 2}.Text()), "25");
  EXPECT_EQ((FrameRate{30000, 1001}.Text()), "30000/1001 (29.97)");
  EXPECT_DOUBLE_EQ((FrameRate{15, 2}.PerSecond()), 7.5);
  EXPECT_TRUE((FrameRate{1, 0x7FFFFFFF}.IsValid()));
  EXPECT_FALSE((FrameRate{0, 1}.IsValid()));
  EXPECT_FALSE((FrameRate{1, 0}.IsValid()));
  EXPECT_FALSE((FrameRate{0x80000000, 1}.IsValid()));
}

TEST(FrameRate, MomentsAreRoundedToTheNearest) {
  const FrameRate video{30000, 1001};
  const FrameRate sound{48000, 1};
  // 1601.6 samples a frame.
  EXPECT_EQ(video.MomentIn(sound, 0), 0U);
  EXPECT_EQ(video.MomentIn(sound, 1), 1602U);
  EXPECT_EQ(video.MomentIn(sound, 2), 3203U);
  EXPECT_EQ(video.MomentIn(sound, 5), 8008U);
  // 220.5 samples: a half is rounded up.
  EXPECT_EQ((FrameRate{50, 1}.MomentIn({11025, 1}, 1)), 221U);
  EXPECT_EQ(video.MillisecondsAt(30000), 1001000U);
  EXPECT_EQ((FrameRate{25, 1}.Times(3)), 75U);
  EXPECT_EQ((FrameRate{25, 1}.Inverse().Times(1000000)), 40000U);
}

TEST(FrameRate, MomentsOfAnySizeAreExactOrTheLargest) {
  constexpr std::uint32_t kLarge = 0x7FFFFFFF;
  const FrameRate large{kLarge, kLarge - 1};
  EXPECT_EQ(large.MomentIn(large, 0xFFFFFFFF), 0xFFFFFFFFU);
  EXPECT_EQ((FrameRate{1, kLarge}.MomentIn({1, 1}, 0x7FFFFFFF)), std::uint64_t{kLarge} * kLarge);
  EXPECT_EQ((FrameRate{1, kLarge}.MomentIn({kLarge, 1}, UINT64_MAX)), std::uint64_t{1} << 62);
}

}  // namespace
}  // namespace vfwtool
