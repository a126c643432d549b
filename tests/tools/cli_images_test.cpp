// What vfwtool.exe writes as picture files is read back by Windows.

#include <windows.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <wincodec.h>

#include "tests/tools/cli_clips.h"
#include "tests/tools/cli_run.h"
#include "tests/tools/temporary_file.h"
#include "tools/vfwtool/media/picture.h"
#include "tools/vfwtool/media/picture_files.h"

namespace vfwtool {
namespace {

/// Reads a picture file as 24-bit colours, its rows from the bottom up. Objects live as long as the
/// process: it is a test.
Picture ReadImage(const std::string& name, const FrameLayout& layout) {
  Picture picture(layout.FrameBytes());
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  IWICImagingFactory* factory = nullptr;
  IWICBitmapDecoder* decoder = nullptr;
  IWICBitmapFrameDecode* frame = nullptr;
  WICPixelFormatGUID format{};
  UINT width = 0;
  UINT height = 0;
  EXPECT_EQ(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IWICImagingFactory, reinterpret_cast<void**>(&factory)),
            S_OK);
  const HRESULT opened = factory->CreateDecoderFromFilename(
      PathOf(name).c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand, &decoder);
  if (FAILED(opened)) {
    ADD_FAILURE() << name << " is no picture file";
    return picture;
  }
  EXPECT_EQ(decoder->GetFrame(0, &frame), S_OK);
  EXPECT_EQ(frame->GetSize(&width, &height), S_OK);
  EXPECT_EQ(width, layout.width);
  EXPECT_EQ(height, layout.height);
  EXPECT_EQ(frame->GetPixelFormat(&format), S_OK);
  EXPECT_EQ(format, GUID_WICPixelFormat24bppBGR);
  EXPECT_EQ(frame->CopyPixels(nullptr, static_cast<UINT>(layout.RowBytes()),
                              static_cast<UINT>(picture.size()), picture.data()),
            S_OK);
  frame->Release();
  decoder->Release();
  factory->Release();
  FlipRows(layout, picture);
  return picture;
}

TEST(CliImages, HoldThePicturesOfTheClip) {
  const ClipFormat format{{PixelFormat::kRgb32, 24, 16}, {25, 1}};
  const FrameLayout rgb24{PixelFormat::kRgb24, 24, 16};
  std::vector<Picture> pictures = TestPictures(format.layout, 2);
  const TemporaryFile source(".avi");
  const TemporaryFile recorded(".avi");
  StoreAvi(source.Name(), format, pictures);
  ExpectSuccess(RunCli({"record", source.Name(), "-o", recorded.Name(), "--codec", "STOR"}));
  for (const char* const extension : {".png", ".bmp"}) {
    const TemporaryFile file(extension);
    // The test codec gives what it was given: 32 bits. PNG files have 24 all the same.
    ExpectSuccess(RunCli({"play", recorded.Name(), "-o", file.Name(), "--format", "rgb32"}));
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      const std::string name = NumberedName(file.Name(), i + 1);
      if (std::string(extension) == ".png") {
        Picture expected(rgb24.FrameBytes());
        Repack(format.layout, pictures[i], PixelFormat::kRgb24, expected);
        EXPECT_EQ(ReadImage(name, rgb24), expected);
      } else {
        EXPECT_EQ(FileBytes(name), 54 + format.layout.FrameBytes());
      }
      std::filesystem::remove(PathOf(name));
    }
  }
  ExpectFailure(RunCli({"play", recorded.Name(), "-o", "x.png", "--format", "yuy2"}),
                ExitCode::kUsage, "PNG and BMP files hold RGB pictures, not yuy2");
  ExpectFailure(
      RunCli({"play", recorded.Name(), "-o", "no-such-folder\\x.png", "--format", "rgb32"}),
      ExitCode::kOutput, "no-such-folder\\x-000001.png: cannot be created");
}

}  // namespace
}  // namespace vfwtool
