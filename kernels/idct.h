#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels::plain {

/// Inverse DCT (Annex A) of every block, in place, raster order. The results are samples, nominally
/// 0 to 255 and not clamped, since the intra DC carries the mid-level. 32-bit arithmetic wraps.
void Idct(MacroblockRecord& record);

}  // namespace qivm::kernels::plain
