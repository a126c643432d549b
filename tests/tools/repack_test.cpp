#include "tools/vfwtool/repack.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "tools/vfwtool/raw_sink.h"

namespace qivm {
namespace {

using Bytes = std::vector<std::uint8_t>;

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

TEST(RawSink, WritesRgbFromTheTopDownWithoutPadding) {
  std::ostringstream stream;
  RawSink sink(stream, "raw", {PixelFormat::kRgb24, 1, 2});
  const Bytes bottomUp = {'d', 'e', 'f', '#', 'a', 'b', 'c', '#'};
  sink.Write(bottomUp);
  sink.Write(bottomUp);
  sink.Finish();
  EXPECT_EQ(stream.str(), "abcdefabcdef");
}

TEST(RawSink, WritesYuvAsItIs) {
  std::ostringstream stream;
  RawSink sink(stream, "raw", {PixelFormat::kUyvy, 2, 2});
  sink.Write(Bytes{'1', '2', '3', '4', '5', '6', '7', '8'});
  sink.Finish();
  EXPECT_EQ(stream.str(), "12345678");
}

}  // namespace
}  // namespace qivm
