#include <windows.h>

#include <vfw.h>

#include <gtest/gtest.h>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/driver_registration.h"
#include "tests/driver/pictures.h"

namespace qivm::test {

namespace {

/// What hosts do to find a codec, with the driver registered for both of its codes.
class EnumerationTest : public ::testing::Test {
 protected:
  const DriverRegistration qivm_{"QIVM"};
  const DriverRegistration mmes_{"MMES"};
};

/// The codes of all video codecs, as the manager numbers them through.
std::vector<DWORD> ListedCodes() {
  std::vector<DWORD> codes;
  ICINFO info = {};
  info.dwSize = sizeof info;
  for (DWORD index = 0; ICInfo(ICTYPE_VIDEO, index, &info) != FALSE; ++index) {
    DWORD code = info.fccHandler;
    CharUpperBuffA(reinterpret_cast<char*>(&code), sizeof code);
    codes.push_back(code);
  }
  return codes;
}

TEST_F(EnumerationTest, BothCodesAreListedOnce) {
  const std::vector<DWORD> codes = ListedCodes();
  EXPECT_EQ(std::count(codes.begin(), codes.end(), kQivmCode), 1);
  EXPECT_EQ(std::count(codes.begin(), codes.end(), kMmesCode), 1);
}

TEST_F(EnumerationTest, EveryListedCodeOfTheDriverDescribesIt) {
  for (const DWORD code : {kQivmCode, kMmesCode}) {
    HIC const codec = ICOpen(ICTYPE_VIDEO, code, ICMODE_QUERY);
    ASSERT_NE(codec, nullptr);
    ICINFO info = {};
    EXPECT_NE(ICGetInfo(codec, &info, sizeof info), 0U);
    EXPECT_STREQ(info.szDescription, L"Norvane MPEG2 I-frames");
    EXPECT_EQ(ICClose(codec), ICERR_OK);
  }
}

TEST_F(EnumerationTest, AFileIsMatchedByItsCodeAlone) {
  for (const DWORD code : {kQivmCode, kMmesCode}) {
    BITMAPINFOHEADER stream = CompressedHeader(320, 240, code);
    for (const PixelFormat& format : {kRgb24, kRgb32, kYuy2}) {
      BITMAPINFOHEADER bitmap = Header(format, 320, 240);
      // A host that does not know the handler gives none.
      HIC const codec = ICLocate(ICTYPE_VIDEO, 0, &stream, &bitmap, ICMODE_DECOMPRESS);
      ASSERT_NE(codec, nullptr) << format.name;
      ICINFO info = {};
      EXPECT_NE(ICGetInfo(codec, &info, sizeof info), 0U);
      EXPECT_STREQ(info.szName, L"QIVM");
      EXPECT_EQ(ICClose(codec), ICERR_OK);
    }
  }
}

TEST_F(EnumerationTest, ACodecForABitmapIsFound) {
  for (const PixelFormat& format : {kRgb24, kRgb32, kYuy2}) {
    BITMAPINFOHEADER bitmap = Header(format, 320, 240);
    HIC const codec = ICLocate(ICTYPE_VIDEO, kQivmCode, &bitmap, nullptr, ICMODE_COMPRESS);
    ASSERT_NE(codec, nullptr) << format.name;
    EXPECT_EQ(ICClose(codec), ICERR_OK);
  }
}

TEST_F(EnumerationTest, AnotherCodesFileIsNotTaken) {
  BITMAPINFOHEADER stream = CompressedHeader(320, 240, MAKEFOURCC('Q', 'I', 'V', 'X'));
  EXPECT_EQ(ICLocate(ICTYPE_VIDEO, 0, &stream, nullptr, ICMODE_DECOMPRESS), nullptr);
}

}  // namespace

}  // namespace qivm::test
