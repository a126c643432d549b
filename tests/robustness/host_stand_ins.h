#pragma once

#include <windows.h>

#include "tests/driver/import_hook.h"

namespace qivm::test {

/// What the driver meets on one host thread, and what it did there.
struct HostThread {
  DWORD processors = 1;
  bool defectiveHost = false;  // the program's name is on the default list
  INT_PTR dialogResult = 0;
  int dialogs = 0;     // asked for
  int debugTexts = 0;  // sent to the debugger
};

/// The calling thread's.
HostThread& ThisHostThread();

/// Stand-ins for what of the system the driver asks on its caller's thread. Dialogs are not shown:
/// they end at once with the chosen result.
class HostStandIns {
 public:
  explicit HostStandIns(HMODULE driver);
  ~HostStandIns();
  HostStandIns(const HostStandIns&) = delete;
  HostStandIns& operator=(const HostStandIns&) = delete;

 private:
  static void WINAPI GetSystem(SYSTEM_INFO* info);
  static DWORD WINAPI GetFileName(HMODULE module, LPSTR buffer, DWORD size);
  static INT_PTR WINAPI ShowDialog(HINSTANCE module, LPCSTR resource, HWND parent,
                                   DLGPROC procedure, LPARAM parameter);
  static void WINAPI OutputText(LPCSTR text);

  ImportHook getSystem_;
  ImportHook getFileName_;
  ImportHook showDialog_;
  ImportHook outputText_;
};

}  // namespace qivm::test
