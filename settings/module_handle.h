#pragma once

#include <windows.h>

namespace qivm {

/// The library's module handle, for resources and the library's own path. Recorded at the first
/// process attach; null before.
HINSTANCE ModuleHandle();

/// Records the handle if none is recorded yet.
void RecordModuleHandle(HINSTANCE module);

}  // namespace qivm
