#pragma once

#include "kernels/kernel_set.h"

/// From the samples of a 4:2:2 macroblock to RGB pixels: ITU-R BT.601, studio range to full range,
/// in 16.16 fixed point. Each chrominance sample serves two pixels. The results are clamped; the
/// fourth byte of a 32-bit pixel keeps what it holds. Each function enters the converters of its
/// set, for 24 and 32 bits a pixel.
namespace qivm::kernels {

namespace plain {
void AddRgbOutput(KernelSet& kernels);
}
namespace sse2 {
void AddRgbOutput(KernelSet& kernels);
}
namespace avx2 {
void AddRgbOutput(KernelSet& kernels);
}

}  // namespace qivm::kernels
