#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/macroblock_rows.h"

/// From the samples of a 4:2:2 macroblock to RGB pixels: ITU-R BT.601, studio range to full range,
/// in 16.16 fixed point. Each chrominance sample serves two pixels. The results are clamped.
namespace qivm::kernels::plain {

/// `pixels` is the macroblock's top left pixel, `rowStep` the distance to the next row down;
/// `blocks` are eight blocks of 64 samples.
template <Arrangement kArrangement>
void Rgb24Output(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep);

/// As Rgb24Output; the fourth byte of each pixel keeps what it holds.
template <Arrangement kArrangement>
void Rgb32Output(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep);

}  // namespace qivm::kernels::plain
