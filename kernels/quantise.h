#pragma once

#include "mpeg2/macroblock_record.h"

/// Quantisation of the AC coefficients of every block (7.4.2), blocks in raster order. The weights
/// are the record's matrices, at most 255 each, the scale that of its q_scale_type and
/// quantiser_scale_code. The DC coefficients (position 0) are left to the block coders.
///
/// Dequantise: QF to F, (QF * W * quantiser_scale * 2) / 32, rounded toward zero, kept to 16 bits.
/// Neither saturation nor mismatch control.
///
/// Quantise: F to QF, (F * 32) / (W * quantiser_scale * 2), rounded toward zero, kept to 16 bits.
/// Neither scale nor weights may be 0.
namespace qivm::kernels {

namespace plain {
void Dequantise(MacroblockRecord& record);
void Quantise(MacroblockRecord& record);
}  // namespace plain
namespace mmx {
void Dequantise(MacroblockRecord& record);
void Quantise(MacroblockRecord& record);
}  // namespace mmx
namespace mmx_extended {
void Dequantise(MacroblockRecord& record);
void Quantise(MacroblockRecord& record);
}  // namespace mmx_extended
namespace sse2 {
void Dequantise(MacroblockRecord& record);
void Quantise(MacroblockRecord& record);
}  // namespace sse2
namespace avx2 {
void Dequantise(MacroblockRecord& record);
void Quantise(MacroblockRecord& record);
}  // namespace avx2

}  // namespace qivm::kernels
