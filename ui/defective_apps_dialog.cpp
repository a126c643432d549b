#include <array>

#include "resources/resource.h"
#include "settings/defective_apps.h"
#include "ui/dialog.h"
#include "ui/dialogs.h"
#include "ui/file_dialog.h"
#include "ui/list_box.h"

namespace qivm::ui {
namespace {

void Add(HWND dialog, NameList& list) {
  static constexpr std::array kFilter =
      FileFilter("Executable files (*.exe)|*.exe|All files (*.*)|*.*|");
  std::array<char, MAX_PATH> path = {};
  std::array<char, MAX_PATH> fileTitle = {};
  if (!AskForFile({.owner = dialog,
                   .title = "Choose application",
                   .filter = kFilter.data(),
                   .initialFolder = nullptr,
                   .defaultExtension = nullptr,
                   .path = path,
                   .fileTitle = fileTitle})) {
    return;
  }
  UpperCase(fileTitle.data());
  switch (AddFileName(list, fileTitle.data())) {
    case AddResult::added:
      break;
    case AddResult::listedAlready:
      MessageBoxA(dialog, "This file already selected", "Multiple selection", MB_ICONERROR);
      break;
    case AddResult::listFull:
      MessageBoxA(dialog, "Maximum application number is reached", "Maximum selection",
                  MB_ICONERROR);
      break;
  }
}

INT_PTR CALLBACK DefectiveAppsProcedure(HWND dialog, UINT message, WPARAM wParam,
                                        LPARAM /*lParam*/) {
  ListBox list(dialog, IDC_DEFECTIVE_LIST);
  if (message == WM_INITDIALOG) {
    ListDefectiveApps(DefectiveApps(), list);
    // FALSE leaves the focus where this puts it, so that the keyboard works from the start.
    SetFocus(GetDlgItem(dialog, IDC_DEFECTIVE_LIST));
    return FALSE;
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDOK:
      StoreNames(list, DefectiveApps());
      SaveDefectiveAppList();
      EndDialog(dialog, IDOK);
      return TRUE;
    case IDCANCEL:
      EndDialog(dialog, IDCANCEL);
      return TRUE;
    case IDC_DEFECTIVE_ADD:
      Add(dialog, list);
      return TRUE;
    case IDC_DEFECTIVE_DELETE:
      DeleteSelected(list);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowDefectiveApps(HWND parent) {
  const INT_PTR result =
      ShowDialog(DefectiveListModule(), IDD_DEFECTIVE_APPS, parent, DefectiveAppsProcedure, 0);
  if (result == IDOK) {
    // The dialog has saved the list already; the same once more, as the driver has always done.
    SaveDefectiveAppList();
  }
  return result;
}

}  // namespace qivm::ui
