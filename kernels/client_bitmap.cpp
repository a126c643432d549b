#include "kernels/client_bitmap.h"

#include <cstring>
#include <limits>

#include "kernels/simd/intrinsics.h"
#include "kernels/simd/target.h"

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

void ClientBitmap::SetBuffer(void* pixels, LineOrder order) {
  base_ = nullptr;
  shift_ = order == LineOrder::shifted ? 1 : 0;
  if (height_ > 0 && pixels != nullptr) {
    auto* first = static_cast<std::uint8_t*>(pixels);
    base_ = bottomUp_ ? first + rowBytes_ * static_cast<std::size_t>(height_ - 1) : first;
  }
}

template <typename Copy>
void ClientBitmap::ForEachLine(int column, int row, Copy copy) const {
  const auto bytes = static_cast<std::size_t>(mpeg2::kMacroblockSize * bytesPerPixel_);
  const std::ptrdiff_t x = std::ptrdiff_t{column} * mpeg2::kMacroblockSize * bytesPerPixel_;
  for (std::ptrdiff_t line = 0; line < mpeg2::kMacroblockSize; ++line) {
    const std::ptrdiff_t y =
        (std::ptrdiff_t{row} * mpeg2::kMacroblockSize + line + shift_) % height_;
    copy(base_ + y * RowStep() + x, static_cast<std::size_t>(line * Tile::kRowBytes), bytes);
  }
}

// 32-bit code has the instruction only where it is told that processors do, and all of today's do:
// those before took it for one that does nothing.
QIVM_BEGIN_TARGET("sse")

void ClientBitmap::Prefetch(int column, int row) const {
  if (!Contains(column, row)) {
    return;
  }
  // Neighbours have the rest of a macroblock that takes more than one cache line.
  const std::uint8_t* line = MacroblockAddress(column, row);
  for (int y = 0; y < mpeg2::kMacroblockSize; ++y) {
    _mm_prefetch(reinterpret_cast<const char*>(line), _MM_HINT_T0);
    line += RowStep();
  }
}

QIVM_END_TARGET

void ClientBitmap::LoadTile(int column, int row, Tile& tile) const {
  ForEachLine(column, row,
              [&tile](const std::uint8_t* pixels, std::size_t offset, std::size_t bytes) {
                std::memcpy(tile.bytes.data() + offset, pixels, bytes);
              });
}

void ClientBitmap::StoreTile(int column, int row, const Tile& tile) const {
  ForEachLine(column, row, [&tile](std::uint8_t* pixels, std::size_t offset, std::size_t bytes) {
    std::memcpy(pixels, tile.bytes.data() + offset, bytes);
  });
}

}  // namespace qivm
