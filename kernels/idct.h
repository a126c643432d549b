#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels {

/// Inverse DCT (Annex A) of every block: coefficients become samples. These are nominally 0 to 255
/// and not clamped, since the intra DC carries the mid-level. 32-bit arithmetic wraps.
namespace plain {
void Idct(MacroblockRecord& record);
}
namespace sse2 {
void Idct(MacroblockRecord& record);
}
namespace avx2 {
void Idct(MacroblockRecord& record);
}

}  // namespace qivm::kernels
