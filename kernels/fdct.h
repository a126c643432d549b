#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels {

/// Forward DCT (Annex A) of every block, in place, raster order: samples in, coefficients out, the
/// DC eight times the mean. 32-bit arithmetic wraps.
namespace plain {
void Fdct(MacroblockRecord& record);
void FdctBlock(std::span<std::int16_t, 64> block);
}  // namespace plain
namespace mmx {
void Fdct(MacroblockRecord& record);
}
namespace sse2 {
void Fdct(MacroblockRecord& record);
}
namespace avx2 {
void Fdct(MacroblockRecord& record);
}

}  // namespace qivm::kernels
