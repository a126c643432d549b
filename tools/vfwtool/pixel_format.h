#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/vfwtool/four_cc.h"

namespace qivm {

/// The uncompressed pixel formats that the tool reads, hands to codecs and writes.
enum class PixelFormat {
  kYuy2,   ///< Packed 4:2:2, bytes Y0 U Y1 V.
  kUyvy,   ///< Packed 4:2:2, bytes U Y0 V Y1.
  kRgb24,  ///< Bytes B G R.
  kRgb32,  ///< Bytes B G R and one unused.
};

/// The name used on the command line and in reports, such as "yuy2".
std::string_view PixelFormatName(PixelFormat format);

/// The format of that name; empty when there is none.
std::optional<PixelFormat> ParsePixelFormat(std::string_view name);

/// biCompression of a bitmap header: 0 (BI_RGB) or the FourCC.
FourCc PixelFormatCompression(PixelFormat format);

/// biBitCount of a bitmap header.
std::uint16_t PixelFormatBits(PixelFormat format);

/// The format of a bitmap header; empty when it is none of those above.
std::optional<PixelFormat> PixelFormatOf(FourCc compression, std::uint16_t bits);

/// True for the format of a bitmap header that only a codec reads.
bool NeedsCodec(FourCc compression, std::uint16_t bits);

bool IsRgb(PixelFormat format);

/// A picture in memory. Everywhere in the tool the rows of YUV pictures run from the top down and
/// those of RGB pictures from the bottom up, as in a bitmap of positive height, and every row
/// takes a multiple of 4 bytes.
struct FrameLayout {
  PixelFormat format = PixelFormat::kYuy2;
  std::uint32_t width = 0;   ///< In pixels; even for the YUV formats.
  std::uint32_t height = 0;  ///< In rows.

  /// Bytes of one row that carry pixels.
  std::size_t PixelBytesPerRow() const;
  /// Bytes from one row to the next.
  std::size_t RowBytes() const;
  std::size_t FrameBytes() const;

  bool operator==(const FrameLayout&) const = default;
};

/// The widest and the highest picture that the tool handles, in pixels.
inline constexpr std::uint32_t kMaxPictureSide = 16384;

/// True for a width or a height from 1 to kMaxPictureSide.
constexpr bool IsPictureSide(std::int64_t side) { return side > 0 && side <= kMaxPictureSide; }

}  // namespace qivm
