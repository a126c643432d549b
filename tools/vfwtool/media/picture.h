#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tools/vfwtool/media/bytes.h"

namespace vfwtool {

/// The uncompressed pixel formats that the tool reads, hands to codecs and writes.
enum class PixelFormat {
  kYuy2,   ///< Packed 4:2:2, bytes Y0 U Y1 V.
  kUyvy,   ///< Packed 4:2:2, bytes U Y0 V Y1.
  kRgb24,  ///< Bytes B G R.
  kRgb32,  ///< Bytes B G R and one unused.
};

/// All of them.
inline constexpr std::array kPixelFormats = {PixelFormat::kYuy2, PixelFormat::kUyvy,
                                             PixelFormat::kRgb24, PixelFormat::kRgb32};

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

bool IsRgb(PixelFormat format);

/// The widest and the highest picture that the tool handles, in pixels.
inline constexpr std::uint32_t kMaxPictureSide = 16384;

/// True for a width or a height from 1 to kMaxPictureSide.
constexpr bool IsPictureSide(std::int64_t side) { return side > 0 && side <= kMaxPictureSide; }

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

/// The size of a BITMAPINFOHEADER, with which every video format begins.
inline constexpr std::size_t kBitmapHeaderBytes = sizeof(qivm::BitmapInfoHeader);

/// True for the codes of this project's own codec, in whatever case.
bool IsOwnCode(FourCc code);

/// What the tool looks at in a video format.
struct BitmapFormat {
  std::int32_t width = 0;
  std::int32_t height = 0;  ///< Negative where the rows of an RGB picture run from the top down.
  std::uint16_t bits = 0;   ///< Per pixel.
  FourCc compression = 0;

  /// True for a format that only a codec reads.
  bool NeedsCodec() const;
};

/// Reads a video format, which has kBitmapHeaderBytes at least.
BitmapFormat ReadBitmapFormat(std::span<const std::uint8_t> format);

/// The video format of an uncompressed picture: a BITMAPINFOHEADER.
Bytes MakeBitmapFormat(const FrameLayout& layout);

/// True when Repack can turn one format into the other: both YUV or both RGB. The tool moves
/// samples around; it never computes a colour.
bool CanRepack(PixelFormat from, PixelFormat to);

/// Copies the picture `source` of layout `from` into `target` as format `to`; CanRepack must hold.
/// Both spans hold whole frames of their layouts. Padding and unused bytes become 0.
void Repack(const FrameLayout& from, std::span<const std::uint8_t> source, PixelFormat to,
            std::span<std::uint8_t> target);

/// The planes of one 4:2:2 picture, top down and without padding: luminance of width x height
/// bytes, each chrominance plane of width / 2 x height bytes.
struct Planes422 {
  std::span<std::uint8_t> y;
  std::span<std::uint8_t> u;
  std::span<std::uint8_t> v;
};

/// Interleaves planes into a YUY2 picture of width x height; the width is even.
void PackYuy2(const Planes422& planes, std::uint32_t width, std::uint32_t height,
              std::span<std::uint8_t> packed);

/// The opposite of PackYuy2.
void UnpackYuy2(std::span<const std::uint8_t> packed, std::uint32_t width, std::uint32_t height,
                const Planes422& planes);

/// Makes a picture black.
void FillBlack(const FrameLayout& layout, std::span<std::uint8_t> picture);

/// Turns a picture upside down in place.
void FlipRows(const FrameLayout& layout, std::span<std::uint8_t> picture);

}  // namespace vfwtool
