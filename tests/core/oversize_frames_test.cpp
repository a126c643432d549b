// Pictures that code to more than the three bytes a pixel that the host was promised.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

class OversizeFramesTest : public testing::TestWithParam<unsigned> {
 protected:
  /// Codes the bitmap and expects the model's frame, made with a code of at least `leastCode`.
  void ExpectFits(ClientFormat format, int width, int height, const Bytes& bitmap,
                  std::uint32_t quality, int leastCode) const {
    // The output ends where memory ends: a byte too many would be a fault.
    Compressor compressor(format, width, height, Processors(GetParam()));
    const Bytes stream = compressor.Encode(bitmap, quality);
    const std::size_t limit =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
    EXPECT_LE(stream.size(), limit);
    int usedCode = 0;
    const Bytes expected = ModelEncode(format, width, height, bitmap, ModelQuantiserCode(quality),
                                       GetParam() > 1 ? Parts::two : Parts::one, &usedCode);
    EXPECT_GE(usedCode, leastCode);
    EXPECT_TRUE(stream == expected);
    const ModelPicture picture = ParsePicture(stream);
    EXPECT_EQ(picture.slices.back().quantiserCode, usedCode);

    Decompressor decompressor(ClientFormat::yuy2, width, height, Processors(GetParam()));
    Bytes decoded = Background(ClientFormat::yuy2, width, height);
    ModelDecode(picture, ClientFormat::yuy2, width, height, decoded);
    EXPECT_TRUE(decompressor.Decode(stream) == decoded);
    // The next frame is coded as its quality says.
    const Bytes calm = NaturalBitmap(format, width, height, 5);
    EXPECT_TRUE(
        compressor.Encode(calm, 5000) ==
        ModelEncode(format, width, height, calm, 8, GetParam() > 1 ? Parts::two : Parts::one));
  }
};

TEST_P(OversizeFramesTest, BlackAndWhiteNoiseAtTheDefaultQuality) {
  const Bytes bitmap = BlackWhiteNoiseBitmap(ClientFormat::yuy2, 720, 576, 131);
  // What it would need at the default quality is far more than what there is.
  const Bytes unlimited =
      StreamOf(ModelPictureOf(PlanesOf(ClientFormat::yuy2, 720, 576, bitmap), 2));
  EXPECT_GT(unlimited.size(), 1400000U);
  ExpectFits(ClientFormat::yuy2, 720, 576, bitmap, 8000, 3);
}

TEST_P(OversizeFramesTest, SmallNoiseAtTheBestQuality) {
  for (const auto& [width, height] : {std::pair{16, 16}, std::pair{16, 32}, std::pair{16, 80},
                                      std::pair{80, 16}, std::pair{48, 48}}) {
    SCOPED_TRACE(testing::Message() << width << "x" << height);
    for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::y16a}) {
      ExpectFits(format, width, height, BlackWhiteNoiseBitmap(format, width, height, 132), 10000,
                 2);
    }
    // Grey noise has no chrominance to speak of and fits as it is.
    ExpectFits(ClientFormat::rgb24, width, height,
               BlackWhiteNoiseBitmap(ClientFormat::rgb24, width, height, 132), 10000, 1);
  }
}

// All of the noise in one half: the rows share the frame's bytes, not their own share of them.
TEST_P(OversizeFramesTest, NoiseInOneHalf) {
  for (const bool upper : {true, false}) {
    Bytes bitmap = BlackWhiteNoiseBitmap(ClientFormat::yuy2, 64, 64, 133);
    const auto half = static_cast<std::ptrdiff_t>(bitmap.size() / 2);
    std::fill(upper ? bitmap.begin() + half : bitmap.begin(),
              upper ? bitmap.end() : bitmap.begin() + half, std::uint8_t{128});
    // Twice the promise for half of the rows is still within the whole.
    ExpectFits(ClientFormat::yuy2, 64, 64, bitmap, 10000, 1);
  }
}

// The frame is tried at every code from the quality's own on. A picture that just fits at a code
// stays at it: the same frame is found with a contrast of noise that leads to each result.
TEST_P(OversizeFramesTest, FirstCodeThatFitsIsTaken) {
  Compressor compressor(ClientFormat::yuy2, 48, 48, Processors(GetParam()));
  std::array<bool, 32> used = {};
  for (int contrast = 8; contrast <= 127; contrast += 7) {
    Bytes bitmap = BlackWhiteNoiseBitmap(ClientFormat::yuy2, 48, 48, 134);
    for (std::uint8_t& byte : bitmap) {
      byte = static_cast<std::uint8_t>(byte == 0 ? 128 - contrast : 128 + contrast);
    }
    int usedCode = 0;
    const Bytes expected = ModelEncode(ClientFormat::yuy2, 48, 48, bitmap, 1,
                                       GetParam() > 1 ? Parts::two : Parts::one, &usedCode);
    used[static_cast<std::size_t>(usedCode)] = true;
    EXPECT_TRUE(compressor.Encode(bitmap, 10000) == expected) << contrast;
  }
  EXPECT_TRUE(used[1]);
  EXPECT_GE(std::count(used.begin(), used.end(), true), 3);
}

INSTANTIATE_TEST_SUITE_P(Processors, OversizeFramesTest, testing::Values(1U, 2U, 8U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

}  // namespace

}  // namespace qivm::test
