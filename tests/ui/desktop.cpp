#include "tests/ui/desktop.h"

#include <windows.h>

#include "tests/support/wine.h"

namespace qivm::test {

void PrepareDesktop() {
  if (IsWine()) {
    RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\Wine\\X11 Driver", "Managed", REG_SZ, "N", 2);
  }
  SetProcessDPIAware();
}

}  // namespace qivm::test
