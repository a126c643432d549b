#pragma once

#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qivm::test {

constexpr DWORD kYuy2Code = MAKEFOURCC('Y', 'U', 'Y', '2');
constexpr DWORD kUyvyCode = MAKEFOURCC('U', 'Y', 'V', 'Y');
constexpr DWORD kYvyuCode = MAKEFOURCC('Y', 'V', 'Y', 'U');
constexpr DWORD kY16Code = MAKEFOURCC('Y', '1', '6', '\0');
constexpr DWORD kY16ACode = MAKEFOURCC('Y', '1', '6', 'A');

/// biCompression and biBitCount of an uncompressed format.
struct PixelFormat {
  const char* name;
  DWORD compression;
  WORD bitCount;
};

/// Every format that is compressed. All but the last are also decompressed to.
inline constexpr PixelFormat kPixelFormats[] = {
    {"Rgb24", BI_RGB, 24},   {"Rgb32", BI_RGB, 32},   {"Yuy2", kYuy2Code, 16},
    {"Uyvy", kUyvyCode, 16}, {"Yvyu", kYvyuCode, 16}, {"Y16", kY16Code, 16},
    {"Y16a", kY16ACode, 24},
};
constexpr PixelFormat kRgb24 = kPixelFormats[0];
constexpr PixelFormat kRgb32 = kPixelFormats[1];
constexpr PixelFormat kYuy2 = kPixelFormats[2];

BITMAPINFOHEADER Header(const PixelFormat& format, LONG width, LONG height);
/// The header of a compressed stream.
BITMAPINFOHEADER CompressedHeader(LONG width, LONG height,
                                  DWORD code = MAKEFOURCC('Q', 'I', 'V', 'M'));
/// Bytes of a bitmap with this header.
std::size_t BitmapBytes(const BITMAPINFOHEADER& header);

/// A picture with smooth areas, edges and some texture, in the header's format. Pictures of
/// different seeds differ.
std::vector<std::uint8_t> MakePicture(const BITMAPINFOHEADER& header, unsigned seed = 0);

/// Peak signal-to-noise ratio in dB over all bytes but the unused ones of 32-bit pixels.
double Psnr(const BITMAPINFOHEADER& header, std::span<const std::uint8_t> a,
            std::span<const std::uint8_t> b);

/// Names the format in the names of parameterised tests.
struct PixelFormatName {
  template <typename Info>
  std::string operator()(const Info& info) const {
    return info.param.name;
  }
};

}  // namespace qivm::test
