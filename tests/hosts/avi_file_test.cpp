#include <windows.h>

#include <vfw.h>

#include <gtest/gtest.h>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/driver_registration.h"
#include "tests/driver/pictures.h"
#include "tests/hosts/avi_clip.h"

namespace qivm::test {

namespace {

/// AVIFile writes a clip in one format and reads it in another. Wine's compresses RGB only.
struct Formats {
  const char* name;
  PixelFormat written;
  PixelFormat read;
};

class AviFileTest : public ::testing::TestWithParam<Formats> {
 protected:
  const DriverRegistration registration_{"QIVM"};
};

AviStream OpenStream(const AviClip& clip) {
  IAVIStream* stream = nullptr;
  EXPECT_EQ(
      AVIStreamOpenFromFileA(&stream, clip.Path().c_str(), streamtypeVIDEO, 0, OF_READ, nullptr),
      AVIERR_OK);
  return AviStream(stream);
}

TEST_P(AviFileTest, FramesComeBackInAnyOrder) {
  const AviClip clip(Header(GetParam().written, 352, 288));
  const AviStream stream = OpenStream(clip);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(AVIStreamLength(stream.get()), AviClip::kFrames);

  BITMAPINFOHEADER wanted = Header(GetParam().read, 352, 288);
  IGetFrame* const frames = AVIStreamGetFrameOpen(stream.get(), &wanted);
  ASSERT_NE(frames, nullptr);
  for (const LONG frame : {0, 1, 2, 3, 0, 3, 1}) {
    const auto* const bitmap =
        static_cast<const BITMAPINFOHEADER*>(AVIStreamGetFrame(frames, frame));
    ASSERT_NE(bitmap, nullptr) << frame;
    EXPECT_EQ(bitmap->biCompression, wanted.biCompression);
    EXPECT_EQ(bitmap->biBitCount, wanted.biBitCount);
    const auto* const pixels = reinterpret_cast<const std::uint8_t*>(bitmap) + bitmap->biSize;
    const std::vector<std::uint8_t> source = MakePicture(wanted, static_cast<unsigned>(frame));
    EXPECT_GT(Psnr(wanted, source, {pixels, source.size()}), 34.0) << frame;
  }
  EXPECT_EQ(AVIStreamGetFrameClose(frames), AVIERR_OK);
}

TEST_P(AviFileTest, TheFileSaysWhatIsInIt) {
  const AviClip clip(Header(GetParam().written, 352, 288));
  const AviStream stream = OpenStream(clip);
  ASSERT_NE(stream, nullptr);
  AVISTREAMINFOA information = {};
  ASSERT_EQ(AVIStreamInfoA(stream.get(), &information, sizeof information), AVIERR_OK);
  EXPECT_EQ(information.fccType, streamtypeVIDEO);

  LONG size = 0;
  ASSERT_EQ(AVIStreamReadFormat(stream.get(), 0, nullptr, &size), AVIERR_OK);
  EXPECT_EQ(size, 252);
  std::vector<std::uint8_t> format(static_cast<std::size_t>(size));
  ASSERT_EQ(AVIStreamReadFormat(stream.get(), 0, format.data(), &size), AVIERR_OK);
  const auto* const header = reinterpret_cast<const BITMAPINFOHEADER*>(format.data());
  EXPECT_EQ(header->biCompression, kQivmCode);
  EXPECT_EQ(header->biWidth, 352);
  EXPECT_EQ(header->biHeight, 288);
  for (LONG frame = 0; frame < AviClip::kFrames; ++frame) {
    EXPECT_NE(AVIStreamIsKeyFrame(stream.get(), frame), FALSE) << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, AviFileTest,
                         ::testing::Values(Formats{"Rgb24ToRgb24", kRgb24, kRgb24},
                                           Formats{"Rgb24ToRgb32", kRgb24, kRgb32},
                                           Formats{"Rgb32ToRgb24", kRgb32, kRgb24}),
                         PixelFormatName());

}  // namespace

}  // namespace qivm::test
