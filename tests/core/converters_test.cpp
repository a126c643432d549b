#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

#include "kernels/input_converter.h"
#include "kernels/output_converter.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/client_pictures.h"

namespace qivm::test {

namespace {

PictureParameters Sequence(int width, int chromaFormat) {
  PictureParameters parameters;
  parameters.width = static_cast<std::uint16_t>(width);
  parameters.height = 64;
  parameters.chromaFormat = static_cast<std::uint8_t>(chromaFormat);
  return parameters;
}

class ConvertersTest : public TierTest {
 protected:
  std::unique_ptr<OutputConverter> OutputConverterFor(ClientFormat format) const {
    if (IsRgb(format)) {
      return std::make_unique<RgbOutputConverter>(kernels_);
    }
    return std::make_unique<PackedYuvOutputConverter>(kernels_);
  }
  std::unique_ptr<InputConverter> InputConverterFor(ClientFormat format) const {
    if (IsRgb(format)) {
      return std::make_unique<RgbInputConverter>(kernels_);
    }
    return std::make_unique<PackedYuvInputConverter>(kernels_);
  }

  const KernelSet kernels_ = KernelsFor(GetParam());
};

/// Bytes that no converter writes.
Bytes Background(ClientFormat format, int width, int height) {
  return NoiseBitmap(format, width, height, 5);
}

TEST_P(ConvertersTest, OutputFormats) {
  const PictureParameters sequence = Sequence(64, 2);
  RgbOutputConverter rgb(kernels_);
  PackedYuvOutputConverter yuv(kernels_);
  for (const ClientFormat format : kInputFormats) {
    const BitmapInfoHeader header = UncompressedHeader(format, 64, 64);
    for (const PictureParameters* described :
         {&sequence, static_cast<decltype(&sequence)>(nullptr)}) {
      EXPECT_EQ(rgb.Init(header, described), IsRgb(format)) << FormatName(format);
      EXPECT_EQ(yuv.Init(header, described), !IsRgb(format) && format != ClientFormat::y16a)
          << FormatName(format);
    }
  }
  BitmapInfoHeader wrongDepth = UncompressedHeader(ClientFormat::rgb24, 64, 64);
  wrongDepth.biBitCount = 16;
  EXPECT_FALSE(rgb.Init(wrongDepth, nullptr));
}

TEST_P(ConvertersTest, OutputNeedsTheSameMacroblockColumns) {
  for (const ClientFormat format : kOutputFormats) {
    const auto converter = OutputConverterFor(format);
    const BitmapInfoHeader header = UncompressedHeader(format, 720, 64);
    const PictureParameters same = Sequence(720, 2);
    const PictureParameters partial = Sequence(735, 2);
    const PictureParameters less = Sequence(719, 2);
    const PictureParameters more = Sequence(736, 2);
    EXPECT_TRUE(converter->Init(header, &same));
    EXPECT_TRUE(converter->Init(header, &partial));
    EXPECT_FALSE(converter->Init(header, &less));
    EXPECT_FALSE(converter->Init(header, &more));
    EXPECT_TRUE(converter->Init(UncompressedHeader(format, 734, 64), &same));
  }
}

TEST_P(ConvertersTest, ChromaFormats) {
  for (const ClientFormat format : kOutputFormats) {
    for (int chromaFormat = 0; chromaFormat <= 4; ++chromaFormat) {
      const auto converter = OutputConverterFor(format);
      const PictureParameters sequence = Sequence(16, chromaFormat);
      EXPECT_EQ(converter->Init(UncompressedHeader(format, 16, 16), &sequence),
                chromaFormat >= 1 && chromaFormat <= 3);
      Bytes bitmap = Background(format, 16, 16);
      converter->SetBuffer(bitmap.data());
      MacroblockRecord record;
      converter->ConvertMacroblock(record);
      EXPECT_EQ(bitmap != Background(format, 16, 16), chromaFormat == 2) << chromaFormat;
    }
  }
}

// A converter that knows no sequence takes no buffer, and one that has refused a sequence is
// without one again.
TEST_P(ConvertersTest, WithoutASequenceNothingIsWritten) {
  const PictureParameters sequence = Sequence(16, 2);
  const PictureParameters other = Sequence(32, 2);
  for (const ClientFormat format : kOutputFormats) {
    const auto converter = OutputConverterFor(format);
    const BitmapInfoHeader header = UncompressedHeader(format, 16, 16);
    Bytes bitmap = Background(format, 16, 16);
    MacroblockRecord record;
    const auto writes = [&] {
      bitmap = Background(format, 16, 16);
      converter->SetBuffer(bitmap.data());
      converter->ConvertMacroblock(record);
      return bitmap != Background(format, 16, 16);
    };
    EXPECT_FALSE(writes());
    EXPECT_TRUE(converter->Init(header, nullptr));
    EXPECT_FALSE(writes());
    EXPECT_TRUE(converter->Init(header, &sequence));
    EXPECT_TRUE(writes());
    EXPECT_FALSE(converter->Init(header, &other));
    EXPECT_FALSE(writes());
  }
}

TEST_P(ConvertersTest, MacroblocksOutsideTheBitmapAreDropped) {
  const PictureParameters sequence = Sequence(48, 2);
  for (const ClientFormat format : kOutputFormats) {
    const auto converter = OutputConverterFor(format);
    ASSERT_TRUE(converter->Init(UncompressedHeader(format, 48, 40), &sequence));
    Bytes bitmap = Background(format, 48, 40);
    converter->SetBuffer(bitmap.data());
    MacroblockRecord record;
    for (const auto& [column, row] :
         {std::pair{3, 0}, std::pair{0, 2}, std::pair{-1, 0}, std::pair{0, -1}, std::pair{44, 1},
          std::pair{1, 174}, std::pair{32767, 32767}, std::pair{-32768, -32768}}) {
      record.column = static_cast<std::int16_t>(column);
      record.row = static_cast<std::int16_t>(row);
      converter->ConvertMacroblock(record);
      ASSERT_EQ(bitmap, Background(format, 48, 40)) << column << "," << row;
    }
    record.column = 2;
    record.row = 1;
    converter->ConvertMacroblock(record);
    EXPECT_NE(bitmap, Background(format, 48, 40));
  }
}

// The kernels themselves are compared elsewhere.
TEST_P(ConvertersTest, ArrangementOfEachMacroblock) {
  const PictureParameters sequence = Sequence(16, 2);
  PackedYuvOutputConverter converter(kernels_);
  ASSERT_TRUE(converter.Init(UncompressedHeader(ClientFormat::y16, 16, 16), &sequence));
  MacroblockRecord record;
  // Luminance 1 in the upper blocks, 2 in the lower ones.
  std::fill_n(record.Block(0), 2 * 64, std::int16_t{1});
  std::fill_n(record.Block(2), 2 * 64, std::int16_t{2});
  for (const bool frameDct : {false, true}) {
    record.frameDct = frameDct;
    Bytes bitmap(16 * 16 * 2);
    converter.SetBuffer(bitmap.data());
    converter.ConvertMacroblock(record);
    for (std::size_t row = 0; row < 16; ++row) {
      EXPECT_EQ(bitmap[32 * row], frameDct ? 1 + row / 8 : 1 + row % 2) << "row " << row;
    }
  }
}

TEST_P(ConvertersTest, InputFormatsAndSizes) {
  RgbInputConverter rgb(kernels_);
  PackedYuvInputConverter yuv(kernels_);
  for (const ClientFormat format : kInputFormats) {
    EXPECT_EQ(rgb.Init(UncompressedHeader(format, 64, 64)), IsRgb(format));
    EXPECT_EQ(yuv.Init(UncompressedHeader(format, 64, 64)), !IsRgb(format));
    for (const auto& [width, height] :
         {std::pair{0, 64}, std::pair{64, 0}, std::pair{-64, 64}, std::pair{64, -64}}) {
      BitmapInfoHeader header = UncompressedHeader(format, 64, 64);
      header.biWidth = width;
      header.biHeight = height;
      EXPECT_FALSE(InputConverterFor(format)->Init(header));
      EXPECT_FALSE(OutputConverterFor(format)->Init(header, nullptr));
    }
  }
}

// Every macroblock of a bitmap is fetched from, and goes to, its own place: in a shifted bitmap one
// line further down, the last line on top.
TEST_P(ConvertersTest, Places) {
  constexpr int kWidth = 80;
  constexpr int kHeight = 48;
  const PictureParameters sequence = Sequence(kWidth, 2);
  for (const ClientFormat format : kOutputFormats) {
    const Bytes picture = NoiseBitmap(format, kWidth, kHeight, 7);
    const Planes planes = PlanesOf(format, kWidth, kHeight, picture);
    for (const LineOrder order : {LineOrder::plain, LineOrder::shifted}) {
      const auto inOrder = [&](const Bytes& bitmap) {
        return order == LineOrder::plain ? bitmap : RotatedRows(format, kWidth, kHeight, bitmap, 1);
      };
      const Bytes source = inOrder(picture);
      const auto input = InputConverterFor(format);
      const auto output = OutputConverterFor(format);
      ASSERT_TRUE(input->Init(UncompressedHeader(format, kWidth, kHeight)));
      ASSERT_TRUE(output->Init(UncompressedHeader(format, kWidth, kHeight), &sequence));
      Bytes target = inOrder(Background(format, kWidth, kHeight));
      input->SetBuffer(source.data(), order);
      output->SetBuffer(target.data(), order);
      MacroblockRecord record;
      for (int row = 0; row < kHeight / 16; ++row) {
        EXPECT_TRUE(output->Shows(row));
        for (int column = 0; column < kWidth / 16; ++column) {
          record.column = static_cast<std::int16_t>(column);
          record.row = static_cast<std::int16_t>(row);
          input->ConvertMacroblock(record);
          EXPECT_EQ(record.Block(0)[0], planes.At(Component::luma, 16 * column, 16 * row));
          EXPECT_EQ(record.Block(7)[63], planes.At(Component::cr, 8 * column + 7, 16 * row + 15));
          output->ConvertMacroblock(record);
        }
      }
      EXPECT_FALSE(output->Shows(kHeight / 16));
      Bytes expected = Background(format, kWidth, kHeight);
      Draw(planes, format, expected);
      EXPECT_TRUE(target == inOrder(expected)) << FormatName(format);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, ConvertersTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
