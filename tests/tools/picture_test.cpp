#include "tools/vfwtool/media/picture.h"

#include <gtest/gtest.h>

namespace vfwtool {
namespace {

TEST(PixelFormat, NamesAndHeaderFieldsLeadBack) {
  for (const PixelFormat format :
       {PixelFormat::kYuy2, PixelFormat::kUyvy, PixelFormat::kRgb24, PixelFormat::kRgb32}) {
    EXPECT_EQ(ParsePixelFormat(PixelFormatName(format)), format);
    EXPECT_EQ(PixelFormatOf(PixelFormatCompression(format), PixelFormatBits(format)), format);
  }
  EXPECT_EQ(PixelFormatOf("UYVY"_fourcc, 16), PixelFormat::kUyvy);
  EXPECT_EQ(PixelFormatOf(0, 24), PixelFormat::kRgb24);
  EXPECT_FALSE(PixelFormatOf(0, 16).has_value());
  EXPECT_FALSE(PixelFormatOf("YUY2"_fourcc, 24).has_value());
  EXPECT_FALSE(PixelFormatOf("MJPG"_fourcc, 24).has_value());
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

Bytes Repacked(const FrameLayout& from, const Bytes& source, PixelFormat to) {
  // Filled, so that a byte that is not written shows.
  Bytes target(FrameLayout{to, from.width, from.height}.FrameBytes(), 0xCC);
  Repack(from, source, to, target);
  return target;
}

TEST(Repack, KeepsToItsKind) {
  EXPECT_TRUE(CanRepack(PixelFormat::kYuy2, PixelFormat::kUyvy));
  EXPECT_TRUE(CanRepack(PixelFormat::kRgb32, PixelFormat::kRgb24));
  EXPECT_FALSE(CanRepack(PixelFormat::kYuy2, PixelFormat::kRgb24));
  EXPECT_FALSE(CanRepack(PixelFormat::kRgb32, PixelFormat::kUyvy));
}

TEST(Repack, SwapsTheBytesOfPackedYuv) {
  const Bytes yuy2 = {1, 2, 3, 4, 5, 6, 7, 8};
  const Bytes uyvy = {2, 1, 4, 3, 6, 5, 8, 7};
  EXPECT_EQ(Repacked({PixelFormat::kYuy2, 2, 2}, yuy2, PixelFormat::kUyvy), uyvy);
  EXPECT_EQ(Repacked({PixelFormat::kUyvy, 2, 2}, uyvy, PixelFormat::kYuy2), yuy2);
  EXPECT_EQ(Repacked({PixelFormat::kUyvy, 2, 2}, uyvy, PixelFormat::kUyvy), uyvy);
}

TEST(Repack, WidensAndNarrowsRgbRowByRow) {
  // 3 pixels of 24 bits a row leave 3 bytes of padding.
  const Bytes rgb24 = {1,  2,  3,  4,  5,  6,  7,  8,  9,  99, 99, 99,
                       11, 12, 13, 14, 15, 16, 17, 18, 19, 99, 99, 99};
  const Bytes rgb32 = {1,  2,  3,  0, 4,  5,  6,  0, 7,  8,  9,  0,
                       11, 12, 13, 0, 14, 15, 16, 0, 17, 18, 19, 0};
  Bytes rgb24WithoutPadding = rgb24;
  for (std::uint8_t& byte : rgb24WithoutPadding) {
    byte = byte == 99 ? 0 : byte;
  }
  EXPECT_EQ(Repacked({PixelFormat::kRgb24, 3, 2}, rgb24, PixelFormat::kRgb32), rgb32);
  EXPECT_EQ(Repacked({PixelFormat::kRgb32, 3, 2}, rgb32, PixelFormat::kRgb24), rgb24WithoutPadding);
}

TEST(Repack, InterleavesPlanesAndTakesThemApart) {
  Bytes y = {10, 11, 12, 13, 14, 15, 16, 17};
  Bytes u = {20, 21, 22, 23};
  Bytes v = {30, 31, 32, 33};
  const Bytes packed = {10, 20, 11, 30, 12, 21, 13, 31, 14, 22, 15, 32, 16, 23, 17, 33};
  Bytes result(packed.size());
  PackYuy2({y, u, v}, 4, 2, result);
  EXPECT_EQ(result, packed);
  Bytes y2(8);
  Bytes u2(4);
  Bytes v2(4);
  UnpackYuy2(packed, 4, 2, {y2, u2, v2});
  EXPECT_EQ(y2, y);
  EXPECT_EQ(u2, u);
  EXPECT_EQ(v2, v);
}

TEST(Repack, FlipsRows) {
  Bytes picture = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0};
  FlipRows({PixelFormat::kRgb24, 1, 3}, picture);
  EXPECT_EQ(picture, (Bytes{7, 8, 9, 0, 4, 5, 6, 0, 1, 2, 3, 0}));
}

TEST(FillBlack, GivesTheBlackOfEveryFormat) {
  Bytes picture(4, 99);
  FillBlack({PixelFormat::kYuy2, 2, 1}, picture);
  EXPECT_EQ(picture, (Bytes{16, 128, 16, 128}));
  FillBlack({PixelFormat::kUyvy, 2, 1}, picture);
  EXPECT_EQ(picture, (Bytes{128, 16, 128, 16}));
  FillBlack({PixelFormat::kRgb32, 1, 1}, picture);
  EXPECT_EQ(picture, (Bytes{0, 0, 0, 0}));
}

}  // namespace
}  // namespace vfwtool
