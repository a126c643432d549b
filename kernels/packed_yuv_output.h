#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/macroblock_rows.h"
#include "kernels/packed_yuv_layout.h"

namespace qivm::kernels::plain {

/// From the samples of a 4:2:2 macroblock to packed YUV bytes: each sample clamped to a byte.
/// Arguments as for Rgb24Output.
template <typename Layout, Arrangement kArrangement>
void PackedYuvOutput(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep);

}  // namespace qivm::kernels::plain
