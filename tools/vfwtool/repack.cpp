#include "tools/vfwtool/repack.h"

#include <algorithm>
#include <cstddef>

namespace qivm {
namespace {

void SwapBytePairs(std::span<const std::uint8_t> source, std::span<std::uint8_t> target) {
  for (std::size_t i = 0; i + 1 < source.size(); i += 2) {
    target[i] = source[i + 1];
    target[i + 1] = source[i];
  }
}

void CopyRgbRow(std::span<const std::uint8_t> source, std::size_t sourceStep,
                std::span<std::uint8_t> target, std::size_t targetStep, std::uint32_t width) {
  constexpr std::size_t kColours = 3;
  std::ranges::fill(target, std::uint8_t{0});
  for (std::size_t x = 0; x < width; ++x) {
    std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(x * sourceStep), kColours,
                target.begin() + static_cast<std::ptrdiff_t>(x * targetStep));
  }
}

}  // namespace

bool CanRepack(PixelFormat from, PixelFormat to) { return IsRgb(from) == IsRgb(to); }

void Repack(const FrameLayout& from, std::span<const std::uint8_t> source, PixelFormat to,
            std::span<std::uint8_t> target) {
  if (from.format == to) {
    std::ranges::copy(source.first(from.FrameBytes()), target.begin());
    return;
  }
  if (!IsRgb(to)) {
    SwapBytePairs(source.first(from.FrameBytes()), target);
    return;
  }
  const FrameLayout result{to, from.width, from.height};
  for (std::size_t row = 0; row < from.height; ++row) {
    CopyRgbRow(source.subspan(row * from.RowBytes(), from.RowBytes()),
               PixelFormatBits(from.format) / 8U,
               target.subspan(row * result.RowBytes(), result.RowBytes()), PixelFormatBits(to) / 8U,
               from.width);
  }
}

void PackYuy2(const Planes422& planes, std::uint32_t width, std::uint32_t height,
              std::span<std::uint8_t> packed) {
  const std::size_t pairs = std::size_t{width} / 2 * height;
  for (std::size_t i = 0; i < pairs; ++i) {
    packed[4 * i] = planes.y[2 * i];
    packed[4 * i + 1] = planes.u[i];
    packed[4 * i + 2] = planes.y[2 * i + 1];
    packed[4 * i + 3] = planes.v[i];
  }
}

void UnpackYuy2(std::span<const std::uint8_t> packed, std::uint32_t width, std::uint32_t height,
                const Planes422& planes) {
  const std::size_t pairs = std::size_t{width} / 2 * height;
  for (std::size_t i = 0; i < pairs; ++i) {
    planes.y[2 * i] = packed[4 * i];
    planes.u[i] = packed[4 * i + 1];
    planes.y[2 * i + 1] = packed[4 * i + 2];
    planes.v[i] = packed[4 * i + 3];
  }
}

void FlipRows(const FrameLayout& layout, std::span<std::uint8_t> picture) {
  const std::size_t rowBytes = layout.RowBytes();
  for (std::size_t top = 0; top < layout.height / 2; ++top) {
    std::ranges::swap_ranges(picture.subspan(top * rowBytes, rowBytes),
                             picture.subspan((layout.height - 1 - top) * rowBytes, rowBytes));
  }
}

}  // namespace qivm
