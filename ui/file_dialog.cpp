#include "ui/file_dialog.h"

#include <commdlg.h>

#include "settings/module_handle.h"

namespace qivm::ui {

bool AskForFile(const FileQuestion& question) {
  OPENFILENAMEA request = {};
  request.lStructSize = sizeof request;
  request.hwndOwner = question.owner;
  request.hInstance = ModuleHandle();
  request.lpstrFilter = question.filter;
  request.nFilterIndex = 1;
  request.lpstrFile = question.path.data();
  request.nMaxFile = static_cast<DWORD>(question.path.size());
  request.lpstrFileTitle = question.fileTitle.data();
  request.nMaxFileTitle = static_cast<DWORD>(question.fileTitle.size());
  request.lpstrInitialDir = question.initialFolder;
  request.lpstrTitle = question.title;
  request.Flags = OFN_FILEMUSTEXIST;
  request.lpstrDefExt = question.defaultExtension;
  return GetOpenFileNameA(&request) != FALSE;
}

}  // namespace qivm::ui
