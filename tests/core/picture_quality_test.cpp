// How close the decoded picture is to the source, for every quality.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"

namespace qivm::test {

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 576;

/// The least PSNR in dB that the natural picture must keep at a step of the quality: a fraction of
/// a dB below what the codec's arithmetic gives.
struct Bound {
  double luma;
  double chroma;
};

TEST(PictureQuality, BoundsOfEveryQuality) {
  constexpr std::array<Bound, 21> kBounds = {
      {{31.9, 39.1}, {32.3, 39.1}, {32.9, 39.1}, {33.2, 39.3}, {33.6, 40.8}, {34.0, 42.6},
       {34.5, 43.8}, {34.9, 44.3}, {35.5, 44.7}, {36.0, 45.3}, {36.7, 46.6}, {37.0, 46.5},
       {37.5, 47.4}, {38.1, 47.6}, {39.1, 48.1}, {40.2, 48.3}, {42.2, 48.7}, {42.2, 48.7},
       {45.4, 49.6}, {45.4, 49.6}, {45.4, 49.6}}};
  const Bytes source = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 171);
  const Planes original = PlanesOf(ClientFormat::yuy2, kWidth, kHeight, source);
  Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, Processors(2));
  Decompressor decompressor(ClientFormat::yuy2, kWidth, kHeight, Processors(2));
  double before = 0;
  std::size_t sizeBefore = 0;
  for (std::size_t step = 0; step < kBounds.size(); ++step) {
    const Bytes stream = compressor.Encode(source, static_cast<std::uint32_t>(500 * step));
    const Planes decoded =
        PlanesOf(ClientFormat::yuy2, kWidth, kHeight, decompressor.Decode(stream));
    const double luma = Psnr(original, decoded, Component::luma);
    const double chroma =
        std::min(Psnr(original, decoded, Component::cb), Psnr(original, decoded, Component::cr));
    EXPECT_GE(luma, kBounds[step].luma) << "step " << step;
    EXPECT_GE(chroma, kBounds[step].chroma) << "step " << step;
    // A better quality is never worse, and never smaller.
    EXPECT_GE(luma, before) << "step " << step;
    EXPECT_GE(stream.size(), sizeBefore) << "step " << step;
    before = luma;
    sizeBefore = stream.size();
  }
}

}  // namespace

}  // namespace qivm::test
