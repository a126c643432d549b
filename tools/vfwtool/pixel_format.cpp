#include "tools/vfwtool/pixel_format.h"

#include <array>

namespace qivm {
namespace {

struct FormatProperties {
  PixelFormat format;
  std::string_view name;
  FourCc compression;
  std::uint16_t bits;
};

constexpr std::array kFormats = {
    FormatProperties{PixelFormat::kYuy2, "yuy2", MakeFourCc("YUY2"), 16},
    FormatProperties{PixelFormat::kUyvy, "uyvy", MakeFourCc("UYVY"), 16},
    FormatProperties{PixelFormat::kRgb24, "rgb24", 0, 24},
    FormatProperties{PixelFormat::kRgb32, "rgb32", 0, 32},
};

constexpr bool TableFollowsEnumeration() {
  for (std::size_t i = 0; i < kFormats.size(); ++i) {
    if (static_cast<std::size_t>(kFormats[i].format) != i) {
      return false;
    }
  }
  return true;
}
static_assert(TableFollowsEnumeration());

const FormatProperties& Properties(PixelFormat format) {
  return kFormats[static_cast<std::size_t>(format)];
}

}  // namespace

std::string_view PixelFormatName(PixelFormat format) { return Properties(format).name; }

std::optional<PixelFormat> ParsePixelFormat(std::string_view name) {
  for (const FormatProperties& candidate : kFormats) {
    if (candidate.name == name) {
      return candidate.format;
    }
  }
  return std::nullopt;
}

FourCc PixelFormatCompression(PixelFormat format) { return Properties(format).compression; }

std::uint16_t PixelFormatBits(PixelFormat format) { return Properties(format).bits; }

std::optional<PixelFormat> PixelFormatOf(FourCc compression, std::uint16_t bits) {
  for (const FormatProperties& candidate : kFormats) {
    if (candidate.compression == compression && candidate.bits == bits) {
      return candidate.format;
    }
  }
  return std::nullopt;
}

bool NeedsCodec(FourCc compression, std::uint16_t bits) {
  constexpr FourCc kBitFields = 3;  // BI_RGB, BI_RLE8, BI_RLE4 and BI_BITFIELDS are 0 to 3.
  const bool isRgb = compression == 0 || compression == kBitFields;
  return !isRgb && !PixelFormatOf(compression, bits).has_value();
}

bool IsRgb(PixelFormat format) { return PixelFormatCompression(format) == 0; }

std::size_t FrameLayout::PixelBytesPerRow() const {
  return std::size_t{width} * PixelFormatBits(format) / 8;
}

std::size_t FrameLayout::RowBytes() const { return (PixelBytesPerRow() + 3) / 4 * 4; }

std::size_t FrameLayout::FrameBytes() const { return RowBytes() * height; }

}  // namespace qivm
