#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/client_format.h"

namespace qivm {

/// Where the pixels of a client's bitmap are. RGB bitmaps are bottom-up (the picture's top row is
/// the last in memory), the packed YUV ones top-down; rows follow each other without padding.
class ClientBitmap {
 public:
  static constexpr int kMacroblockSize = 16;

  /// Takes the bitmap's size from its header. False for a size of zero or below, or one whose
  /// bytes cannot be addressed; the bitmap is then empty.
  bool SetFormat(const BitmapInfoHeader& format);
  /// Forgets size and buffer; no macroblock lies inside an empty bitmap.
  void Clear() { *this = ClientBitmap(); }
  /// Where the pixels of the next frame are; not owned. An empty bitmap stays without a buffer.
  void SetBuffer(void* pixels);

  std::size_t RowBytes() const { return rowBytes_; }
  std::size_t Bytes() const { return rowBytes_ * static_cast<std::size_t>(height_); }
  int Height() const { return height_; }

  /// Distance in memory from one picture row to the next one down; negative when bottom-up.
  std::ptrdiff_t RowStep() const {
    const auto step = static_cast<std::ptrdiff_t>(rowBytes_);
    return bottomUp_ ? -step : step;
  }
  /// Whether the macroblock lies inside the bitmap with all its 16x16 pixels.
  bool Contains(int column, int row) const {
    return base_ != nullptr && column >= 0 && row >= 0 &&
           (column + 1) * kMacroblockSize <= width_ && (row + 1) * kMacroblockSize <= height_;
  }
  /// The top left pixel of a macroblock inside the bitmap.
  std::uint8_t* MacroblockAddress(int column, int row) const {
    return base_ + std::ptrdiff_t{row} * kMacroblockSize * RowStep() +
           std::ptrdiff_t{column} * kMacroblockSize * bytesPerPixel_;
  }

 private:
  int width_ = 0;
  int height_ = 0;
  std::ptrdiff_t bytesPerPixel_ = 0;
  bool bottomUp_ = false;
  std::size_t rowBytes_ = 0;
  std::uint8_t* base_ = nullptr;  // the picture's top left pixel
};

}  // namespace qivm
