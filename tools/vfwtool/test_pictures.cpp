#include "tools/vfwtool/test_pictures.h"

#include <cstddef>

namespace qivm {
namespace {

/// Grain: four bits of a hash of the place.
std::uint32_t Grain(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  std::uint32_t hash = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ number * 0xC2B2AE3DU;
  hash ^= hash >> 15;
  hash *= 0x2C1B3C6DU;
  return hash >> 28;
}

std::uint8_t Luminance(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  constexpr std::uint32_t kTile = 48;
  const std::uint32_t movedX = x + 3 * number;
  const bool isBright = (movedX / kTile + y / kTile) % 2 != 0;
  const std::uint32_t slope = (movedX + 2 * y) / 8 % 64;
  return static_cast<std::uint8_t>(40 + (isBright ? 80 : 0) + slope + Grain(x, y, number));
}

std::uint8_t Chrominance(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  return static_cast<std::uint8_t>(96 + (x + y + 2 * number) / 4 % 64);
}

}  // namespace

std::vector<std::uint8_t> MakeTestPicture(const FrameLayout& layout, std::uint32_t number) {
  std::vector<std::uint8_t> picture(layout.FrameBytes());
  const std::size_t step = PixelFormatBits(layout.format) / 8U;
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    for (std::uint32_t x = 0; x < layout.width; ++x) {
      std::uint8_t* const pixel = picture.data() + y * layout.RowBytes() + x * step;
      const std::uint8_t luminance = Luminance(x, y, number);
      const std::uint8_t chrominance = Chrominance(x + (x % 2) * layout.height, y, number);
      switch (layout.format) {
        case PixelFormat::kYuy2:
          pixel[0] = luminance;
          pixel[1] = chrominance;
          break;
        case PixelFormat::kUyvy:
          pixel[0] = chrominance;
          pixel[1] = luminance;
          break;
        case PixelFormat::kRgb24:
        case PixelFormat::kRgb32:
          pixel[0] = chrominance;
          pixel[1] = luminance;
          pixel[2] = static_cast<std::uint8_t>(luminance / 2 + 64);
          break;
      }
    }
  }
  return picture;
}

}  // namespace qivm
