#pragma once

#include <windows.h>

#include <cstddef>

#include "kernels/client_format.h"

namespace qivm {

// The core's own header type stands for the system's: same size, same place of every field.
static_assert(sizeof(BitmapInfoHeader) == sizeof(BITMAPINFOHEADER));
static_assert(offsetof(BitmapInfoHeader, biSize) == offsetof(BITMAPINFOHEADER, biSize));
static_assert(offsetof(BitmapInfoHeader, biWidth) == offsetof(BITMAPINFOHEADER, biWidth));
static_assert(offsetof(BitmapInfoHeader, biHeight) == offsetof(BITMAPINFOHEADER, biHeight));
static_assert(offsetof(BitmapInfoHeader, biPlanes) == offsetof(BITMAPINFOHEADER, biPlanes));
static_assert(offsetof(BitmapInfoHeader, biBitCount) == offsetof(BITMAPINFOHEADER, biBitCount));
static_assert(offsetof(BitmapInfoHeader, biCompression) ==
              offsetof(BITMAPINFOHEADER, biCompression));
static_assert(offsetof(BitmapInfoHeader, biSizeImage) == offsetof(BITMAPINFOHEADER, biSizeImage));
static_assert(offsetof(BitmapInfoHeader, biXPelsPerMeter) ==
              offsetof(BITMAPINFOHEADER, biXPelsPerMeter));
static_assert(offsetof(BitmapInfoHeader, biYPelsPerMeter) ==
              offsetof(BITMAPINFOHEADER, biYPelsPerMeter));
static_assert(offsetof(BitmapInfoHeader, biClrUsed) == offsetof(BITMAPINFOHEADER, biClrUsed));
static_assert(offsetof(BitmapInfoHeader, biClrImportant) ==
              offsetof(BITMAPINFOHEADER, biClrImportant));

/// A host's header as the core sees it.
inline BitmapInfoHeader* CoreHeader(BITMAPINFOHEADER* header) {
  return reinterpret_cast<BitmapInfoHeader*>(header);
}

/// A header passed as a message parameter; null stays null.
inline const BitmapInfoHeader* HeaderParameter(LPARAM parameter) {
  return reinterpret_cast<const BitmapInfoHeader*>(parameter);
}

}  // namespace qivm
