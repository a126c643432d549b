#include <algorithm>
#include <gtest/gtest.h>

#include "kernels/input_converter.h"
#include "kernels/output_converter.h"
#include "kernels/transform_tables.h"
#include "tests/core/codec_runs.h"
#include "tests/core/cpu_classes.h"
#include "tests/core/kernel_record.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

PictureParameters Sequence(int width, int chromaFormat) {
  PictureParameters parameters;
  parameters.width = static_cast<std::uint16_t>(width);
  parameters.height = 64;
  parameters.chromaFormat = static_cast<std::uint8_t>(chromaFormat);
  return parameters;
}

std::unique_ptr<OutputConverter> OutputConverterFor(ClientFormat format, CpuClass cpuClass) {
  if (IsRgb(format)) {
    return std::make_unique<RgbOutputConverter>(Processor{cpuClass});
  }
  return std::make_unique<PackedYuvOutputConverter>(Processor{cpuClass});
}

std::unique_ptr<InputConverter> InputConverterFor(ClientFormat format, CpuClass cpuClass) {
  if (IsRgb(format)) {
    return std::make_unique<RgbInputConverter>(Processor{cpuClass});
  }
  return std::make_unique<PackedYuvInputConverter>(Processor{cpuClass});
}

class ConvertersTest : public testing::TestWithParam<CpuClass> {};

TEST_P(ConvertersTest, OutputFormats) {
  const PictureParameters sequence = Sequence(64, 2);
  RgbOutputConverter rgb({GetParam()});
  PackedYuvOutputConverter yuv({GetParam()});
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
    const auto converter = OutputConverterFor(format, GetParam());
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
      const auto converter = OutputConverterFor(format, GetParam());
      const PictureParameters sequence = Sequence(16, chromaFormat);
      EXPECT_EQ(converter->Init(UncompressedHeader(format, 16, 16), &sequence),
                chromaFormat >= 1 && chromaFormat <= 3);
      Bytes bitmap = Background(format, 16, 16);
      converter->SetBuffer(bitmap.data());
      MacroblockRecord record;
      record.parameters = sequence;
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
    const auto converter = OutputConverterFor(format, GetParam());
    const BitmapInfoHeader header = UncompressedHeader(format, 16, 16);
    Bytes bitmap = Background(format, 16, 16);
    MacroblockRecord record;
    record.parameters = sequence;
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
    const auto converter = OutputConverterFor(format, GetParam());
    ASSERT_TRUE(converter->Init(UncompressedHeader(format, 48, 40), &sequence));
    Bytes bitmap = Background(format, 48, 40);
    converter->SetBuffer(bitmap.data());
    MacroblockRecord record;
    record.parameters = sequence;
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

// The arrangement follows either flag; the kernels themselves are compared elsewhere.
TEST_P(ConvertersTest, FrameKernelForEitherFlag) {
  const PictureParameters sequence = Sequence(16, 2);
  PackedYuvOutputConverter converter({GetParam()});
  ASSERT_TRUE(converter.Init(UncompressedHeader(ClientFormat::y16, 16, 16), &sequence));
  MacroblockRecord record;
  record.parameters = sequence;
  // Luminance 1 in the upper blocks, 2 in the lower ones.
  std::fill_n(record.coefficients.begin(), 2 * 64, std::int16_t{1});
  std::fill_n(record.coefficients.begin() + 2 * 64, 2 * 64, std::int16_t{2});
  for (int flags = 0; flags < 4; ++flags) {
    record.parameters.framePredFrameDct = static_cast<std::uint8_t>(flags & 1);
    record.parameters.frameDct = static_cast<std::uint8_t>(flags >> 1);
    Bytes bitmap(16 * 16 * 2);
    converter.SetBuffer(bitmap.data());
    converter.ConvertMacroblock(record);
    for (std::size_t row = 0; row < 16; ++row) {
      const std::size_t expected = flags == 0 ? 1 + row % 2 : 1 + row / 8;
      EXPECT_EQ(bitmap[32 * row], expected) << "flags " << flags << " row " << row;
    }
  }
}

TEST_P(ConvertersTest, InputFormatsAndSizes) {
  RgbInputConverter rgb({GetParam()});
  PackedYuvInputConverter yuv({GetParam()});
  for (const ClientFormat format : kInputFormats) {
    EXPECT_EQ(rgb.Init(UncompressedHeader(format, 64, 64)), IsRgb(format));
    EXPECT_EQ(yuv.Init(UncompressedHeader(format, 64, 64)), !IsRgb(format));
    for (const auto& [width, height] :
         {std::pair{0, 64}, std::pair{64, 0}, std::pair{-64, 64}, std::pair{64, -64}}) {
      BitmapInfoHeader header = UncompressedHeader(format, 64, 64);
      header.biWidth = width;
      header.biHeight = height;
      EXPECT_FALSE(InputConverterFor(format, GetParam())->Init(header));
      EXPECT_FALSE(OutputConverterFor(format, GetParam())->Init(header, nullptr));
    }
  }
}

// Every macroblock of a bitmap is fetched from, and goes to, its own place.
TEST_P(ConvertersTest, Places) {
  constexpr int kWidth = 80;
  constexpr int kHeight = 48;
  const PictureParameters sequence = Sequence(kWidth, 2);
  for (const ClientFormat format : kOutputFormats) {
    const Bytes source = NoiseBitmap(format, kWidth, kHeight, 7);
    const Planes planes = PlanesOf(format, kWidth, kHeight, source);
    const auto input = InputConverterFor(format, GetParam());
    const auto output = OutputConverterFor(format, GetParam());
    ASSERT_TRUE(input->Init(UncompressedHeader(format, kWidth, kHeight)));
    ASSERT_TRUE(output->Init(UncompressedHeader(format, kWidth, kHeight), &sequence));
    Bytes target = Background(format, kWidth, kHeight);
    input->SetBuffer(source.data());
    output->SetBuffer(target.data());
    MacroblockRecord record;
    record.parameters = sequence;
    for (int row = 0; row < kHeight / 16; ++row) {
      for (int column = 0; column < kWidth / 16; ++column) {
        record.column = static_cast<std::int16_t>(column);
        record.row = static_cast<std::int16_t>(row);
        input->ConvertMacroblock(record);
        EXPECT_EQ(record.Block(0)[0], planes.At(Component::luma, 16 * column, 16 * row));
        EXPECT_EQ(record.Block(7)[63], planes.At(Component::cr, 8 * column + 7, 16 * row + 15));
        output->ConvertMacroblock(record);
      }
    }
    Bytes expected = Background(format, kWidth, kHeight);
    Draw(planes, format, expected);
    EXPECT_TRUE(target == expected) << FormatName(format);
  }
}

TEST_P(ConvertersTest, DecoderTransformRunsItsKernelsInOrder) {
  DecoderTransformTable table;
  ASSERT_TRUE(table.Setup({GetParam()}));
  Random random(141);
  for (const int alternateScan : {0, 1}) {
    KernelRecord record(8);
    record.Randomise(random, Spread::small);
    record.Record().parameters.alternateScan = static_cast<std::uint8_t>(alternateScan);
    record.Record().parameters.qScaleType = 1;
    record.Record().parameters.quantiserScaleCode = 13;
    const Block before = record.Get(6);
    table.Run(record.Record());
    Block expected =
        ReferenceUnscanned(before, alternateScan != 0 ? kReferenceAlternate : kReferenceZigzag);
    for (std::size_t i = 1; i < 64; ++i) {
      expected[i] = ReferenceDequantise(expected[i], kReferenceMatrix[i], 18);
    }
    ReferenceIdct(expected);
    EXPECT_EQ(record.Get(6), expected);
  }
}

TEST_P(ConvertersTest, EncoderTransformRunsItsKernelsInOrder) {
  EncoderTransformTable table;
  ASSERT_TRUE(table.Setup({GetParam()}));
  Random random(142);
  for (const int alternateScan : {0, 1}) {
    KernelRecord record(8);
    for (std::int16_t& sample : record.Record().coefficients) {
      sample = random.Byte();
    }
    record.Record().parameters.alternateScan = static_cast<std::uint8_t>(alternateScan);
    record.Record().parameters.qScaleType = 0;
    record.Record().parameters.quantiserScaleCode = 16;
    Block expected = record.Get(2);
    table.Run(record.Record());
    ReferenceFdct(expected);
    for (std::size_t i = 1; i < 64; ++i) {
      expected[i] = ReferenceQuantise(expected[i], kReferenceMatrix[i], 22);
    }
    expected =
        ReferenceScanned(expected, alternateScan != 0 ? kReferenceAlternate : kReferenceZigzag);
    EXPECT_EQ(record.Get(2), expected);
  }
}

INSTANTIATE_TEST_SUITE_P(AllClasses, ConvertersTest, testing::ValuesIn(kCpuClasses), CpuClassName);

}  // namespace

}  // namespace qivm::test
