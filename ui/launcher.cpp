#include "resources/resource.h"
#include "settings/module_handle.h"
#include "ui/dialog.h"
#include "ui/dialogs.h"

namespace qivm::ui {
namespace {

/// Lets the user edit a copy of the process's settings and takes it over on OK.
void EditProcessSettings(HWND parent) {
  CodecSettings settings = ProcessSettings();
  settings.handlerFourCC = kQivm;
  if (ShowSettingsEditor(parent, settings) == IDOK) {
    settings.handlerFourCC = ProcessSettings().handlerFourCC;
    ProcessSettings() = settings;
  }
}

INT_PTR CALLBACK LauncherProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) {
    return TRUE;
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDCANCEL:
      // The "OK" button, the Escape key and the close box alike.
      SaveSettings();
      EndDialog(dialog, 0);
      return TRUE;
    case IDC_I_FRAMES:
      EditProcessSettings(dialog);
      return TRUE;
    case IDC_LAUNCHER_ABOUT:
      ShowAbout(dialog, 0);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowLauncher(HWND parent) {
  return ShowDialog(ModuleHandle(), IDD_LAUNCHER, parent, LauncherProcedure, 0);
}

}  // namespace qivm::ui
