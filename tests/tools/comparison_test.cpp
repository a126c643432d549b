#include "tools/vfwtool/media/comparison.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

using Picture = std::vector<std::uint8_t>;
constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

/// Pictures in memory as a clip.
class MemoryClip final : public FrameSource {
 public:
  MemoryClip(const FrameLayout& layout, std::vector<Picture> pictures)
      : format_{layout, {25, 1}}, pictures_(std::move(pictures)) {}

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return pictures_.size(); }
  bool Read(std::span<std::uint8_t> frame) override {
    if (next_ == pictures_.size()) {
      return false;
    }
    std::ranges::copy(pictures_[next_++], frame.begin());
    return true;
  }

 private:
  ClipFormat format_;
  std::vector<Picture> pictures_;
  std::size_t next_ = 0;
};

ComparisonReport Compare(const FrameLayout& layoutA, const std::vector<Picture>& a,
                         const FrameLayout& layoutB, const std::vector<Picture>& b,
                         std::uint64_t frames = kAll) {
  MemoryClip first(layoutA, a);
  MemoryClip second(layoutB, b);
  return CompareClips(first, second, frames);
}

constexpr FrameLayout kYuy2Layout = {PixelFormat::kYuy2, 16, 8};

TEST(ClipComparison, MeasuresEveryComponent) {
  const Picture grey(kYuy2Layout.FrameBytes(), 100);
  Picture other = grey;
  other[0] = 110;  // Y
  other[1] = 97;   // U
  const ComparisonReport report = Compare(kYuy2Layout, {grey, grey}, kYuy2Layout, {grey, other});
  EXPECT_EQ(report.frames, 2U);
  ASSERT_EQ(report.planes.size(), 3U);
  EXPECT_EQ(report.planeNames[1], "U");
  EXPECT_EQ(report.planes[0].largest, 10U);
  EXPECT_EQ(report.planes[1].largest, 3U);
  EXPECT_DOUBLE_EQ(report.planes[0].Psnr(), 10 * std::log10(255.0 * 255 * 256 / 100));
  EXPECT_DOUBLE_EQ(report.planes[1].Psnr(), 10 * std::log10(255.0 * 255 * 128 / 9));
  EXPECT_TRUE(std::isinf(report.planes[2].Psnr()));
  EXPECT_DOUBLE_EQ(report.Overall().Psnr(), 10 * std::log10(255.0 * 255 * 512 / 109));
  EXPECT_EQ(report.worstFrame, 2U);
  EXPECT_DOUBLE_EQ(report.worstPsnr, 10 * std::log10(255.0 * 255 * 256 / 109));
  EXPECT_LT(report.ssim, 1.0);
  EXPECT_GT(report.ssim, 0.5);
}

TEST(ClipComparison, EqualClipsAreEqualInAnyPacking) {
  Picture yuy2(kYuy2Layout.FrameBytes());
  Picture uyvy(yuy2.size());
  for (std::size_t i = 0; i < yuy2.size(); ++i) {
    yuy2[i] = static_cast<std::uint8_t>(7 * i);
    uyvy[i ^ 1] = yuy2[i];
  }
  const ComparisonReport report = Compare(kYuy2Layout, {yuy2}, {PixelFormat::kUyvy, 16, 8}, {uyvy});
  EXPECT_EQ(report.Overall().squares, 0U);
  EXPECT_DOUBLE_EQ(report.ssim, 1.0);
  const std::string json = report.Json().Print();
  EXPECT_TRUE(Contains(json, "\"equal\": true")) << json;
  EXPECT_TRUE(Contains(json, "\"psnr\": null")) << json;
  EXPECT_TRUE(Contains(report.Text(), "  PSNR        equal\n")) << report.Text();
}

TEST(ClipComparison, RgbRowsMayBePadded) {
  const FrameLayout rgb24{PixelFormat::kRgb24, 10, 8};
  const FrameLayout rgb32{PixelFormat::kRgb32, 10, 8};
  Picture a(rgb24.FrameBytes(), 50);
  const Picture b(rgb32.FrameBytes(), 50);
  a[31] = 99;  // Padding of the first row.
  EXPECT_EQ(Compare(rgb24, {a}, rgb32, {b}).Overall().squares, 0U);
  a[rgb24.RowBytes() + 4] = 52;  // Green of the second pixel of the second row.
  const ComparisonReport report = Compare(rgb24, {a}, rgb32, {b});
  EXPECT_EQ(report.planeNames[1], "G");
  EXPECT_EQ(report.planes[0].squares, 0U);
  EXPECT_EQ(report.planes[1].squares, 4U);
  EXPECT_EQ(report.planes[1].samples, 80U);
}

TEST(ClipComparison, RefusesWhatCannotBeCompared) {
  const Picture picture(kYuy2Layout.FrameBytes());
  const auto message = [&](const FrameLayout& layout, const std::vector<Picture>& second) {
    const auto compare = [&] { Compare(kYuy2Layout, {picture, picture}, layout, second); };
    return MessageOf(ExitCode::kInput, compare);
  };
  EXPECT_EQ(message({PixelFormat::kYuy2, 16, 16}, {}), "the clips differ in size: 16x8 and 16x16");
  EXPECT_TRUE(Contains(message({PixelFormat::kRgb24, 16, 8}, {}), "are yuy2 and rgb24"));
  EXPECT_TRUE(message(kYuy2Layout, {picture}).starts_with("the second clip ends after 1 frame,"));
  EXPECT_TRUE(message(kYuy2Layout, {picture, picture, picture})
                  .starts_with("the first clip ends after 2 frames,"));
  EXPECT_EQ(MessageOf(ExitCode::kInput, [] { Compare(kYuy2Layout, {}, kYuy2Layout, {}); }),
            "the clips have no frames");
  EXPECT_EQ(Compare(kYuy2Layout, {picture, picture}, kYuy2Layout, {picture}, 1).frames, 1U);
}

TEST(Ssim, IsThatOfItsDefinition) {
  // Of constant planes only the means count: (2ab + c1) / (a^2 + b^2 + c1).
  const Picture a(64, 100);
  const Picture b(64, 120);
  constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
  EXPECT_NEAR(Ssim(a, b, 8, 8), (2.0 * 100 * 120 + kC1) / (100.0 * 100 + 120 * 120 + kC1), 1e-12);
  EXPECT_DOUBLE_EQ(Ssim(a, a, 8, 8), 1.0);
  // Of opposite patterns with equal means, the structure.
  Picture p(64);
  Picture q(64);
  for (std::size_t i = 0; i < p.size(); ++i) {
    p[i] = i % 2 == 0 ? 90 : 110;
    q[i] = i % 2 == 0 ? 110 : 90;
  }
  constexpr double kC2 = 0.03 * 255 * 0.03 * 255;
  const double variance = 100.0 * 64 / 63;
  EXPECT_NEAR(Ssim(p, q, 8, 8), (-2 * variance + kC2) / (2 * variance + kC2), 1e-12);
  // Smaller pictures have no window.
  EXPECT_DOUBLE_EQ(Ssim(a, a, 4, 16), 1.0);
  EXPECT_DOUBLE_EQ(Ssim(a, b, 4, 16), 0.0);
}

}  // namespace
}  // namespace vfwtool
