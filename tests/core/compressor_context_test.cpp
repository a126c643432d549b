#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

struct StartCode {
  std::uint32_t code;
  std::size_t offset;
};

std::vector<StartCode> StartCodesOf(const Bytes& stream) {
  std::vector<StartCode> codes;
  for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      codes.push_back({0x100U | stream[i + 3], i});
    }
  }
  return codes;
}

/// On one thread and on several.
class CompressorContextTest : public testing::TestWithParam<unsigned> {
 protected:
  Processor Here() const { return Processors(GetParam()); }
  bool Begins(int width, int height) const {
    CompressorContext context;
    BitmapInfoHeader input = UncompressedHeader(ClientFormat::yuy2, 16, 16);
    input.biWidth = width;
    input.biHeight = height;
    return context.Begin(CompressedHeader(width, height), input, Here());
  }
};

TEST_P(CompressorContextTest, Sizes) {
  EXPECT_TRUE(Begins(720, 480));
  EXPECT_TRUE(Begins(720, 576));
  EXPECT_TRUE(Begins(16, 16));
  EXPECT_TRUE(Begins(2048, 2048));
  EXPECT_FALSE(Begins(722, 480));
  EXPECT_FALSE(Begins(8, 16));
  EXPECT_FALSE(Begins(16, 8));
  EXPECT_FALSE(Begins(720, 482));
  EXPECT_FALSE(Begins(2064, 2048));
  EXPECT_FALSE(Begins(2048, 2064));
  EXPECT_FALSE(Begins(0, 16));
  EXPECT_FALSE(Begins(16, 0));
  EXPECT_FALSE(Begins(-16, 16));
  EXPECT_FALSE(Begins(16, -480));
  EXPECT_FALSE(Begins(0x7FFFFFF0, 0x7FFFFFF0));
}

TEST_P(CompressorContextTest, InputFormatsThatAreNoneAreRefused) {
  CompressorContext context;
  BitmapInfoHeader input = UncompressedHeader(ClientFormat::rgb24, 16, 16);
  input.biBitCount = 16;
  EXPECT_FALSE(context.Begin(CompressedHeader(16, 16), input, Here()));
  input = UncompressedHeader(ClientFormat::yuy2, 16, 16);
  input.biCompression = MakeFourCC('M', 'J', 'P', 'G');
  EXPECT_FALSE(context.Begin(CompressedHeader(16, 16), input, Here()));
  for (const ClientFormat format : kInputFormats) {
    EXPECT_TRUE(
        context.Begin(CompressedHeader(16, 16), UncompressedHeader(format, 16, 16), Here()));
  }
}

TEST_P(CompressorContextTest, OrderOfTheStartCodes) {
  Compressor compressor(ClientFormat::yuy2, 48, 80, Here());
  const Bytes stream = compressor.Encode(NaturalBitmap(ClientFormat::yuy2, 48, 80, 1), 8000);
  const std::vector<StartCode> codes = StartCodesOf(stream);
  const std::vector<std::uint32_t> expected = {0x1B3, 0x1B5, 0x1B5, 0x1B8, 0x1B2, 0x100, 0x1B5,
                                               0x101, 0x102, 0x103, 0x104, 0x105, 0x1B7};
  ASSERT_EQ(codes.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(codes[i].code, expected[i]);
    EXPECT_EQ(codes[i].offset % 4, 0U);
  }
  EXPECT_EQ(codes.front().offset, 0U);
  EXPECT_EQ(codes.back().offset + 4, stream.size());
}

TEST_P(CompressorContextTest, PalPictureHas36SlicesOf45Macroblocks) {
  Compressor compressor(ClientFormat::yuy2, 720, 576, Here());
  const ModelPicture picture =
      ParsePicture(compressor.Encode(NaturalBitmap(ClientFormat::yuy2, 720, 576, 1), 5000));
  ASSERT_EQ(picture.slices.size(), 36U);
  for (std::size_t row = 0; row < 36; ++row) {
    EXPECT_EQ(picture.slices[row].row, static_cast<int>(row));
    EXPECT_EQ(picture.slices[row].macroblocks.size(), 45U);
    EXPECT_EQ(picture.slices[row].quantiserCode, 8);
    EXPECT_TRUE(picture.slices[row].intraSliceFlag);
    EXPECT_TRUE(picture.slices[row].extraInformation.empty());
    for (const ModelMacroblock& macroblock : picture.slices[row].macroblocks) {
      ASSERT_TRUE(macroblock.fieldDct);
      ASSERT_EQ(macroblock.quantiserCode, 0);
    }
  }
}

TEST_P(CompressorContextTest, QualitySteps) {
  constexpr std::array<int, 21> kCodes = {18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8,
                                          7,  6,  5,  4,  3,  2,  2,  1,  1,  1};
  Compressor compressor(ClientFormat::yuy2, 16, 16, Here());
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 16, 16, 2);
  const auto codeOf = [&](std::uint32_t quality) {
    const ModelPicture picture = ParsePicture(compressor.Encode(bitmap, quality));
    return picture.slices.at(0).quantiserCode;
  };
  for (std::size_t step = 0; step < kCodes.size(); ++step) {
    const auto quality = static_cast<std::uint32_t>(500 * step);
    EXPECT_EQ(codeOf(quality), kCodes[step]) << quality;
    EXPECT_EQ(codeOf(quality + 499), kCodes[step]) << quality;
    EXPECT_EQ(QuantiserCodeOfQuality(quality), kCodes[step]);
    EXPECT_EQ(ModelQuantiserCode(quality), kCodes[step]);
  }
  for (const std::uint32_t beyond : {10001U, 10500U, 20000U, 0x7FFFFFFFU, 0xFFFFFFFEU}) {
    EXPECT_EQ(codeOf(beyond), 1) << beyond;
  }
}

TEST_P(CompressorContextTest, DefaultQualityIsTheInstances) {
  Compressor compressor(ClientFormat::yuy2, 16, 16, Here());
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 16, 16, 2);
  const auto codeOf = [&](std::uint32_t quality) {
    return ParsePicture(compressor.Encode(bitmap, quality)).slices.at(0).quantiserCode;
  };
  EXPECT_EQ(kDefaultQualityRequest, 0xFFFFFFFFU);
  EXPECT_EQ(codeOf(kDefaultQualityRequest), 2);
  compressor.Context().SetQuality(0);
  EXPECT_EQ(codeOf(kDefaultQualityRequest), 18);
  EXPECT_EQ(codeOf(5000), 8);
  compressor.Context().SetQuality(10000);
  EXPECT_EQ(codeOf(kDefaultQualityRequest), 1);
}

TEST_P(CompressorContextTest, FlagsMayBeMissing) {
  CompressorContext context;
  const BitmapInfoHeader input = UncompressedHeader(ClientFormat::yuy2, 16, 16);
  BitmapInfoHeader output = CompressedHeader(16, 16);
  ASSERT_TRUE(context.Begin(output, input, Here()));
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 16, 16, 2);
  Bytes stream(16 * 16 * 3);
  EXPECT_EQ(context.EncodeFrame({&output, stream.data(), &input, bitmap.data(), nullptr, 8000}),
            FrameOutcome::done);
  EXPECT_GT(output.biSizeImage, 0U);
}

TEST_P(CompressorContextTest, SameInputSameBytes) {
  Compressor compressor(ClientFormat::rgb24, 48, 48, Here());
  Compressor other(ClientFormat::rgb24, 48, 48, Here());
  const Bytes bitmap = NaturalBitmap(ClientFormat::rgb24, 48, 48, 3);
  const Bytes first = compressor.Encode(bitmap, 7000);
  EXPECT_FALSE(compressor.Encode(NoiseBitmap(ClientFormat::rgb24, 48, 48, 3), 300) == first);
  EXPECT_FALSE(compressor.Encode(bitmap, 300, Order::shifted) == first);
  EXPECT_TRUE(compressor.Encode(bitmap, 7000) == first);
  EXPECT_TRUE(other.Encode(bitmap, 7000) == first);
}

TEST_P(CompressorContextTest, ShiftedPictureShowsItsTopLineAtTheBottom) {
  for (const ClientFormat format : kInputFormats) {
    Bytes bitmap = NaturalBitmap(format, 16, 32, 4);
    // A top line like no other.
    const auto line = static_cast<std::ptrdiff_t>(BitmapBytes(format, 16, 1));
    const auto top = IsRgb(format) ? bitmap.end() - line : bitmap.begin();
    std::fill(top, top + line, std::uint8_t{0});
    Compressor compressor(format, 16, 32, Here());
    const Bytes expected =
        compressor.Encode(RotatedRows(format, 16, 32, bitmap, -1), 10000, Order::plain);
    EXPECT_TRUE(compressor.Encode(bitmap, 10000, Order::shifted) == expected);
    Decompressor decompressor(ClientFormat::yuy2, 16, 32, Here());
    const Bytes decoded = decompressor.Decode(expected);
    const Planes shown = PlanesOf(ClientFormat::yuy2, 16, 32, decoded);
    for (int x = 0; x < 16; ++x) {
      EXPECT_LT(shown.At(Component::luma, x, 31), 40) << FormatName(format);
      EXPECT_GT(shown.At(Component::luma, x, 0), 40) << FormatName(format);
    }
  }
}

TEST_P(CompressorContextTest, FrameInAnotherFormatIsRefused) {
  CompressorContext context;
  const BitmapInfoHeader begun = UncompressedHeader(ClientFormat::yuy2, 32, 32);
  BitmapInfoHeader output = CompressedHeader(32, 32);
  ASSERT_TRUE(context.Begin(output, begun, Here()));
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 32, 32, 2);
  Bytes stream(32 * 32 * 3, 0x77);
  const Bytes untouched = stream;
  for (const BitmapInfoHeader& other : {UncompressedHeader(ClientFormat::yuy2, 48, 32),
                                        UncompressedHeader(ClientFormat::yuy2, 32, 48),
                                        UncompressedHeader(ClientFormat::uyvy, 32, 32),
                                        UncompressedHeader(ClientFormat::rgb32, 32, 32)}) {
    const CompressFrame frame = {&output, stream.data(), &other, bitmap.data(), nullptr, 8000};
    EXPECT_EQ(context.EncodeFrame(frame), FrameOutcome::refused);
    EXPECT_EQ(context.EncodeFrameShifted(frame), FrameOutcome::refused);
    EXPECT_EQ(stream, untouched);
  }
  EXPECT_EQ(context.EncodeFrame({&output, stream.data(), &begun, bitmap.data(), nullptr, 8000}),
            FrameOutcome::done);
}

TEST_P(CompressorContextTest, BeginsAgainAfterEndAndWithoutIt) {
  Compressor compressor(ClientFormat::yuy2, 48, 80, Here());
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 48, 80, 3);
  const Bytes expected = compressor.Encode(bitmap, 7000);
  for (int round = 0; round < 4; ++round) {
    if (round % 2 == 0) {
      compressor.Context().End();
      EXPECT_EQ(compressor.Context().Threads(), 1U);
      compressor.Context().End();
    }
    ASSERT_TRUE(compressor.Context().Begin(CompressedHeader(48, 80),
                                           UncompressedHeader(ClientFormat::yuy2, 48, 80), Here()));
    EXPECT_EQ(compressor.Context().Threads(), std::min(GetParam(), 5U));
    EXPECT_TRUE(compressor.Encode(bitmap, 7000) == expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, CompressorContextTest, testing::Values(1U, 2U, 3U, 64U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

// Machines with several processors give the same slices as one with a single processor. Between the
// two parts there are 0 to 12 zero bytes, so that the second begins at a multiple of 16; the first
// has the extra row of an odd count.
TEST(TwoPartFrames, SameSlicesAsOnePart) {
  for (const int rows : {1, 2, 3, 4, 5, 8, 9}) {
    const int height = 16 * rows;
    const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 64, height, 6);
    Compressor one(ClientFormat::yuy2, 64, height, Processors(1));
    Compressor two(ClientFormat::yuy2, 64, height, Processors(2));
    Compressor eight(ClientFormat::yuy2, 64, height, Processors(8));
    // Too small to wake anybody for, on a machine with two processors all the same.
    Compressor alone(ClientFormat::yuy2, 64, height, {KernelTier::plain, 2, 1000});
    std::array<bool, 4> gapsSeen = {};
    for (std::uint32_t quality = 0; quality <= 10000; quality += 500) {
      const Bytes single = one.Encode(bitmap, quality);
      const Bytes joined = two.Encode(bitmap, quality);
      EXPECT_TRUE(eight.Encode(bitmap, quality) == joined);
      EXPECT_TRUE(alone.Encode(bitmap, quality) == joined);
      const std::vector<StartCode> singleCodes = StartCodesOf(single);
      const std::vector<StartCode> joinedCodes = StartCodesOf(joined);
      ASSERT_EQ(singleCodes.size(), joinedCodes.size());

      // The first unit of the second part: a slice, or the end code when there is but one row.
      constexpr std::size_t kHeaders = 7;
      const std::size_t second = kHeaders + static_cast<std::size_t>((rows + 1) / 2);
      const std::size_t gap = joinedCodes[second].offset - singleCodes[second].offset;
      EXPECT_EQ(joinedCodes[second].offset % 16, 0U);
      ASSERT_LE(gap, 12U);
      ASSERT_EQ(gap % 4, 0U);
      gapsSeen[gap / 4] = true;
      Bytes expected = single;
      expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(singleCodes[second].offset),
                      gap, 0);
      EXPECT_TRUE(joined == expected) << rows << " rows, quality " << quality;
    }
    EXPECT_GT(std::count(gapsSeen.begin(), gapsSeen.end(), true), rows == 1 ? 0 : 1);
  }
}

TEST(QualityValues, ChangeTheSliceHeadersAndCoefficientsOnly) {
  Compressor compressor(ClientFormat::yuy2, 64, 64, Processors(1));
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, 64, 64, 6);
  const Bytes fine = compressor.Encode(bitmap, 10000);
  const Bytes coarse = compressor.Encode(bitmap, 0);
  const std::size_t headers = StartCodesOf(fine)[7].offset;
  ASSERT_EQ(StartCodesOf(coarse)[7].offset, headers);
  EXPECT_TRUE(std::equal(fine.begin(), fine.begin() + static_cast<std::ptrdiff_t>(headers),
                         coarse.begin()));
  EXPECT_GT(fine.size(), coarse.size());
}

}  // namespace

}  // namespace qivm::test
