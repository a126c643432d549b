#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/client_format.h"
#include "mpeg2/start_codes.h"

namespace qivm {

/// Whether a picture's lines are moved down by one in the client's bitmap, the last line on top:
/// this exchanges the roles of the two fields of an interlaced picture.
enum class LineOrder : std::uint8_t { plain, shifted };

/// Where the pixels of a client's bitmap are. RGB bitmaps are bottom-up (the picture's top row is
/// the last in memory), the packed YUV ones top-down; rows follow each other without padding.
class ClientBitmap {
 public:
  /// The pixels of one macroblock, line after line.
  struct Tile {
    static constexpr std::ptrdiff_t kRowBytes = 64;  // in the widest format
    alignas(64) std::array<std::uint8_t, mpeg2::kMacroblockSize * kRowBytes> bytes;
  };

  /// Takes the bitmap's size from its header. False for a size of zero or below, or one whose
  /// bytes cannot be addressed; the bitmap is then empty.
  bool SetFormat(const BitmapInfoHeader& format);
  /// Forgets size and buffer; no macroblock lies inside an empty bitmap.
  void Clear() { *this = ClientBitmap(); }
  /// Where the pixels of the next frame are, and how its lines lie there; not owned. An empty
  /// bitmap stays without a buffer.
  void SetBuffer(void* pixels, LineOrder order);

  /// Distance in memory from one picture row to the next one down; negative when bottom-up.
  std::ptrdiff_t RowStep() const {
    const auto step = static_cast<std::ptrdiff_t>(rowBytes_);
    return bottomUp_ ? -step : step;
  }
  /// Whether the macroblock lies inside the bitmap with all its 16x16 pixels.
  bool Contains(int column, int row) const {
    return base_ != nullptr && column >= 0 && row >= 0 &&
           (column + 1) * mpeg2::kMacroblockSize <= width_ &&
           (row + 1) * mpeg2::kMacroblockSize <= height_;
  }
  /// The top left pixel of a macroblock inside the bitmap.
  std::uint8_t* MacroblockAddress(int column, int row) const {
    return base_ + (std::ptrdiff_t{row} * mpeg2::kMacroblockSize + shift_) * RowStep() +
           std::ptrdiff_t{column} * mpeg2::kMacroblockSize * bytesPerPixel_;
  }
  /// Whether the last line of a macroblock row lies on top of the bitmap and not below the others.
  bool Wraps(int row) const { return shift_ != 0 && (row + 1) * mpeg2::kMacroblockSize == height_; }

  /// Has the pixels of a macroblock brought nearer to the processor when it lies inside the bitmap.
  /// One after another, so that the memory always has some to bring but never more than it takes.
  void Prefetch(int column, int row) const;

  /// Copies a macroblock inside the bitmap from or to its place, line by line.
  void LoadTile(int column, int row, Tile& tile) const;
  void StoreTile(int column, int row, const Tile& tile) const;

 private:
  template <typename Copy>
  void ForEachLine(int column, int row, Copy copy) const;

  int width_ = 0;
  int height_ = 0;
  std::ptrdiff_t bytesPerPixel_ = 0;
  bool bottomUp_ = false;
  std::ptrdiff_t shift_ = 0;  // lines that the picture is moved down by
  std::size_t rowBytes_ = 0;
  std::uint8_t* base_ = nullptr;  // the bitmap's top left pixel
};

}  // namespace qivm
