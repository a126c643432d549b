#include "kernels/client_bitmap.h"

#include <limits>

namespace qivm {

bool ClientBitmap::SetFormat(const BitmapInfoHeader& format) {
  Clear();
  if (format.biWidth <= 0 || format.biHeight <= 0) {
    return false;
  }
  const int bytesPerPixel = format.biBitCount / 8;
  const auto rowBytes =
      static_cast<std::uint64_t>(format.biWidth) * static_cast<std::uint64_t>(bytesPerPixel);
  constexpr auto kAddressable =
      static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());
  if (rowBytes > kAddressable / static_cast<std::uint64_t>(format.biHeight)) {
    return false;
  }
  width_ = format.biWidth;
  height_ = format.biHeight;
  bytesPerPixel_ = bytesPerPixel;
  bottomUp_ = format.biCompression == kBiRgb;
  rowBytes_ = static_cast<std::size_t>(rowBytes);
  return true;
}

void ClientBitmap::SetBuffer(void* pixels) {
  base_ = nullptr;
  if (height_ > 0 && pixels != nullptr) {
    auto* first = static_cast<std::uint8_t*>(pixels);
    base_ = bottomUp_ ? first + rowBytes_ * static_cast<std::size_t>(height_ - 1) : first;
  }
}

}  // namespace qivm
