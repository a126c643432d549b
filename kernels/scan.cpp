#include "kernels/scan.h"

#include <algorithm>
#include <array>

#include "mpeg2/scan.h"

namespace qivm::kernels::plain {

namespace {

/// block[i] = block[source[i]] for every i, in every block.
void Reorder(MacroblockRecord& record, const mpeg2::Scan& source) {
  for (int index = 0; index < record.blockCount; ++index) {
    const auto block = record.Block(index);
    std::array<std::int16_t, MacroblockRecord::kBlockSize> scratch;
    std::copy(block.begin(), block.end(), scratch.begin());
    for (std::size_t i = 0; i < scratch.size(); ++i) {
      block[i] = scratch[source[i]];
    }
  }
}

}  // namespace

void UnscanZigzag(MacroblockRecord& record) { Reorder(record, mpeg2::kZigzagIndex); }
void UnscanAlternate(MacroblockRecord& record) { Reorder(record, mpeg2::kAlternateIndex); }
void ScanZigzag(MacroblockRecord& record) { Reorder(record, mpeg2::kZigzagScan); }
void ScanAlternate(MacroblockRecord& record) { Reorder(record, mpeg2::kAlternateScan); }

}  // namespace qivm::kernels::plain
