#pragma once

namespace qivm::test {

/// Makes the process ready to show windows; call it before the first one. The process sees the
/// screen's own resolution. Under wine, windows come and go without a window manager, which is not
/// there: waiting for its answers would cost seconds for every dialog.
void PrepareDesktop();

}  // namespace qivm::test
