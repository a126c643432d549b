#include <windows.h>

#include "platform/private_heap.h"
#include "settings/codec_settings.h"
#include "settings/defective_apps.h"
#include "settings/module_handle.h"

/// The library's attach and detach hook. What is still allocated at detach goes with the heap: the
/// hosts' instances are theirs to close.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      qivm::platform::CreatePrivateHeap();
      qivm::RecordModuleHandle(module);
      qivm::LoadDefectiveAppList(module);
      if (!qivm::LoadSettings()) {
        qivm::ResetSettingsToDefaults();
      }
      break;
    case DLL_PROCESS_DETACH:
      qivm::platform::DestroyPrivateHeap();
      break;
    default:
      break;
  }
  return TRUE;
}
