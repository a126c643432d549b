#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/ui/window.h"

namespace qivm::test {

/// A call that shows modal dialogs, on a thread of its own that also owns the dialogs' parent
/// window. The test stays free to act as the user.
class ModalCall {
 public:
  using Function = std::function<LRESULT(HWND parent)>;

  explicit ModalCall(Function function);
  /// Fails the test when the call has not returned, and closes what it still shows.
  ~ModalCall();
  ModalCall(const ModalCall&) = delete;
  ModalCall& operator=(const ModalCall&) = delete;

  /// Waits until the call shows an enabled dialog with this title and returns it.
  Window Dialog(const std::string& title) const;
  /// Waits until the call shows an enabled dialog, and returns it.
  Window TopDialog() const;
  /// Waits until the call returns; its result.
  LRESULT Result();
  Window Parent() const { return parent_; }

  /// Waits until a control of an enabled dialog has the keyboard, and returns it.
  Window Focus() const;
  /// Presses and releases a key on the control that has the keyboard.
  void PressKey(WORD key) const;
  /// Presses Alt and the key of a character.
  void PressAlt(char character) const;
  /// Presses the Tab key until the control that has the keyboard now has it again; the ids of the
  /// controls that had it, this one first.
  std::vector<int> TabOrder() const;

 private:
  void Run(const Function& function);
  void CloseEverything() const;

  std::atomic<DWORD> threadId_ = 0;
  std::atomic<bool> returned_ = false;
  Window parent_;
  LRESULT result_ = 0;
  std::thread thread_;
};

}  // namespace qivm::test
