#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace qivm::test {

/// How long a test waits for something to happen before it fails. Nothing takes a fraction of it.
constexpr DWORD kMostWaitMilliseconds = 60000;

/// Waits until `condition` holds; throws when it does not within kMostWaitMilliseconds. `what`
/// names the condition in the failure.
void WaitUntil(const std::string& what, const std::function<bool()>& condition);

/// A window of this process, for a thread that is not its own: what a user sees of it and does to
/// it.
class Window {
 public:
  Window() = default;
  explicit Window(HWND handle) : handle_(handle) {}

  HWND Handle() const { return handle_; }
  bool Exists() const { return IsWindow(handle_) != FALSE; }
  bool Enabled() const { return IsWindowEnabled(handle_) != FALSE; }
  std::string Text() const;
  std::string ClassName() const;
  int Id() const { return GetDlgCtrlID(handle_); }
  DWORD Style() const { return static_cast<DWORD>(GetWindowLongA(handle_, GWL_STYLE)); }
  Window Owner() const { return Window(GetWindow(handle_, GW_OWNER)); }
  /// The window rectangle of a child in its parent's client coordinates.
  RECT RectInParent() const;
  SIZE ClientSize() const;

  /// The child with this id; fails the test when there is none.
  Window Child(int id) const;
  /// All direct children, in the order in which the Tab key goes through them.
  std::vector<Window> Children() const;

  LRESULT Send(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const {
    return SendMessageA(handle_, message, wParam, lParam);
  }
  void Post(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const {
    PostMessageA(handle_, message, wParam, lParam);
  }

  /// Pushes a button and returns when it has taken effect.
  void Click(int id) const { Child(id).Send(BM_CLICK); }
  /// Pushes a button that opens a modal window.
  void ClickToOpen(int id) const { Child(id).Post(BM_CLICK); }
  /// Pushes the close box.
  void PushCloseBox() const { Post(WM_SYSCOMMAND, SC_CLOSE); }

  void SetText(int id, const std::string& text) const;
  std::string Text(int id) const { return Child(id).Text(); }
  /// The items of a list box from the top.
  std::vector<std::string> Items(int id) const;
  int Selection(int id) const { return static_cast<int>(Child(id).Send(LB_GETCURSEL)); }
  void Select(int id, int index) const { Child(id).Send(LB_SETCURSEL, static_cast<WPARAM>(index)); }
  bool Checked(int id) const { return Child(id).Send(BM_GETCHECK) == BST_CHECKED; }

  /// Waits until the window and its controls are drawn.
  void WaitUntilDrawn() const;
  /// Waits until the window is gone.
  void WaitUntilClosed() const;

 private:
  HWND handle_ = nullptr;
};

}  // namespace qivm::test
