#include "tools/vfwtool/media/picture.h"

#include <algorithm>

namespace vfwtool {
namespace {

struct FormatProperties {
  PixelFormat format;
  std::string_view name;
  FourCc compression;
  std::uint16_t bits;
};

constexpr std::array kFormats = {
    FormatProperties{PixelFormat::kYuy2, "yuy2", "YUY2"_fourcc, 16},
    FormatProperties{PixelFormat::kUyvy, "uyvy", "UYVY"_fourcc, 16},
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

bool IsRgb(PixelFormat format) { return PixelFormatCompression(format) == 0; }

std::size_t FrameLayout::PixelBytesPerRow() const {
  return std::size_t{width} * PixelFormatBits(format) / 8;
}

std::size_t FrameLayout::RowBytes() const { return (PixelBytesPerRow() + 3) / 4 * 4; }

std::size_t FrameLayout::FrameBytes() const { return RowBytes() * height; }

BitmapFormat ReadBitmapFormat(std::span<const std::uint8_t> format) {
  return {.width = static_cast<std::int32_t>(ReadLittleEndian32(format, 4)),
          .height = static_cast<std::int32_t>(ReadLittleEndian32(format, 8)),
          .bits = ReadLittleEndian16(format, 14),
          .compression = ReadLittleEndian32(format, 16)};
}

bool IsOwnCode(FourCc code) {
  const FourCc upper = qivm::UpperCaseFourCC(code);
  return upper == qivm::kQivm || upper == qivm::kMmes;
}

bool BitmapFormat::NeedsCodec() const {
  constexpr FourCc kBitFields = 3;  // BI_RGB, BI_RLE8, BI_RLE4 and BI_BITFIELDS are 0 to 3.
  return compression != qivm::kBiRgb && compression != kBitFields &&
         !PixelFormatOf(compression, bits).has_value();
}

Bytes MakeBitmapFormat(const FrameLayout& layout) {
  Bytes format;
  AppendLittleEndian32(format, kBitmapHeaderBytes);
  AppendLittleEndian32(format, layout.width);
  AppendLittleEndian32(format, layout.height);
  AppendLittleEndian16(format, 1);  // Planes.
  AppendLittleEndian16(format, PixelFormatBits(layout.format));
  AppendLittleEndian32(format, PixelFormatCompression(layout.format));
  AppendLittleEndian32(format, static_cast<std::uint32_t>(layout.FrameBytes()));
  format.resize(kBitmapHeaderBytes);  // No resolution, no palette.
  return format;
}

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

void FillBlack(const FrameLayout& layout, std::span<std::uint8_t> picture) {
  constexpr std::uint8_t kBlackLuminance = 16;
  constexpr std::uint8_t kNoColour = 128;
  const bool isLuminanceFirst = layout.format == PixelFormat::kYuy2;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const bool isLuminance = (i % 2 == 0) == isLuminanceFirst;
    picture[i] = IsRgb(layout.format) ? 0 : isLuminance ? kBlackLuminance : kNoColour;
  }
}

void FlipRows(const FrameLayout& layout, std::span<std::uint8_t> picture) {
  const std::size_t rowBytes = layout.RowBytes();
  for (std::size_t top = 0; top < layout.height / 2; ++top) {
    std::ranges::swap_ranges(picture.subspan(top * rowBytes, rowBytes),
                             picture.subspan((layout.height - 1 - top) * rowBytes, rowBytes));
  }
}

}  // namespace vfwtool
