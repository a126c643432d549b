#include "encoder/row_encoder.h"

#include <gtest/gtest.h>

#include "tests/core/kernel_tiers.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_codec.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

constexpr ClientFormat kFormat = ClientFormat::yuy2;

class RowEncoderTest : public TierTest {
 protected:
  /// The slices of a picture, row by row, each in room for the largest that ends where memory ends.
  std::vector<Bytes> Encode(int width, int height, const Bytes& bitmap, std::uint8_t code) const {
    const KernelSet kernels = KernelsFor(GetParam());
    PackedYuvInputConverter converter(kernels);
    EXPECT_TRUE(converter.Init(UncompressedHeader(kFormat, width, height)));
    converter.SetBuffer(bitmap.data(), LineOrder::plain);
    const auto encoder = std::make_unique<RowEncoder>(kernels);
    const GuardedBuffer output(RowEncoder::LargestSlice(static_cast<unsigned>(width) / 16));
    std::vector<Bytes> slices;
    for (int row = 0; row < height / 16; ++row) {
      const std::size_t size =
          encoder->EncodeRow(converter, row, 1, width / 16, FrameQuantiser(code), output.Bytes());
      const auto slice = output.Bytes().first(size);
      slices.emplace_back(slice.begin(), slice.end());
    }
    return slices;
  }
  void ExpectAsModel(int width, int height, const Bytes& bitmap, std::uint8_t code) const {
    const ModelPicture picture = ModelPictureOf(PlanesOf(kFormat, width, height, bitmap), code);
    const auto slices = Encode(width, height, bitmap, code);
    ASSERT_EQ(slices.size(), picture.slices.size());
    for (std::size_t row = 0; row < slices.size(); ++row) {
      BitString expected;
      PutSlice(expected, picture, picture.slices[row]);
      ASSERT_EQ(slices[row], expected.AlignTo(4).Bytes()) << "row " << row;
    }
  }
};

TEST_P(RowEncoderTest, RowsOfAnyLength) {
  for (int columns = 1; columns <= 20; ++columns) {
    ExpectAsModel(16 * columns, 32, NaturalBitmap(kFormat, 16 * columns, 32, 7), 5);
  }
  ExpectAsModel(2048, 16, NaturalBitmap(kFormat, 2048, 16, 7), 2);
}

TEST_P(RowEncoderTest, EveryCode) {
  const Bytes natural = NaturalBitmap(kFormat, 48, 48, 8);
  const Bytes noise = BlackWhiteNoiseBitmap(kFormat, 48, 48, 8);
  for (std::uint8_t code = 1; code <= 31; ++code) {
    ExpectAsModel(48, 48, natural, code);
    ExpectAsModel(48, 48, noise, code);
  }
}

// Blocks from black to white side by side: the largest differences there are, and the predictors of
// the three components each for itself.
TEST_P(RowEncoderTest, DcDifferences) {
  Random random(161);
  for (int round = 0; round < 60; ++round) {
    Planes planes(64, 32);
    for (int y = 0; y < 32; y += 8) {
      for (int x = 0; x < 64; x += 8) {
        const std::array<int, 3> values = {random.OneIn(3) ? 255 : random.Byte(),
                                           random.OneIn(3) ? 0 : random.Byte(), random.Byte()};
        for (int i = 0; i < 64; ++i) {
          // A few samples more make the DC coefficients of no multiple of eight.
          const int more = i < round ? 1 : 0;
          for (std::size_t c = 0; c < 3; ++c) {
            const int column = c == 0 ? x + i % 8 : x / 2 + i % 4;
            planes.At(static_cast<Component>(c), column, y + i / 8) =
                static_cast<std::int16_t>(std::min(values[c] + more, 255));
          }
        }
      }
    }
    Bytes bitmap(BitmapBytes(kFormat, 64, 32));
    Draw(planes, kFormat, bitmap);
    ExpectAsModel(64, 32, bitmap, 1);
  }
}

// Every coefficient an escape, every DC difference of the longest code: more than any samples give.
TEST(RowEncoder, LargestSliceIsNeverExceeded) {
  constexpr std::size_t kHeader = 32 + 15;
  constexpr std::size_t kMacroblock =
      3 + 4 * (9 + 11) + 4 * (10 + 11) + 8 * (std::size_t{63} * 24 + 4);
  // The coder writes up to eight bytes behind what it has to say.
  constexpr std::size_t kBehind = 8;
  for (std::size_t macroblocks = 1; macroblocks <= 128; ++macroblocks) {
    const std::size_t bytes = (kHeader + macroblocks * kMacroblock + 31) / 32 * 4 + kBehind;
    EXPECT_LE(bytes, RowEncoder::LargestSlice(macroblocks));
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, RowEncoderTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
