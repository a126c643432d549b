#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/ui/window.h"

namespace qivm::test {

/// What part of a window a picture shows.
enum class WindowPart { whole, client };

/// A copy of what a window shows: a bottom-up 32-bit bitmap.
class WindowPicture {
 public:
  /// Waits until the window is drawn. `whole` has its caption and border too.
  explicit WindowPicture(const Window& window, WindowPart part = WindowPart::whole);

  const BITMAPINFOHEADER& Header() const { return header_; }
  const std::vector<DWORD>& Pixels() const { return pixels_; }

  /// Writes a BMP file.
  void Save(const std::string& path) const;

 private:
  BITMAPINFOHEADER header_ = {};
  std::vector<DWORD> pixels_;
};

}  // namespace qivm::test
