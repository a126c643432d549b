#pragma once

#include "kernels/kernel_set.h"

/// From packed YUV bytes to the samples of a 4:2:2 macroblock in field arrangement, unchanged. Each
/// function enters the converters of its set, for every packed YUV format.
namespace qivm::kernels {

namespace plain {
void AddPackedYuvInput(KernelSet& kernels);
}
namespace sse2 {
void AddPackedYuvInput(KernelSet& kernels);
}
namespace avx2 {
void AddPackedYuvInput(KernelSet& kernels);
}

}  // namespace qivm::kernels
