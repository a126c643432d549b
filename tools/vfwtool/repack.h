#pragma once

#include <cstdint>
#include <span>

#include "tools/vfwtool/pixel_format.h"

namespace qivm {

/// The planes of one 4:2:2 picture, top down and without padding: luminance of width x height
/// bytes, each chrominance plane of width / 2 x height bytes.
struct Planes422 {
  std::span<std::uint8_t> y;
  std::span<std::uint8_t> u;
  std::span<std::uint8_t> v;
};

/// True when Repack can turn one format into the other: both YUV or both RGB. The tool moves
/// samples around; it never computes a colour.
bool CanRepack(PixelFormat from, PixelFormat to);

/// Copies the picture `source` of layout `from` into `target` as format `to`; CanRepack must hold.
/// Both spans hold whole frames of their layouts. Padding and unused bytes become 0.
void Repack(const FrameLayout& from, std::span<const std::uint8_t> source, PixelFormat to,
            std::span<std::uint8_t> target);

/// Interleaves planes into a YUY2 picture of width x height; the width is even.
void PackYuy2(const Planes422& planes, std::uint32_t width, std::uint32_t height,
              std::span<std::uint8_t> packed);

/// The opposite of PackYuy2.
void UnpackYuy2(std::span<const std::uint8_t> packed, std::uint32_t width, std::uint32_t height,
                const Planes422& planes);

/// Turns a picture upside down in place.
void FlipRows(const FrameLayout& layout, std::span<std::uint8_t> picture);

}  // namespace qivm
