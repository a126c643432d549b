#pragma once

#include "mpeg2/macroblock_record.h"

/// Reordering of every block of a macroblock between raster and transmission order (7.3).
namespace qivm::kernels {

namespace plain {
void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);
}  // namespace plain
namespace mmx {
void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);
}  // namespace mmx
namespace mmx_extended {
void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);
}  // namespace mmx_extended
namespace sse2 {
void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);
}  // namespace sse2
namespace avx2 {
void UnscanZigzag(MacroblockRecord& record);
void UnscanAlternate(MacroblockRecord& record);
void ScanZigzag(MacroblockRecord& record);
void ScanAlternate(MacroblockRecord& record);
}  // namespace avx2

}  // namespace qivm::kernels
