#pragma once

#include "kernels/kernel_set.h"

/// From RGB pixels to the samples of a 4:2:2 macroblock in field arrangement: ITU-R BT.601, full
/// range to studio range. Chrominance is that of the average of two neighbouring pixels. The
/// fourth byte of a 32-bit pixel plays no part. Each function enters the converters of its set, for
/// 24 and 32 bits a pixel.
namespace qivm::kernels {

namespace plain {
void AddRgbInput(KernelSet& kernels);
}
namespace sse2 {
void AddRgbInput(KernelSet& kernels);
}
namespace avx2 {
void AddRgbInput(KernelSet& kernels);
}

}  // namespace qivm::kernels
