#pragma once

#include "tests/ui/window.h"

namespace qivm::test {

/// A list box that says that every item is ten times as long as it is while this lives. Windows may
/// overstate lengths: those of an ANSI dialog's list are guessed where the list keeps UTF-16.
class OverstatingList {
 public:
  explicit OverstatingList(const Window& list)
      : list_(list.Handle()),
        original_(reinterpret_cast<WNDPROC>(
            SetWindowLongPtrA(list_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Procedure)))) {
    SetPropA(list_, kOriginal, reinterpret_cast<HANDLE>(original_));
  }
  /// The list may be gone, with its dialog.
  ~OverstatingList() {
    if (IsWindow(list_)) {
      SetWindowLongPtrA(list_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(original_));
      RemovePropA(list_, kOriginal);
    }
  }
  OverstatingList(const OverstatingList&) = delete;
  OverstatingList& operator=(const OverstatingList&) = delete;

 private:
  static constexpr const char* kOriginal = "OverstatingList";

  static LRESULT CALLBACK Procedure(HWND list, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* const original = reinterpret_cast<WNDPROC>(GetPropA(list, kOriginal));
    const LRESULT result = CallWindowProcA(original, list, message, wParam, lParam);
    return message == LB_GETTEXTLEN && result != LB_ERR ? 10 * result : result;
  }

  HWND list_;
  WNDPROC original_;
};

}  // namespace qivm::test
