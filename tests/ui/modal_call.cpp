#include "tests/ui/modal_call.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <utility>

namespace qivm::test {
namespace {

/// Window class of dialogs, message boxes and file dialogs.
constexpr const char* kDialogClass = "#32770";
/// lParam of the WM_SYSCHAR that Alt and a character make: one repetition, Alt is down.
constexpr LPARAM kAltCharacter = 0x20000001;

BOOL CALLBACK KeepVisibleDialog(HWND handle, LPARAM dialogs) {
  const Window window(handle);
  if (IsWindowVisible(handle) && window.ClassName() == kDialogClass) {
    reinterpret_cast<std::vector<Window>*>(dialogs)->push_back(window);
  }
  return TRUE;
}

std::vector<Window> VisibleDialogs(DWORD threadId) {
  std::vector<Window> dialogs;
  EnumThreadWindows(threadId, KeepVisibleDialog, reinterpret_cast<LPARAM>(&dialogs));
  return dialogs;
}

struct OwnedDialogSearch {
  HWND owner;
  bool found;
};

BOOL CALLBACK FindOwnedDialog(HWND handle, LPARAM argument) {
  auto& search = *reinterpret_cast<OwnedDialogSearch*>(argument);
  search.found = search.found || (GetWindow(handle, GW_OWNER) == search.owner &&
                                  Window(handle).ClassName() == kDialogClass);
  return TRUE;
}

/// Whether a dialog of the owner's is not destroyed yet. One that is ended enables its owner a
/// moment before the call that showed it returns; a command that the owner gets in between would
/// overtake what that call's caller still has to do.
bool OwnsDialog(DWORD threadId, const Window& owner) {
  OwnedDialogSearch search = {owner.Handle(), false};
  EnumThreadWindows(threadId, FindOwnedDialog, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

}  // namespace

ModalCall::ModalCall(Function function)
    : thread_([this, function = std::move(function)] { Run(function); }) {
  WaitUntil("the thread starts", [this] { return threadId_ != 0; });
}

ModalCall::~ModalCall() {
  if (!returned_) {
    ADD_FAILURE() << "a modal dialog is still open";
    CloseEverything();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
}

void ModalCall::Run(const Function& function) {
  parent_ = Window(CreateWindowExA(0, "STATIC", "parent", WS_POPUP | WS_VISIBLE, 0, 0, 400, 300,
                                   nullptr, nullptr, nullptr, nullptr));
  threadId_ = GetCurrentThreadId();
  result_ = function(parent_.Handle());
  returned_ = true;
  DestroyWindow(parent_.Handle());
}

void ModalCall::CloseEverything() const {
  const ULONGLONG end = GetTickCount64() + kMostWaitMilliseconds;
  while (!returned_) {
    for (const Window& dialog : VisibleDialogs(threadId_)) {
      if (dialog.Enabled()) {
        dialog.Post(WM_COMMAND, IDCANCEL);
      }
    }
    if (GetTickCount64() > end) {
      std::cerr << "a modal dialog cannot be closed" << std::endl;
      std::abort();
    }
    Sleep(1);
  }
}

Window ModalCall::Dialog(const std::string& title) const {
  Window found;
  WaitUntil("the dialog '" + title + "'", [&] {
    for (const Window& dialog : VisibleDialogs(threadId_)) {
      if (dialog.Enabled() && dialog.Text() == title && !OwnsDialog(threadId_, dialog)) {
        found = dialog;
      }
    }
    return found.Handle() != nullptr;
  });
  return found;
}

Window ModalCall::TopDialog() const {
  Window found;
  WaitUntil("an enabled dialog", [&] {
    for (const Window& dialog : VisibleDialogs(threadId_)) {
      if (dialog.Enabled()) {
        found = dialog;
      }
    }
    return found.Handle() != nullptr;
  });
  return found;
}

LRESULT ModalCall::Result() {
  WaitUntil("the modal call returns", [this] { return returned_.load(); });
  thread_.join();
  return result_;
}

Window ModalCall::Focus() const {
  Window focus;
  WaitUntil("a control has the keyboard", [&] {
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    if (GetGUIThreadInfo(threadId_, &info)) {
      focus = Window(info.hwndFocus);
    }
    // A disabled dialog still has it for a moment when another opens or closes over it.
    return focus.Exists() && Window(GetAncestor(focus.Handle(), GA_ROOT)).Enabled();
  });
  return focus;
}

void ModalCall::PressKey(WORD key) const {
  const Window focus = Focus();
  const LPARAM scanCode = static_cast<LPARAM>(MapVirtualKeyA(key, MAPVK_VK_TO_VSC)) << 16;
  focus.Post(WM_KEYDOWN, key, scanCode | 1);
  focus.Post(WM_KEYUP, key, scanCode | static_cast<LPARAM>(0xc0000001));
}

void ModalCall::PressAlt(char character) const {
  Focus().Post(WM_SYSCHAR, static_cast<WPARAM>(character), kAltCharacter);
}

std::vector<int> ModalCall::TabOrder() const {
  const Window first = Focus();
  std::vector<int> ids;
  Window current = first;
  do {
    ids.push_back(current.Id());
    PressKey(VK_TAB);
    const Window previous = current;
    WaitUntil("the Tab key moves on", [&] {
      current = Focus();
      return current.Handle() != previous.Handle();
    });
  } while (current.Handle() != first.Handle());
  return ids;
}

}  // namespace qivm::test
