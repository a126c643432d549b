#pragma once

#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/driver/pictures.h"

namespace qivm::test {

struct AviFileRelease {
  void operator()(IAVIFile* file) const { AVIFileRelease(file); }
};
using AviFile = std::unique_ptr<IAVIFile, AviFileRelease>;

struct AviStreamRelease {
  void operator()(IAVIStream* stream) const { AVIStreamRelease(stream); }
};
using AviStream = std::unique_ptr<IAVIStream, AviStreamRelease>;

/// The system's AVIFile library, for the lifetime of the object.
class AviLibrary {
 public:
  AviLibrary() { AVIFileInit(); }
  ~AviLibrary() { AVIFileExit(); }
  AviLibrary(const AviLibrary&) = delete;
  AviLibrary& operator=(const AviLibrary&) = delete;
};

/// An AVI file that AVIFile has compressed with the driver, deleted at the end.
class AviClip {
 public:
  static constexpr LONG kFrames = 4;
  static constexpr DWORD kQuality = 9500;

  /// Writes frames of MakePicture(header, frame number).
  explicit AviClip(const BITMAPINFOHEADER& header);
  ~AviClip();
  AviClip(const AviClip&) = delete;
  AviClip& operator=(const AviClip&) = delete;

  /// The file's name, without characters that a command line would have to quote.
  std::string Path() const { return path_; }
  /// The frame that was compressed.
  std::vector<std::uint8_t> Source(LONG frame) const;
  const BITMAPINFOHEADER& Header() const { return header_; }

 private:
  void Write();

  AviLibrary library_;
  BITMAPINFOHEADER header_;
  std::string path_;
};

}  // namespace qivm::test
