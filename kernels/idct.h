#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels {

/// Inverse DCT (Annex A) of every block, in place, raster order. The results are samples, nominally
/// 0 to 255 and not clamped, since the intra DC carries the mid-level. 32-bit arithmetic wraps.
namespace plain {
void Idct(MacroblockRecord& record);
void IdctBlock(std::span<std::int16_t, 64> block);
}  // namespace plain
namespace mmx {
void Idct(MacroblockRecord& record);
}
namespace sse2 {
void Idct(MacroblockRecord& record);
}
namespace avx2 {
void Idct(MacroblockRecord& record);
}

}  // namespace qivm::kernels
