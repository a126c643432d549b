#pragma once

#include "kernels/kernel_set.h"

/// From the samples of a 4:2:2 macroblock to packed YUV bytes: each sample clamped to a byte. Each
/// function enters the converters of its set, for every packed YUV format.
namespace qivm::kernels {

namespace plain {
void AddPackedYuvOutput(KernelSet& kernels);
}
namespace sse2 {
void AddPackedYuvOutput(KernelSet& kernels);
}
namespace avx2 {
void AddPackedYuvOutput(KernelSet& kernels);
}

}  // namespace qivm::kernels
