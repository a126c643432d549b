#pragma once

#include <windows.h>

namespace qivm::test {

/// Whether Windows is wine, for what only wine does.
inline bool IsWine() {
  return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace qivm::test
