#include <array>

#include "resources/resource.h"
#include "settings/file_name.h"
#include "settings/module_handle.h"
#include "ui/dialog.h"
#include "ui/dialogs.h"
#include "ui/file_dialog.h"
#include "ui/list_box.h"

namespace qivm::ui {
namespace {

constexpr const char* kCodesFull = "Max count of FCC abbreviation is %d";
constexpr const char* kApplicationsFull = "Max count of bad application is %d";

/// What the user may type, or a dialog return, in front of a name.
const char* EnteredFileName(const char* path) { return FileNamePart(path, "\\/:", CharNextA); }

/// The editor of one settings record: what the messages of its window do. Made anew for every
/// message from the window, which keeps the record's address.
class SettingsEditor {
 public:
  SettingsEditor(HWND dialog, CodecSettings& settings)
      : dialog_(dialog),
        settings_(settings),
        codes_(dialog, IDC_CODE_LIST),
        applications_(dialog, IDC_APP_LIST) {}

  /// Shows the record.
  void Show();
  /// Does what a control asks for; returns the dialog procedure's result.
  INT_PTR OnCommand(int control);

 private:
  void Store();
  void AddCode();
  void AddApplication();
  void Browse();
  /// Whether the list has room; tells the user if not, with the list's limit in `format`.
  bool HasRoom(const NameList& list, const char* format);
  void ClearEdit(int id) { SetDlgItemTextA(dialog_, id, ""); }

  HWND dialog_;
  CodecSettings& settings_;
  ListBox codes_;
  ListBox applications_;
};

void SettingsEditor::Show() {
  std::array<char, 1024> title = {};
  LoadText(IDS_EDITOR_TITLE, title);
  SetWindowTextA(dialog_, title.data());
  CheckDlgButton(dialog_, IDC_CHANGE_FIELDS,
                 settings_.changeFieldsOrder != 0 ? BST_CHECKED : BST_UNCHECKED);
  ListCodes(settings_.fourCCList, codes_);
  ClearEdit(IDC_CODE_EDIT);
  ListApplications(settings_.applicationList, applications_, UpperCase);
  ClearEdit(IDC_APP_EDIT);
}

void SettingsEditor::Store() {
  settings_.changeFieldsOrder =
      IsDlgButtonChecked(dialog_, IDC_CHANGE_FIELDS) == BST_CHECKED ? 1 : 0;
  StoreCodes(codes_, settings_.fourCCList);
  StoreNames(applications_, settings_.applicationList);
}

bool SettingsEditor::HasRoom(const NameList& list, const char* format) {
  if (list.Count() < kMaxListItems) {
    return true;
  }
  std::array<char, 1024> text = {};
  wsprintfA(text.data(), format, kMaxListItems);
  MessageBoxA(dialog_, text.data(), "Non critical error", MB_ICONEXCLAMATION);
  return false;
}

void SettingsEditor::AddCode() {
  CodeText entered = {};
  if (HasRoom(codes_, kCodesFull) &&
      GetDlgItemTextA(dialog_, IDC_CODE_EDIT, entered.data(), static_cast<int>(entered.size()))) {
    AddUnlessListed(codes_, CodeTextOf(CompleteCode(entered.data())).data());
    ClearEdit(IDC_CODE_EDIT);
  }
}

void SettingsEditor::AddApplication() {
  std::array<char, kApplicationNameBytes> entered = {};
  if (!HasRoom(applications_, kApplicationsFull)) {
    return;
  }
  GetDlgItemTextA(dialog_, IDC_APP_EDIT, entered.data(), static_cast<int>(entered.size()));
  UpperCase(entered.data());
  const char* const name = EnteredFileName(entered.data());
  // Neither nothing nor a folder is a name.
  if (*name != '\0') {
    AddUnlessListed(applications_, name);
    ClearEdit(IDC_APP_EDIT);
  }
}

void SettingsEditor::Browse() {
  static constexpr std::array kFilter = FileFilter("Applications (*.exe)|*.exe|");
  std::array<char, MAX_PATH> path = {"*.exe"};
  std::array<char, 64> fileTitle = {};
  if (AskForFile({.owner = dialog_,
                  .title = "Choose Application",
                  .filter = kFilter.data(),
                  .initialFolder = "",
                  .defaultExtension = "EXE",
                  .path = path,
                  .fileTitle = fileTitle})) {
    UpperCase(path.data());
    SetDlgItemTextA(dialog_, IDC_APP_EDIT, EnteredFileName(path.data()));
  }
}

INT_PTR SettingsEditor::OnCommand(int control) {
  switch (control) {
    case IDOK:
      Store();
      EndDialog(dialog_, 1);
      return TRUE;
    case IDCANCEL:
      EndDialog(dialog_, 0);
      return TRUE;
    case IDC_ADVANCED:
      ShowDefectiveApps(dialog_);
      return TRUE;
    case IDC_CODE_ADD:
      AddCode();
      return TRUE;
    case IDC_CODE_REMOVE:
      RemoveSelected(codes_);
      ClearEdit(IDC_CODE_EDIT);
      return TRUE;
    case IDC_APP_ADD:
      AddApplication();
      return TRUE;
    case IDC_APP_REMOVE:
      RemoveSelected(applications_);
      ClearEdit(IDC_APP_EDIT);
      return TRUE;
    case IDC_APP_BROWSE:
      Browse();
      return TRUE;
    case IDC_EDITOR_ABOUT:
      return ShowAbout(dialog_, settings_.handlerFourCC);
    default:
      return FALSE;
  }
}

INT_PTR CALLBACK EditorProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrA(dialog, DWLP_USER, lParam);
    SettingsEditor(dialog, *reinterpret_cast<CodecSettings*>(lParam)).Show();
    return TRUE;
  }
  auto* const settings = reinterpret_cast<CodecSettings*>(GetWindowLongPtrA(dialog, DWLP_USER));
  // Null while the controls are created, which may notify the dialog already.
  if (message == WM_COMMAND && settings != nullptr) {
    return SettingsEditor(dialog, *settings).OnCommand(LOWORD(wParam));
  }
  return FALSE;
}

}  // namespace

INT_PTR ShowSettingsEditor(HWND parent, CodecSettings& settings) {
  return ShowDialog(ModuleHandle(), IDD_SETTINGS_EDITOR, parent, EditorProcedure,
                    reinterpret_cast<LPARAM>(&settings));
}

}  // namespace qivm::ui
