#pragma once

#include <cstddef>
#include <cstdint>

/// From RGB pixels to the samples of a 4:2:2 macroblock in field arrangement: ITU-R BT.601, full
/// range to studio range. Chrominance is that of the average of two neighbouring pixels.
namespace qivm::kernels::plain {

/// `blocks` are eight blocks of 64 samples; `pixels` is the macroblock's top left pixel, `rowStep`
/// the distance to the next row down.
void Rgb24Input(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep);

/// As Rgb24Input; the fourth byte of each pixel is not read.
void Rgb32Input(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep);

}  // namespace qivm::kernels::plain
