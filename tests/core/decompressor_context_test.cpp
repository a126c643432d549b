#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

/// What a picture leaves in a bitmap of any size that held Background().
Bytes Expected(const ModelPicture& picture, ClientFormat format, int width, int height) {
  Bytes bitmap = Background(format, width, height);
  ModelDecode(picture, format, width, height, bitmap);
  return bitmap;
}

/// On one thread and on several.
class DecompressorContextTest : public testing::TestWithParam<unsigned> {
 protected:
  Processor Here() const { return Processors(GetParam()); }

  void ExpectUntouched(const Bytes& stream, ClientFormat format, int width, int height) const {
    Decompressor decompressor(format, width, height, Here());
    const Bytes background = Background(format, width, height);
    for (const Order order : {Order::plain, Order::shifted}) {
      EXPECT_TRUE(decompressor.Decode(stream, order) == background);
      EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
    }
  }
};

TEST_P(DecompressorContextTest, FrameOfSizeZeroLeavesTheBitmapAlone) {
  ExpectUntouched(Bytes(), ClientFormat::yuy2, 48, 48);
}

TEST_P(DecompressorContextTest, FrameOfAnotherWidthLeavesTheBitmapAlone) {
  const Bytes stream = StreamOf(FlatPicture(44, 2));
  ExpectUntouched(stream, ClientFormat::rgb32, 720, 32);
  ExpectUntouched(stream, ClientFormat::uyvy, 720, 32);
  ExpectUntouched(StreamOf(FlatPicture(4, 2)), ClientFormat::rgb24, 48, 32);
}

TEST_P(DecompressorContextTest, FrameWithoutChromaFormatLeavesTheBitmapAlone) {
  ModelPicture picture = FlatPicture(3, 3);
  picture.chromaFormat = 0;
  ExpectUntouched(StreamOf(picture), ClientFormat::yuy2, 48, 48);
}

TEST_P(DecompressorContextTest, FirstFrameWithoutSequenceExtensionHasNoChromaFormat) {
  const ModelPicture picture = FlatPicture(3, 3);
  BitString bits;
  PutSequenceHeader(bits, picture);
  PutPictureHeader(bits);
  PutPictureCodingExtension(bits, picture);
  for (const ModelSlice& slice : picture.slices) {
    PutSlice(bits, picture, slice);
  }
  ExpectUntouched(bits.Bytes(), ClientFormat::yuy2, 48, 48);
}

TEST_P(DecompressorContextTest, FrameWithoutAnyStartCodeLeavesTheBitmapAlone) {
  ExpectUntouched(Bytes(1, 0), ClientFormat::yuy2, 48, 48);
  ExpectUntouched(Bytes(100, 0), ClientFormat::yuy2, 48, 48);
  ExpectUntouched(Bytes(1000, 0xFF), ClientFormat::yuy2, 48, 48);
}

TEST_P(DecompressorContextTest, FrameWithoutSlicesLeavesTheBitmapAlone) {
  ModelPicture picture = FlatPicture(3, 3);
  picture.slices.clear();
  ExpectUntouched(StreamOf(picture), ClientFormat::yuy2, 48, 48);
}

// Matrices that a stream brings along are passed over: all levels are scaled by the default one.
TEST_P(DecompressorContextTest, LoadedQuantiserMatricesHaveNoEffect) {
  ModelPicture picture = FlatPicture(3, 3);
  for (ModelMacroblock& macroblock : picture.slices[2].macroblocks) {
    for (std::size_t i = 1; i < 64; ++i) {
      macroblock.blocks[i % 8][i] = 9;
    }
  }
  const Bytes expected = Expected(picture, ClientFormat::yuy2, 48, 48);
  Decompressor decompressor(ClientFormat::yuy2, 48, 48, Here());
  for (const unsigned flags : {0U, 1U, 2U, 3U}) {
    picture.matrixFlags = flags;
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == expected) << flags;
  }
}

TEST_P(DecompressorContextTest, OnlyPicturesIn422AreDrawn) {
  for (const int chromaFormat : {1, 3}) {
    ModelPicture picture = FlatPicture(3, 3);
    picture.chromaFormat = chromaFormat;
    for (ModelSlice& slice : picture.slices) {
      for (ModelMacroblock& macroblock : slice.macroblocks) {
        macroblock.blocks.resize(static_cast<std::size_t>(picture.BlockCount()));
        macroblock.blocks.back()[63] = 5;
      }
    }
    for (const ClientFormat format : kOutputFormats) {
      Decompressor decompressor(format, 48, 48, Here());
      EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == Background(format, 48, 48));
      EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
      // The next picture is drawn again.
      const ModelPicture next = FlatPicture(3, 3);
      EXPECT_TRUE(decompressor.Decode(StreamOf(next)) == Expected(next, format, 48, 48));
    }
  }
}

TEST_P(DecompressorContextTest, HeightIsThatOfWholeMacroblocks) {
  ModelPicture picture = FlatPicture(3, 2);
  picture.height = 40;
  for (const ClientFormat format : kOutputFormats) {
    Decompressor decompressor(format, 48, 40, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == Expected(picture, format, 48, 40));
  }
}

TEST_P(DecompressorContextTest, BitmapWithALastPartialColumn) {
  const ModelPicture picture = FlatPicture(3, 2);
  for (const ClientFormat format : {ClientFormat::rgb24, ClientFormat::rgb32, ClientFormat::yuy2}) {
    Decompressor decompressor(format, 60, 32, Here());
    Bytes expected = Background(format, 60, 32);
    const Bytes narrow = Expected(picture, format, 48, 32);
    const std::size_t pitch = BitmapBytes(format, 60, 1);
    const std::size_t narrowPitch = BitmapBytes(format, 48, 1);
    for (std::size_t row = 0; row < 32; ++row) {
      for (std::size_t i = 0; i < narrowPitch; ++i) {
        const bool fourthByte = format == ClientFormat::rgb32 && i % 4 == 3;
        if (!fourthByte) {
          expected[row * pitch + i] = narrow[row * narrowPitch + i];
        }
      }
    }
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == expected) << FormatName(format);
  }
}

TEST_P(DecompressorContextTest, RowsOutsideTheBitmapAreDropped) {
  const ModelPicture picture = FlatPicture(3, 5);
  for (const ClientFormat format : kOutputFormats) {
    for (const int height : {16, 48, 56}) {
      Decompressor decompressor(format, 48, height, Here());
      EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == Expected(picture, format, 48, height));
      EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
    }
  }
}

TEST_P(DecompressorContextTest, RowsThatTheStreamDoesNotReachKeepWhatTheyHeld) {
  const ModelPicture picture = FlatPicture(3, 2);
  for (const ClientFormat format : kOutputFormats) {
    Decompressor decompressor(format, 48, 96, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == Expected(picture, format, 48, 96));
  }
}

TEST_P(DecompressorContextTest, MissingSlicesKeepWhatTheyHeld) {
  for (const int missing : {0, 2, 5}) {
    ModelPicture picture = FlatPicture(3, 6);
    picture.slices.erase(picture.slices.begin() + missing);
    Decompressor decompressor(ClientFormat::yuy2, 48, 96, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) ==
                Expected(picture, ClientFormat::yuy2, 48, 96));
    EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
  }
}

TEST_P(DecompressorContextTest, FrameWithTooFewSlicesIsNotShownInTheShiftedForm) {
  ModelPicture picture = FlatPicture(3, 6);
  const Bytes whole = StreamOf(picture);
  picture.slices.pop_back();
  for (const ClientFormat format : kOutputFormats) {
    Decompressor decompressor(format, 48, 96, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture), Order::shifted) ==
                Background(format, 48, 96));
    EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
    EXPECT_FALSE(decompressor.Decode(whole, Order::shifted) == Background(format, 48, 96));
  }
}

// Slices in any order, some twice, some far below the picture.
TEST_P(DecompressorContextTest, SlicesGoWhereTheySay) {
  ModelPicture picture = FlatPicture(3, 5);
  const std::vector<ModelSlice> slices = picture.slices;
  for (const std::array<int, 5>& order :
       {std::array{4, 3, 2, 1, 0}, std::array{1, 0, 2, 4, 3}, std::array{2, 0, 1, 0, 4}}) {
    picture.slices.clear();
    for (const int index : order) {
      picture.slices.push_back(slices[static_cast<std::size_t>(index)]);
    }
    picture.slices[2].row = 150;
    Decompressor decompressor(ClientFormat::rgb32, 48, 80, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) ==
                Expected(picture, ClientFormat::rgb32, 48, 80));
  }
}

// The last of them is the row's.
TEST_P(DecompressorContextTest, SeveralSlicesOfOneRow) {
  for (const int row : {0, 2, 3, 4, 5, 174}) {
    ModelPicture picture = FlatPicture(3, 4);
    picture.slices[1].row = row;
    picture.slices[2].row = row;
    picture.slices[3].row = row;
    Decompressor decompressor(ClientFormat::yuy2, 48, 64, Here());
    EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) ==
                Expected(picture, ClientFormat::yuy2, 48, 64))
        << row;
    EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
  }
}

TEST_P(DecompressorContextTest, AllDataInTheLastSlice) {
  ModelPicture picture = FlatPicture(2, 3);
  Random random(121);
  for (ModelMacroblock& macroblock : picture.slices[2].macroblocks) {
    for (Block& block : macroblock.blocks) {
      for (std::size_t i = 1; i < 64; ++i) {
        block[i] = static_cast<std::int16_t>(random.Between(-90, 90));
      }
    }
  }
  Decompressor decompressor(ClientFormat::yuy2, 32, 48, Here());
  EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) ==
              Expected(picture, ClientFormat::yuy2, 32, 48));
}

TEST_P(DecompressorContextTest, HeadersThatEndEarlyUseTheFrameBefore) {
  ModelPicture picture = FlatPicture(3, 4);
  picture.intraDcPrecision = 1;
  picture.alternateScan = 1;
  picture.qScaleType = 0;
  for (ModelSlice& slice : picture.slices) {
    slice.quantiserCode = 9;
    for (ModelMacroblock& macroblock : slice.macroblocks) {
      for (Block& block : macroblock.blocks) {
        block[0] = static_cast<std::int16_t>(block[0] / 4);
        block[5] = 3;
      }
    }
  }
  BitString bits;
  PutSequenceHeader(bits, picture);
  for (const ModelSlice& slice : picture.slices) {
    PutSlice(bits, picture, slice);
  }
  Decompressor decompressor(ClientFormat::yuy2, 48, 64, Here());
  const Bytes expected = Expected(picture, ClientFormat::yuy2, 48, 64);
  EXPECT_TRUE(decompressor.Decode(StreamOf(picture)) == expected);
  EXPECT_TRUE(decompressor.Decode(bits.Bytes()) == expected);
  EXPECT_EQ(decompressor.Outcome(), FrameOutcome::done);
}

TEST_P(DecompressorContextTest, OutputHeaderIsPutInOrder) {
  const ModelPicture picture = FlatPicture(3, 4);
  const Bytes stream = StreamOf(picture);
  Bytes bitmap(BitmapBytes(ClientFormat::yuy2, 48, 64));
  const BitmapInfoHeader inputFormat = CompressedHeader(48, 64, stream.size());
  BitmapInfoHeader outputFormat = UncompressedHeader(ClientFormat::yuy2, 48, 64);
  outputFormat.biSize = 124;
  outputFormat.biPlanes = 9;
  outputFormat.biClrUsed = 8;
  outputFormat.biClrImportant = 7;
  outputFormat.biXPelsPerMeter = 6;
  outputFormat.biYPelsPerMeter = 5;
  outputFormat.biSizeImage = 4;
  DecompressorContext context;
  ASSERT_TRUE(context.Begin(outputFormat, Here()));
  EXPECT_EQ(context.DecodeFrame({&inputFormat, stream.data(), &outputFormat, bitmap.data()}),
            FrameOutcome::done);
  EXPECT_EQ(outputFormat.biSize, 40U);
  EXPECT_EQ(outputFormat.biPlanes, 1);
  EXPECT_EQ(outputFormat.biClrUsed, 0U);
  EXPECT_EQ(outputFormat.biClrImportant, 0U);
  EXPECT_EQ(outputFormat.biXPelsPerMeter, 6);
  EXPECT_EQ(outputFormat.biYPelsPerMeter, 5);
  EXPECT_EQ(outputFormat.biSizeImage, 4U);
  EXPECT_EQ(outputFormat.biWidth, 48);
  EXPECT_EQ(outputFormat.biHeight, 64);
}

TEST_P(DecompressorContextTest, ShiftedPictureMovesDownByOneLine) {
  const ModelPicture picture = FlatPicture(2, 2);
  for (const ClientFormat format : kOutputFormats) {
    Decompressor decompressor(format, 32, 32, Here());
    const Bytes decoded =
        decompressor.Decode(StreamOf(picture), Bytes(BitmapBytes(format, 32, 32)));
    const Bytes shifted =
        decompressor.Decode(StreamOf(picture), Bytes(BitmapBytes(format, 32, 32)), Order::shifted);
    const auto line = static_cast<std::ptrdiff_t>(BitmapBytes(format, 32, 1));
    Bytes expected;
    if (IsRgb(format)) {
      // Bottom-up: the bitmap's last line in memory, the top one on screen, is the picture's
      // bottom line, the first in memory.
      expected.assign(decoded.begin() + line, decoded.end());
      expected.insert(expected.end(), decoded.begin(), decoded.begin() + line);
    } else {
      expected.assign(decoded.end() - line, decoded.end());
      expected.insert(expected.end(), decoded.begin(), decoded.end() - line);
    }
    EXPECT_TRUE(shifted == expected) << FormatName(format);
  }
}

TEST_P(DecompressorContextTest, FourthBytesStayInEitherForm) {
  const ModelPicture picture = FlatPicture(2, 2);
  Decompressor decompressor(ClientFormat::rgb32, 32, 32, Here());
  Bytes before(BitmapBytes(ClientFormat::rgb32, 32, 32));
  Random random(122);
  for (std::size_t i = 3; i < before.size(); i += 4) {
    before[i] = random.Byte();
  }
  for (const Order order : {Order::plain, Order::shifted}) {
    const Bytes decoded = decompressor.Decode(StreamOf(picture), before, order);
    for (std::size_t i = 3; i < before.size(); i += 4) {
      ASSERT_EQ(decoded[i], before[i]);
    }
  }
}

TEST_P(DecompressorContextTest, FrameInAnotherFormatIsRefused) {
  const Bytes stream = StreamOf(FlatPicture(3, 3));
  const BitmapInfoHeader begun = UncompressedHeader(ClientFormat::yuy2, 48, 48);
  DecompressorContext context;
  ASSERT_TRUE(context.Begin(begun, Here()));
  const BitmapInfoHeader inputFormat = CompressedHeader(48, 48, stream.size());
  Bytes bitmap = Background(ClientFormat::rgb32, 48, 64);
  for (const BitmapInfoHeader& other : {UncompressedHeader(ClientFormat::yuy2, 64, 48),
                                        UncompressedHeader(ClientFormat::yuy2, 48, 64),
                                        UncompressedHeader(ClientFormat::uyvy, 48, 48),
                                        UncompressedHeader(ClientFormat::rgb32, 48, 48)}) {
    BitmapInfoHeader outputFormat = other;
    outputFormat.biPlanes = 9;
    const DecompressFrame frame = {&inputFormat, stream.data(), &outputFormat, bitmap.data()};
    EXPECT_EQ(context.DecodeFrame(frame), FrameOutcome::refused);
    EXPECT_EQ(context.DecodeFrameShifted(frame), FrameOutcome::refused);
    EXPECT_EQ(outputFormat.biPlanes, 9);
  }
  EXPECT_EQ(bitmap, Background(ClientFormat::rgb32, 48, 64));
}

TEST_P(DecompressorContextTest, SizesOfZeroAndBelowAreRefused) {
  DecompressorContext context;
  for (const auto& [width, height] : {std::pair{0, 16}, std::pair{16, 0}, std::pair{-16, 16},
                                      std::pair{16, -16}, std::pair{0, 0}}) {
    BitmapInfoHeader format = UncompressedHeader(ClientFormat::rgb24, 16, 16);
    format.biWidth = width;
    format.biHeight = height;
    EXPECT_FALSE(context.Begin(format, Here())) << width << "x" << height;
    context.End();
  }
}

TEST_P(DecompressorContextTest, SizesBeyondAllMemoryAreRefused) {
  DecompressorContext context;
  BitmapInfoHeader format = UncompressedHeader(ClientFormat::rgb32, 16, 16);
  format.biWidth = 0x7FFFFFF0;
  format.biHeight = 0x7FFFFFF0;
  EXPECT_FALSE(context.Begin(format, Here()));
}

TEST_P(DecompressorContextTest, FormatsThatAreNoOutputAreRefused) {
  DecompressorContext context;
  EXPECT_FALSE(context.Begin(UncompressedHeader(ClientFormat::y16a, 16, 16), Here()));
  BitmapInfoHeader format = UncompressedHeader(ClientFormat::rgb24, 16, 16);
  format.biBitCount = 16;
  EXPECT_FALSE(context.Begin(format, Here()));
  format = UncompressedHeader(ClientFormat::yuy2, 16, 16);
  format.biBitCount = 24;
  EXPECT_FALSE(context.Begin(format, Here()));
}

TEST_P(DecompressorContextTest, BeginsAgainAfterEndAndWithoutIt) {
  const ModelPicture picture = FlatPicture(3, 4);
  const Bytes stream = StreamOf(picture);
  Decompressor decompressor(ClientFormat::yuy2, 48, 64, Here());
  const Bytes expected = Expected(picture, ClientFormat::yuy2, 48, 64);
  for (int round = 0; round < 5; ++round) {
    EXPECT_TRUE(decompressor.Decode(stream) == expected);
    if (round % 2 == 0) {
      decompressor.Context().End();
      EXPECT_EQ(decompressor.Context().Threads(), 1U);
      decompressor.Context().End();
    }
    ASSERT_TRUE(
        decompressor.Context().Begin(UncompressedHeader(ClientFormat::yuy2, 48, 64), Here()));
    EXPECT_EQ(decompressor.Context().Threads(), std::min(GetParam(), 4U));
  }
}

// A row of the picture is drawn when its slice's start code is whole enough to be found, and the
// rows above are as in the whole frame.
TEST_P(DecompressorContextTest, EveryTruncation) {
  const ModelPicture picture = FlatPicture(2, 4);
  const Bytes stream = StreamOf(picture);
  std::vector<std::size_t> slices;
  for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1 && stream[i + 3] >= 1 &&
        stream[i + 3] <= 4) {
      slices.push_back(i);
    }
  }
  ASSERT_EQ(slices.size(), 4U);
  const Bytes background = Background(ClientFormat::yuy2, 32, 64);
  const Bytes whole = Expected(picture, ClientFormat::yuy2, 32, 64);
  const std::size_t rowBytes = BitmapBytes(ClientFormat::yuy2, 32, 16);
  Decompressor decompressor(ClientFormat::yuy2, 32, 64, Here());
  for (std::size_t size = 0; size < stream.size(); ++size) {
    // Parameters of the frame before must not help.
    ASSERT_TRUE(
        decompressor.Context().Begin(UncompressedHeader(ClientFormat::yuy2, 32, 64), Here()));
    const Bytes cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size));
    const Bytes decoded = decompressor.Decode(cut);
    ASSERT_EQ(decompressor.Outcome(), FrameOutcome::done) << size;
    for (std::size_t row = 0; row < 4; ++row) {
      const auto at = static_cast<std::ptrdiff_t>(row * rowBytes);
      const auto end = at + static_cast<std::ptrdiff_t>(rowBytes);
      const std::size_t sliceEnd = row < 3 ? slices[row + 1] : stream.size() - 4;
      const auto expectRow = [&](const Bytes& expected) {
        ASSERT_TRUE(std::equal(decoded.begin() + at, decoded.begin() + end, expected.begin() + at))
            << size << " bytes, row " << row;
      };
      if (size >= sliceEnd) {
        expectRow(whole);
      } else if (size < slices[row] + 3) {
        expectRow(background);
      }
    }
    if (size < slices[3] + 3) {
      ASSERT_TRUE(decompressor.Decode(cut, Order::shifted) == background) << size;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, DecompressorContextTest, testing::Values(1U, 2U, 3U, 64U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

}  // namespace

}  // namespace qivm::test
