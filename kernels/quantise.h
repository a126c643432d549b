#pragma once

#include "mpeg2/macroblock_record.h"

/// Quantisation of the AC coefficients of every block (7.4.2), blocks in raster order. The weights
/// are the record's matrices, the scale that of its q_scale_type and quantiser_scale_code. The DC
/// coefficients (position 0) are left to the block coders.
namespace qivm::kernels::plain {

/// QF to F: (QF * W * quantiser_scale * 2) / 32, rounded toward zero, kept to 16 bits. Neither
/// saturation nor mismatch control.
void Dequantise(MacroblockRecord& record);

/// F to QF: (F * 32) / (W * quantiser_scale * 2), rounded toward zero, kept to 16 bits. The scale
/// must not be 0.
void Quantise(MacroblockRecord& record);

}  // namespace qivm::kernels::plain
