#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/four_cc.h"

namespace qivm {

constexpr FourCC kBiRgb = 0;
constexpr FourCC kYuy2 = MakeFourCC('Y', 'U', 'Y', '2');
constexpr FourCC kUyvy = MakeFourCC('U', 'Y', 'V', 'Y');
constexpr FourCC kYvyu = MakeFourCC('Y', 'V', 'Y', 'U');
constexpr FourCC kY16 = MakeFourCC('Y', '1', '6', '\0');
constexpr FourCC kY16A = MakeFourCC('Y', '1', '6', 'A');

/// The BITMAPINFOHEADER of the Windows headers, under its published field names and with its
/// layout, for code that does not know windows.h.
struct BitmapInfoHeader {
  std::uint32_t biSize = sizeof(BitmapInfoHeader);
  std::int32_t biWidth = 0;
  std::int32_t biHeight = 0;
  std::uint16_t biPlanes = 1;
  std::uint16_t biBitCount = 0;
  std::uint32_t biCompression = 0;
  std::uint32_t biSizeImage = 0;
  std::int32_t biXPelsPerMeter = 0;
  std::int32_t biYPelsPerMeter = 0;
  std::uint32_t biClrUsed = 0;
  std::uint32_t biClrImportant = 0;
};
static_assert(sizeof(BitmapInfoHeader) == 40);

/// The uncompressed formats that the codec reads and writes.
enum class ClientFormat : std::uint8_t {
  rgb24,  ///< B, G, R; bottom-up
  rgb32,  ///< B, G, R and a byte that is neither read nor written; bottom-up
  yuy2,   ///< Y0, Cb, Y1, Cr; top-down
  uyvy,   ///< Cb, Y0, Cr, Y1; top-down
  yvyu,   ///< Y0, Cr, Y1, Cb; top-down
  y16,    ///< per 16 pixels of a row: 16 Y, 8 Cb, 8 Cr; top-down
  y16a,   ///< as y16 with 16 ignored bytes behind the Y; top-down; compressor input only
};
constexpr std::size_t kClientFormats = 7;

constexpr bool IsRgb(ClientFormat format) {
  return format == ClientFormat::rgb24 || format == ClientFormat::rgb32;
}

/// The format that biCompression and biBitCount name together; nothing for any other pair.
constexpr std::optional<ClientFormat> ClientFormatOf(const BitmapInfoHeader& header) {
  struct Pair {
    FourCC compression;
    std::uint16_t bitCount;
    ClientFormat format;
  };
  constexpr std::array<Pair, kClientFormats> kPairs = {{
      {kBiRgb, 24, ClientFormat::rgb24},
      {kBiRgb, 32, ClientFormat::rgb32},
      {kYuy2, 16, ClientFormat::yuy2},
      {kUyvy, 16, ClientFormat::uyvy},
      {kYvyu, 16, ClientFormat::yvyu},
      {kY16, 16, ClientFormat::y16},
      {kY16A, 24, ClientFormat::y16a},
  }};
  for (const Pair& pair : kPairs) {
    if (header.biCompression == pair.compression && header.biBitCount == pair.bitCount) {
      return pair.format;
    }
  }
  return std::nullopt;
}

/// Whether two headers describe bitmaps of the same pixels in the same places.
constexpr bool SamePixels(const BitmapInfoHeader& a, const BitmapInfoHeader& b) {
  return a.biWidth == b.biWidth && a.biHeight == b.biHeight && a.biBitCount == b.biBitCount &&
         a.biCompression == b.biCompression;
}

/// Whether the codec handles bitmaps with this header, whatever their size.
constexpr bool UncompressedFormatOk(const BitmapInfoHeader& header) {
  return ClientFormatOf(header).has_value();
}

}  // namespace qivm
