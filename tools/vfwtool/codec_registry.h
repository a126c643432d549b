#pragma once

#include "tools/vfwtool/diagnosis.h"

namespace qivm {

/// Looks up what keeps programs from using the codec of that code.
Diagnosis Diagnose(FourCc code);

}  // namespace qivm
