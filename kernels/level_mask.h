#pragma once

#include "mpeg2/macroblock_record.h"

/// Fills the record's levelMasks from its blocks: bit i of a block's mask tells whether value i is
/// not zero.
namespace qivm::kernels {

namespace plain {
void LevelMask(MacroblockRecord& record);
}
namespace sse2 {
void LevelMask(MacroblockRecord& record);
}

}  // namespace qivm::kernels
