#include "kernels/client_format.h"

#include <gtest/gtest.h>

#include "tests/support/client_pictures.h"

namespace qivm::test {

namespace {

TEST(ClientFormat, FourCharacterCodes) {
  EXPECT_EQ(kQivm, 0x4D564951U);
  EXPECT_EQ(kMmes, 0x53454D4DU);
  EXPECT_EQ(kYuy2, 0x32595559U);
  EXPECT_EQ(kUyvy, 0x59565955U);
  EXPECT_EQ(kYvyu, 0x55595659U);
  EXPECT_EQ(kY16, 0x00363159U);
  EXPECT_EQ(kY16A, 0x41363159U);
}

TEST(ClientFormat, EveryFormatHasItsPair) {
  for (const ClientFormat format : kInputFormats) {
    const BitmapInfoHeader header = UncompressedHeader(format, 16, 16);
    EXPECT_TRUE(UncompressedFormatOk(header));
    EXPECT_EQ(ClientFormatOf(header), format) << FormatName(format);
    EXPECT_EQ(IsRgb(format), header.biCompression == 0);
  }
}

TEST(ClientFormat, NoOtherPairIsOne) {
  int accepted = 0;
  for (const FourCC code : {kBiRgb, kYuy2, kUyvy, kYvyu, kY16, kY16A, kQivm, kMmes, FourCC{1},
                            FourCC{3}, MakeFourCC('y', 'u', 'y', '2'), FourCC{0xFFFFFFFF}}) {
    for (std::uint16_t bits = 0; bits <= 64; ++bits) {
      BitmapInfoHeader header;
      header.biCompression = code;
      header.biBitCount = bits;
      accepted += UncompressedFormatOk(header) ? 1 : 0;
      EXPECT_EQ(UncompressedFormatOk(header), ClientFormatOf(header).has_value());
    }
  }
  EXPECT_EQ(accepted, 7);
}

}  // namespace

}  // namespace qivm::test
