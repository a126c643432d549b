#include "tests/ui/desktop.h"

#include <windows.h>

namespace qivm::test {

void PrepareDesktop() {
  const bool wine = GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
  if (wine) {
    RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\Wine\\X11 Driver", "Managed", REG_SZ, "N", 2);
  }
  SetProcessDPIAware();
}

}  // namespace qivm::test
