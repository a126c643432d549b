#include "tools/vfwtool/media/bytes.h"

#include <gtest/gtest.h>

namespace vfwtool {
namespace {

TEST(FourCc, HasItsFirstCharacterInTheLowestByte) {
  EXPECT_EQ("YUY2"_fourcc, 0x32595559U);
  EXPECT_EQ(ParseFourCc("YUY2"), 0x32595559U);
  EXPECT_EQ(FourCcText(0x32595559), "YUY2");
}

TEST(FourCc, ShortCodesArePaddedWithBlanks) {
  EXPECT_EQ(ParseFourCc("DIB"), "DIB "_fourcc);
  EXPECT_EQ(ParseFourCc("x"), "x   "_fourcc);
}

TEST(FourCc, OnlyPrintableAsciiMakesACode) {
  EXPECT_FALSE(ParseFourCc("").has_value());
  EXPECT_FALSE(ParseFourCc("QIVM2").has_value());
  EXPECT_FALSE(ParseFourCc("Q\x1FVM").has_value());
  EXPECT_FALSE(ParseFourCc("\xC3\xA4").has_value());
  EXPECT_EQ(FourCcText(1), "0x00000001");
  EXPECT_EQ(FourCcText(0x7F595559), "0x7F595559");
}

TEST(LittleEndian, LeadsBack) {
  Bytes bytes;
  AppendLittleEndian16(bytes, 0x1234);
  AppendLittleEndian32(bytes, 0x89ABCDEF);
  AppendLittleEndian64(bytes, 0x0123456789ABCDEF);
  EXPECT_EQ(bytes[0], 0x34);
  EXPECT_EQ(ReadLittleEndian16(bytes, 0), 0x1234);
  EXPECT_EQ(ReadLittleEndian32(bytes, 2), 0x89ABCDEF);
  EXPECT_EQ(ReadLittleEndian64(bytes, 6), 0x0123456789ABCDEF);
  StoreLittleEndian32(bytes, 1, 0xFEDCBA98);
  EXPECT_EQ(ReadLittleEndian32(bytes, 1), 0xFEDCBA98);
}

}  // namespace
}  // namespace vfwtool
