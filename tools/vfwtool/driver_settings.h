#pragma once

#include "tools/vfwtool/four_cc.h"

namespace qivm {

/// Shows the settings dialog of the driver that is registered under a code, and returns when it is
/// closed. True when the system has to be started anew for them. Throws ToolError (kCodec) when
/// there is no such driver or it has no settings.
bool ConfigureDriver(FourCc code);

}  // namespace qivm
