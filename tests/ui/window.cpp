#include "tests/ui/window.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <stdexcept>

namespace qivm::test {

void WaitUntil(const std::string& what, const std::function<bool()>& condition) {
  const ULONGLONG end = GetTickCount64() + kMostWaitMilliseconds;
  while (!condition()) {
    if (GetTickCount64() > end) {
      throw std::runtime_error("waited in vain: " + what);
    }
    Sleep(1);
  }
}

std::string Window::Text() const {
  std::array<char, 8192> text = {};
  Send(WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  return text.data();
}

std::string Window::ClassName() const {
  std::array<char, 256> name = {};
  GetClassNameA(handle_, name.data(), static_cast<int>(name.size()));
  return name.data();
}

RECT Window::RectInParent() const {
  std::array<POINT, 2> corners = {};
  RECT rect = {};
  GetWindowRect(handle_, &rect);
  corners = {{{rect.left, rect.top}, {rect.right, rect.bottom}}};
  MapWindowPoints(nullptr, GetParent(handle_), corners.data(), corners.size());
  return {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
}

SIZE Window::ClientSize() const {
  RECT rect = {};
  GetClientRect(handle_, &rect);
  return {rect.right, rect.bottom};
}

Window Window::Child(int id) const {
  const Window child(GetDlgItem(handle_, id));
  if (child.handle_ == nullptr) {
    throw std::runtime_error("no control " + std::to_string(id) + " in '" + Text() + "'");
  }
  return child;
}

std::vector<Window> Window::Children() const {
  std::vector<Window> children;
  for (HWND child = GetWindow(handle_, GW_CHILD); child != nullptr;
       child = GetWindow(child, GW_HWNDNEXT)) {
    children.emplace_back(child);
  }
  return children;
}

void Window::SetText(int id, const std::string& text) const {
  Child(id).Send(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

std::vector<std::string> Window::Items(int id) const {
  const Window list = Child(id);
  std::vector<std::string> items;
  const auto count = static_cast<WPARAM>(list.Send(LB_GETCOUNT));
  for (WPARAM index = 0; index < count; ++index) {
    std::string item(static_cast<std::size_t>(list.Send(LB_GETTEXTLEN, index)) + 1, '\0');
    list.Send(LB_GETTEXT, index, reinterpret_cast<LPARAM>(item.data()));
    items.emplace_back(item.c_str());
  }
  return items;
}

void Window::WaitUntilDrawn() const {
  const auto drawn = [](const Window& window) {
    return !GetUpdateRect(window.handle_, nullptr, FALSE);
  };
  WaitUntil("the window is drawn", [&] {
    const std::vector<Window> children = Children();
    return drawn(*this) && std::all_of(children.begin(), children.end(), drawn);
  });
  // What is being drawn counts as drawn already; this is answered when it really is.
  Send(WM_NULL);
}

void Window::WaitUntilClosed() const {
  WaitUntil("the window closes", [this] { return !Exists(); });
}

}  // namespace qivm::test
