#include "kernels/scan.h"

#include <algorithm>
#include <array>

#include "kernels/simd/intrinsics.h"
#include "mpeg2/scan.h"

namespace qivm::kernels {

namespace {

using mpeg2::Scan;

// What each reordering is, as block[i] = block[source[i]].
constexpr const Scan& kUnscanZigzag = mpeg2::kZigzagIndex;
constexpr const Scan& kUnscanAlternate = mpeg2::kAlternateIndex;
constexpr const Scan& kScanZigzag = mpeg2::kZigzagScan;
constexpr const Scan& kScanAlternate = mpeg2::kAlternateScan;

template <const Scan& kSource>
void ReorderBlock(std::span<std::int16_t, MacroblockRecord::kBlockSize> block) {
  std::array<std::int16_t, MacroblockRecord::kBlockSize> scratch;
  std::copy(block.begin(), block.end(), scratch.begin());
  for (std::size_t i = 0; i < scratch.size(); ++i) {
    block[i] = scratch[kSource[i]];
  }
}

}  // namespace

namespace plain {

namespace {

template <const Scan& kSource>
void Reorder(MacroblockRecord& record) {
  for (int index = 0; index < record.blockCount; ++index) {
    ReorderBlock<kSource>(record.Block(index));
  }
}

}  // namespace

void UnscanZigzag(MacroblockRecord& record) { Reorder<kUnscanZigzag>(record); }
void UnscanAlternate(MacroblockRecord& record) { Reorder<kUnscanAlternate>(record); }
void ScanZigzag(MacroblockRecord& record) { Reorder<kScanZigzag>(record); }
void ScanAlternate(MacroblockRecord& record) { Reorder<kScanAlternate>(record); }

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/scan_simd.inc"
#include "kernels/simd/for_each_target.inc"
