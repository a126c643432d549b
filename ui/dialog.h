#pragma once

#include <windows.h>

#include <span>
#include <string_view>

namespace qivm::ui {

/// Shows a dialog of a module's resources modally and returns its result, or -1 when the system
/// cannot show it. `parameter` reaches the procedure with WM_INITDIALOG.
inline INT_PTR ShowDialog(HINSTANCE module, WORD resource, HWND parent, DLGPROC procedure,
                          LPARAM parameter) {
  return DialogBoxParamA(module, MAKEINTRESOURCEA(resource), parent, procedure, parameter);
}

/// Loads a string of the library's resources into `text`, which has room for one NUL at least.
/// Empty when there is no such string.
std::string_view LoadText(UINT id, std::span<char> text);

/// Upper-cases a NUL-terminated text in place, as the system's locale does.
void UpperCase(char* text);

}  // namespace qivm::ui
