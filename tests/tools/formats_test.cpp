#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/four_cc.h"
#include "tools/vfwtool/pixel_format.h"

namespace qivm {
namespace {

TEST(FourCc, HasItsFirstCharacterInTheLowestByte) {
  EXPECT_EQ(MakeFourCc("YUY2"), 0x32595559U);
  EXPECT_EQ(ParseFourCc("YUY2"), 0x32595559U);
  EXPECT_EQ(FourCcText(0x32595559), "YUY2");
}

TEST(FourCc, ShortCodesArePaddedWithBlanks) {
  EXPECT_EQ(ParseFourCc("DIB"), MakeFourCc("DIB "));
  EXPECT_EQ(ParseFourCc("x"), MakeFourCc("x   "));
}

TEST(FourCc, OnlyPrintableAsciiMakesACode) {
  EXPECT_FALSE(ParseFourCc("").has_value());
  EXPECT_FALSE(ParseFourCc("QIVM2").has_value());
  EXPECT_FALSE(ParseFourCc("Q\x1FVM").has_value());
  EXPECT_FALSE(ParseFourCc("\xC3\xA4").has_value());
  EXPECT_EQ(FourCcText(1), "0x00000001");
  EXPECT_EQ(FourCcText(0x7F595559), "0x7F595559");
}

TEST(PixelFormat, NamesAndHeaderFieldsLeadBack) {
  for (const PixelFormat format :
       {PixelFormat::kYuy2, PixelFormat::kUyvy, PixelFormat::kRgb24, PixelFormat::kRgb32}) {
    EXPECT_EQ(ParsePixelFormat(PixelFormatName(format)), format);
    EXPECT_EQ(PixelFormatOf(PixelFormatCompression(format), PixelFormatBits(format)), format);
  }
  EXPECT_EQ(PixelFormatOf(MakeFourCc("UYVY"), 16), PixelFormat::kUyvy);
  EXPECT_EQ(PixelFormatOf(0, 24), PixelFormat::kRgb24);
  EXPECT_FALSE(PixelFormatOf(0, 16).has_value());
  EXPECT_FALSE(PixelFormatOf(MakeFourCc("YUY2"), 24).has_value());
  EXPECT_FALSE(PixelFormatOf(MakeFourCc("MJPG"), 24).has_value());
  EXPECT_FALSE(ParsePixelFormat("YUY2").has_value());
}

TEST(FrameLayout, RowsTakeMultiplesOfFourBytes) {
  const FrameLayout odd{PixelFormat::kRgb24, 5, 3};
  EXPECT_EQ(odd.PixelBytesPerRow(), 15U);
  EXPECT_EQ(odd.RowBytes(), 16U);
  EXPECT_EQ(odd.FrameBytes(), 48U);
  EXPECT_EQ((FrameLayout{PixelFormat::kYuy2, 720, 576}.FrameBytes()), 829440U);
  EXPECT_EQ((FrameLayout{PixelFormat::kRgb32, 720, 576}.FrameBytes()), 1658880U);
}

TEST(FrameRate, IsAFraction) {
  EXPECT_EQ((FrameRate{25, 1}.Text()), "25");
  EXPECT_EQ((FrameRate{50, 2}.Text()), "25");
  EXPECT_EQ((FrameRate{30000, 1001}.Text()), "30000/1001 (29.97)");
  EXPECT_DOUBLE_EQ((FrameRate{15, 2}.PerSecond()), 7.5);
}

TEST(BitmapFormat, IsABitmapHeader) {
  const std::vector<std::uint8_t> format = MakeBitmapFormat({PixelFormat::kUyvy, 720, 576});
  const std::vector<std::uint8_t> expected = {
      40, 0,    0,    0, 0xD0, 2, 0, 0, 0x40, 2, 0, 0, 1, 0, 16, 0, 'U', 'Y', 'V', 'Y',
      0,  0xA8, 0x0C, 0, 0,    0, 0, 0, 0,    0, 0, 0, 0, 0, 0,  0, 0,   0,   0,   0};
  EXPECT_EQ(format, expected);
}

TEST(BitmapFormat, ReadsWhatItWrites) {
  const BitmapFormat format = ReadBitmapFormat(MakeBitmapFormat({PixelFormat::kRgb24, 714, 2800}));
  EXPECT_EQ(format.width, 714);
  EXPECT_EQ(format.height, 2800);
  EXPECT_EQ(format.bits, 24);
  EXPECT_EQ(format.compression, 0U);
}

TEST(BitmapFormat, HeightsMayBeNegative) {
  std::vector<std::uint8_t> format = MakeBitmapFormat({PixelFormat::kRgb32, 16, 16});
  format[8] = 0xF0;
  format[9] = format[10] = format[11] = 0xFF;
  EXPECT_EQ(ReadBitmapFormat(format).height, -16);
}

}  // namespace
}  // namespace qivm
