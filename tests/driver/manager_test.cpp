#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/driver_registration.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/wine.h"

namespace qivm::test {

namespace {

/// The driver as hosts see it: through the compression manager alone.
class ManagerTest : public ::testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(GetModuleHandleA("qivm.dll"), nullptr) << "the manager still has the driver loaded";
  }

  const DriverRegistration registration_{"QIVM"};
};

/// A codec handle that is closed at the end of its scope.
class OpenCodec {
 public:
  explicit OpenCodec(HIC handle) : handle_(handle) { EXPECT_NE(handle, nullptr); }
  explicit OpenCodec(UINT mode) : OpenCodec(ICOpen(ICTYPE_VIDEO, kQivmCode, mode)) {}
  ~OpenCodec() { EXPECT_EQ(ICClose(handle_), ICERR_OK); }
  OpenCodec(const OpenCodec&) = delete;
  OpenCodec& operator=(const OpenCodec&) = delete;
  HIC Get() const { return handle_; }

 private:
  HIC handle_;
};

TEST_F(ManagerTest, TheDriverIsListed) {
  ICINFO info = {};
  info.dwSize = sizeof(info);
  EXPECT_NE(ICInfo(ICTYPE_VIDEO, kQivmCode, &info), FALSE);
  // The manager names it as it is registered.
  DWORD code = info.fccHandler;
  CharUpperBuffA(reinterpret_cast<char*>(&code), sizeof(code));
  EXPECT_EQ(code, kQivmCode);
}

TEST_F(ManagerTest, InformationOfAnOpenCodec) {
  const OpenCodec codec(ICMODE_COMPRESS);
  ICINFO info = {};
  EXPECT_NE(ICGetInfo(codec.Get(), &info, sizeof(info)), 0U);
  EXPECT_EQ(info.fccHandler, kQivmCode);
  EXPECT_STREQ(info.szName, L"QIVM");
  EXPECT_STREQ(info.szDescription, L"Norvane MPEG2 I-frames");
  EXPECT_NE(info.dwFlags & VIDCF_QUALITY, 0U);
  EXPECT_EQ(ICGetDefaultQuality(codec.Get()), 8000U);
  EXPECT_TRUE(ICQueryAbout(codec.Get()));
  EXPECT_TRUE(ICQueryConfigure(codec.Get()));
  EXPECT_EQ(ICGetStateSize(codec.Get()), 1096U);
}

TEST_F(ManagerTest, TheCodecIsFoundByItsStream) {
  BITMAPINFOHEADER stream = CompressedHeader(320, 240);
  const OpenCodec alone(ICLocate(ICTYPE_VIDEO, 0, &stream, nullptr, ICMODE_DECOMPRESS));
  BITMAPINFOHEADER bitmap = Header(kRgb24, 320, 240);
  const OpenCodec withOutput(
      ICLocate(ICTYPE_VIDEO, kQivmCode, &stream, &bitmap, ICMODE_DECOMPRESS));
}

TEST_F(ManagerTest, TheCodecIsFoundForABitmap) {
  BITMAPINFOHEADER bitmap = Header(kYuy2, 320, 240);
  const OpenCodec codec(ICLocate(ICTYPE_VIDEO, kQivmCode, &bitmap, nullptr, ICMODE_COMPRESS));
}

/// Compresses through one handle and decompresses through another, as hosts do, and returns the
/// picture.
std::vector<std::uint8_t> RoundTrip(HIC compressor, HIC decompressor, BITMAPINFOHEADER bitmap,
                                    GuardedBuffer& input) {
  EXPECT_EQ(ICCompressQuery(compressor, &bitmap, nullptr), ICERR_OK);
  const auto formatSize = static_cast<std::size_t>(ICCompressGetFormatSize(compressor, &bitmap));
  EXPECT_EQ(formatSize, 252U);
  std::vector<std::uint8_t> format(formatSize);
  auto* const stream = reinterpret_cast<BITMAPINFOHEADER*>(format.data());
  EXPECT_EQ(ICCompressGetFormat(compressor, &bitmap, stream), ICERR_OK);
  EXPECT_EQ(ICCompressQuery(compressor, &bitmap, stream), ICERR_OK);
  const auto largest = static_cast<std::size_t>(ICCompressGetSize(compressor, &bitmap, stream));
  EXPECT_EQ(largest, static_cast<std::size_t>(bitmap.biWidth * bitmap.biHeight * 3));
  GuardedBuffer output(largest);
  EXPECT_EQ(ICCompressBegin(compressor, &bitmap, stream), ICERR_OK);
  DWORD chunkId = 0;
  DWORD flags = 0;
  EXPECT_EQ(ICCompress(compressor, ICCOMPRESS_KEYFRAME, stream, output.Data(), &bitmap,
                       input.Data(), &chunkId, &flags, 0, 0, 8000, nullptr, nullptr),
            DWORD{ICERR_OK});
  EXPECT_EQ(flags, DWORD{AVIIF_KEYFRAME});
  EXPECT_EQ(ICCompressEnd(compressor), ICERR_OK);

  EXPECT_EQ(ICDecompressQuery(decompressor, stream, nullptr), ICERR_OK);
  BITMAPINFOHEADER suggested = {};
  EXPECT_EQ(ICDecompressGetFormat(decompressor, stream, &suggested), ICERR_OK);
  EXPECT_EQ(suggested.biBitCount, 32U);
  EXPECT_EQ(ICDecompressQuery(decompressor, stream, &bitmap), ICERR_OK);
  EXPECT_EQ(ICDecompressBegin(decompressor, stream, &bitmap), ICERR_OK);
  GuardedBuffer frame(stream->biSizeImage);
  frame.Fill(output.Bytes().first(stream->biSizeImage));
  frame.Protect(GuardedBuffer::Access::read);
  GuardedBuffer picture(BitmapBytes(bitmap));
  EXPECT_EQ(ICDecompress(decompressor, 0, stream, frame.Data(), &bitmap, picture.Data()),
            DWORD{ICERR_OK});
  EXPECT_EQ(ICDecompressEnd(decompressor), ICERR_OK);
  EXPECT_TRUE(output.GapsIntact());
  EXPECT_TRUE(picture.GapsIntact());
  return {picture.Data(), picture.Data() + picture.Size()};
}

class ManagerRoundTripTest : public ManagerTest,
                             public ::testing::WithParamInterface<PixelFormat> {};

INSTANTIATE_TEST_SUITE_P(Formats, ManagerRoundTripTest, ::testing::Values(kRgb24, kRgb32, kYuy2),
                         PixelFormatName());

TEST_P(ManagerRoundTripTest, PictureIsKept) {
  const BITMAPINFOHEADER bitmap = Header(GetParam(), 720, 576);
  const auto picture = MakePicture(bitmap);
  GuardedBuffer input(picture.size());
  input.Fill(picture);
  input.Protect(GuardedBuffer::Access::read);
  const OpenCodec compressor(ICMODE_COMPRESS);
  const OpenCodec decompressor(ICMODE_DECOMPRESS);
  const auto first = RoundTrip(compressor.Get(), decompressor.Get(), bitmap, input);
  EXPECT_GT(Psnr(bitmap, picture, first), GetParam().compression == BI_RGB ? 32.0 : 40.0);
  EXPECT_EQ(RoundTrip(compressor.Get(), decompressor.Get(), bitmap, input), first);
  EXPECT_TRUE(std::ranges::equal(input.Bytes(), picture));
}

DRIVERPROC g_entryPoint = nullptr;

/// The entry point for one instance, whose id it keeps: wine's manager keeps no more than 32 bits
/// of what an installed function answers to DRV_OPEN.
LRESULT CALLBACK WithShortId(DWORD_PTR id, HDRVR handle, UINT message, LPARAM parameter1,
                             LPARAM parameter2) {
  static DWORD_PTR longId = 0;
  constexpr DWORD_PTR kShortId = 1;
  const LRESULT result =
      g_entryPoint(id == kShortId ? longId : id, handle, message, parameter1, parameter2);
  if (message == DRV_OPEN && result != 0) {
    longId = static_cast<DWORD_PTR>(result);
    return static_cast<LRESULT>(kShortId);
  }
  return result;
}

TEST(ManagerFunctionTest, AHostCanInstallTheEntryPointItself) {
  const DriverModule driver;
  g_entryPoint = driver.Function();
  const DRIVERPROC entryPoint = IsWine() ? &WithShortId : g_entryPoint;
  ASSERT_NE(ICInstall(ICTYPE_VIDEO, kQivmCode, reinterpret_cast<LPARAM>(entryPoint), nullptr,
                      ICINSTALL_FUNCTION),
            FALSE);
  {
    const BITMAPINFOHEADER bitmap = Header(kRgb24, 64, 48);
    const auto picture = MakePicture(bitmap);
    GuardedBuffer input(picture.size());
    input.Fill(picture);
    const OpenCodec codec(ICMODE_COMPRESS);
    EXPECT_GT(Psnr(bitmap, picture, RoundTrip(codec.Get(), codec.Get(), bitmap, input)), 32.0);
  }
  EXPECT_NE(ICRemove(ICTYPE_VIDEO, kQivmCode, 0), FALSE);
}

TEST_F(ManagerTest, CodecsAreOpenedAndClosedManyTimes) {
  for (int i = 0; i < 20; ++i) {
    const OpenCodec codec(i % 2 == 0 ? ICMODE_COMPRESS : ICMODE_DECOMPRESS);
    BITMAPINFOHEADER bitmap = Header(kRgb24, 320, 240);
    if (i % 2 == 0) {
      EXPECT_EQ(ICCompressQuery(codec.Get(), &bitmap, nullptr), ICERR_OK);
    }
  }
}

}  // namespace

}  // namespace qivm::test
