#include "platform/four_cc.h"

#include <gtest/gtest.h>

namespace qivm {
namespace {

TEST(FourCC, HasItsFirstCharacterInTheLowestByte) {
  EXPECT_EQ(MakeFourCC('Q', 'I', 'V', 'M'), 0x4D564951U);
  EXPECT_EQ(MakeFourCC('\xff', '\x80', '\0', '!'), 0x210080FFU);
}

TEST(UpperCaseFourCC, ChangesTheLettersOfAsciiAlone) {
  EXPECT_EQ(UpperCaseFourCC(MakeFourCC('q', 'I', 'v', 'm')), kQivm);
  EXPECT_EQ(UpperCaseFourCC(MakeFourCC('a', 'z', '`', '{')), MakeFourCC('A', 'Z', '`', '{'));
  EXPECT_EQ(UpperCaseFourCC(MakeFourCC('\xe4', 'b', 'c', '1')), MakeFourCC('\xe4', 'B', 'C', '1'));
}

TEST(UpperCaseFourCC, EndsAtANul) {
  EXPECT_EQ(UpperCaseFourCC(MakeFourCC('a', '\0', 'b', 'c')), MakeFourCC('A', '\0', 'b', 'c'));
  EXPECT_EQ(UpperCaseFourCC(0), 0U);
}

}  // namespace
}  // namespace qivm
