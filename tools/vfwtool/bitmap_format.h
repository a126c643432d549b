#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/vfwtool/four_cc.h"
#include "tools/vfwtool/pixel_format.h"

namespace qivm {

/// The size of a BITMAPINFOHEADER, with which every video format begins.
inline constexpr std::size_t kBitmapHeaderBytes = 40;

/// What the tool looks at in a video format.
struct BitmapFormat {
  std::int32_t width = 0;
  std::int32_t height = 0;  ///< Negative where the rows of an RGB picture run from the top down.
  std::uint16_t bits = 0;   ///< Per pixel.
  FourCc compression = 0;
};

/// Reads a video format, which has kBitmapHeaderBytes at least.
BitmapFormat ReadBitmapFormat(std::span<const std::uint8_t> format);

/// True for a format that needs a codec to be read.
bool IsCompressed(std::span<const std::uint8_t> format);

/// The video format of an uncompressed picture: a BITMAPINFOHEADER.
std::vector<std::uint8_t> MakeBitmapFormat(const FrameLayout& layout);

}  // namespace qivm
