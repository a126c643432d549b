// Pictures that code to more than the three bytes a pixel that the host was promised.

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>

#include "encoder/quality.h"
#include "encoder/stream_format.h"
#include "mpeg2/quantiser.h"
#include "mpeg2/vlc.h"
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

/// Bits of a run and a level but 0, the sign's among them.
double BitsOf(int run, int level) {
  const auto* const code = std::ranges::find_if(
      mpeg2::kRunLevelCodes,
      [&](const mpeg2::RunLevelCode& entry) { return entry.run == run && entry.level == level; });
  return code == mpeg2::kRunLevelCodes.end() ? mpeg2::kEscapeTotalBits : code->code.length + 1;
}

// A block has 63 places for runs and levels, and as much energy as 64 samples of 0 and 255 can
// have. What a code takes is at most `place` bits for each place it uses and `energy` bits for the
// energy it needs: then no block takes more than that for all places and all energy.
TEST(LargestFrameTest, FitsAtTheCoarsestCodeWhateverThePicture) {
  const double scale = mpeg2::kQuantiserScale[stream_format::kQScaleType][kCoarsestQuantiserCode];
  const double leastCoefficient =
      *std::min_element(mpeg2::kDefaultIntraMatrix.begin() + 1, mpeg2::kDefaultIntraMatrix.end()) *
      scale / 16;
  // Half of the samples black, half white, and the transform's rounding.
  constexpr double kEnergy = (8 * 127.5 + 8) * (8 * 127.5 + 8);
  const int largestLevel = static_cast<int>(1023 / leastCoefficient);
  double least = std::numeric_limits<double>::max();
  for (double place = 0; place < 8; place += 0.125) {
    double energy = 0;
    for (int run = 0; run < 63; ++run) {
      for (int level = 1; level <= largestLevel; ++level) {
        energy = std::max(energy, (BitsOf(run, level) - place * (run + 1)) /
                                      (level * level * leastCoefficient * leastCoefficient));
      }
    }
    least = std::min(least, place * 63 + energy * kEnergy);
  }
  // A DC coefficient takes 10 bits for its size and 8 for its difference, the end of a block 4.
  const double blockBytes = (least + 10 + 8 + 4) / 8;
  // Headers, the end code, and the start code, header and padding of the only slice.
  constexpr double kAround = kFrameHeaderBytes + 4 + 10 + 15;
  EXPECT_LT(8 * blockBytes + kAround, 16 * 16 * 3);
  ::testing::Test::RecordProperty("bytesABlock", static_cast<int>(blockBytes));
}

INSTANTIATE_TEST_SUITE_P(Processors, OversizeFramesTest, testing::Values(1U, 2U, 8U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

}  // namespace

}  // namespace qivm::test
