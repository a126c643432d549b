#include "tests/hosts/avi_clip.h"

#include <array>
#include <gtest/gtest.h>
#include <stdexcept>

#include "tests/driver/driver_module.h"

namespace qivm::test {

namespace {

void Require(HRESULT result, const char* what) {
  if (result != AVIERR_OK) {
    throw std::runtime_error(std::string(what) + " failed: " + std::to_string(result));
  }
}

}  // namespace

AviClip::AviClip(const BITMAPINFOHEADER& header) : header_(header) {
  std::array<char, MAX_PATH> folder = {};
  GetTempPathA(folder.size(), folder.data());
  path_ = folder.data() + ("qivm" + std::to_string(GetCurrentProcessId()) + ".avi");
  Write();
}

AviClip::~AviClip() {
  // A player that still has the file open would show here.
  EXPECT_NE(DeleteFileA(path_.c_str()), FALSE) << path_;
}

void AviClip::Write() {
  IAVIFile* openedFile = nullptr;
  Require(AVIFileOpenA(&openedFile, path_.c_str(), OF_CREATE | OF_WRITE, nullptr), "AVIFileOpen");
  const AviFile file(openedFile);

  AVISTREAMINFOA information = {};
  information.fccType = streamtypeVIDEO;
  information.dwScale = 1;
  information.dwRate = 25;
  information.dwSuggestedBufferSize = header_.biSizeImage;
  information.rcFrame = {0, 0, header_.biWidth, header_.biHeight};
  IAVIStream* createdStream = nullptr;
  Require(AVIFileCreateStreamA(file.get(), &createdStream, &information), "AVIFileCreateStream");
  const AviStream stream(createdStream);

  AVICOMPRESSOPTIONS options = {};
  options.fccType = streamtypeVIDEO;
  options.fccHandler = kQivmCode;
  options.dwQuality = kQuality;
  options.dwFlags = AVICOMPRESSF_VALID;
  IAVIStream* compressedStream = nullptr;
  Require(AVIMakeCompressedStream(&compressedStream, stream.get(), &options, nullptr),
          "AVIMakeCompressedStream");
  const AviStream compressed(compressedStream);
  Require(AVIStreamSetFormat(compressed.get(), 0, &header_, sizeof header_), "AVIStreamSetFormat");
  for (LONG frame = 0; frame < kFrames; ++frame) {
    std::vector<std::uint8_t> picture = Source(frame);
    Require(AVIStreamWrite(compressed.get(), frame, 1, picture.data(),
                           static_cast<LONG>(picture.size()), AVIIF_KEYFRAME, nullptr, nullptr),
            "AVIStreamWrite");
  }
}

std::vector<std::uint8_t> AviClip::Source(LONG frame) const {
  return MakePicture(header_, static_cast<unsigned>(frame));
}

}  // namespace qivm::test
