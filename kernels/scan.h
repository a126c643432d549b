#pragma once

#include "mpeg2/macroblock_record.h"

/// Reordering of every block of a macroblock between raster and transmission order (7.3).
namespace qivm::kernels::plain {

void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);

}  // namespace qivm::kernels::plain
