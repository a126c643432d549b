#pragma once

#include <windows.h>

#include <vfw.h>

#include <memory>
#include <string>

namespace qivm {

/// Keeps the AVIFile functions ready for use.
class AviFileLibrary {
 public:
  AviFileLibrary() { AVIFileInit(); }
  AviFileLibrary(const AviFileLibrary&) = delete;
  AviFileLibrary& operator=(const AviFileLibrary&) = delete;
  ~AviFileLibrary() { AVIFileExit(); }
};

struct AviFileCloser {
  void operator()(IAVIFile* file) const { AVIFileRelease(file); }
};
using AviFileHandle = std::unique_ptr<IAVIFile, AviFileCloser>;

struct AviStreamCloser {
  void operator()(IAVIStream* stream) const { AVIStreamRelease(stream); }
};
using AviStreamHandle = std::unique_ptr<IAVIStream, AviStreamCloser>;

/// Opens the AVI `name` (UTF-8) for reading, whatever its extension. A failure
/// is stored in `result`.
AviFileHandle OpenAviFile(const std::string& name, HRESULT& result);

}  // namespace qivm
