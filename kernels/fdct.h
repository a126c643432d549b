#pragma once

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels {

/// Forward DCT (Annex A) of every block: samples of 0 to 255 become coefficients, the DC eight
/// times the mean.
namespace plain {
void Fdct(MacroblockRecord& record);
}
namespace sse2 {
void Fdct(MacroblockRecord& record);
}
namespace avx2 {
void Fdct(MacroblockRecord& record);
}

}  // namespace qivm::kernels
