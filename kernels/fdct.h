#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels::plain {

/// Forward DCT (Annex A) of every block, in place, raster order: samples in, coefficients out, the
/// DC eight times the mean. 32-bit arithmetic wraps.
void Fdct(MacroblockRecord& record);

}  // namespace qivm::kernels::plain
