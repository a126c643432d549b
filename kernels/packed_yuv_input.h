#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/packed_yuv_layout.h"

namespace qivm::kernels::plain {

/// From packed YUV bytes to the samples of a 4:2:2 macroblock in field arrangement, unchanged.
/// Arguments as for Rgb24Input.
template <typename Layout>
void PackedYuvInput(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep);

}  // namespace qivm::kernels::plain
