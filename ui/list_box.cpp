#include "ui/list_box.h"

#include <array>
#include <cstring>

namespace qivm::ui {
namespace {

// The control's own word for no item is the list's: the other methods rely on it.
static_assert(LB_ERR == NameList::kNone);

LPARAM TextParameter(const char* text) { return reinterpret_cast<LPARAM>(text); }

}  // namespace

int ListBox::Send(UINT message, int index, LPARAM argument) const {
  return static_cast<int>(SendMessageA(window_, message, static_cast<WPARAM>(index), argument));
}

int ListBox::Count() const { return Send(LB_GETCOUNT, 0, 0); }

int ListBox::Selected() const { return Send(LB_GETCURSEL, 0, 0); }

int ListBox::Find(const char* name) const {
  // Searching from behind "no item" takes in the whole list.
  return Send(LB_FINDSTRINGEXACT, kNone, TextParameter(name));
}

bool ListBox::Text(int index, std::span<char> text) const {
  // What the system says of a length is the most that it can be, often twice what it is: it serves
  // to keep the copy inside the buffer, and the text itself to see whether it is too long.
  std::array<char, 4 * kDefectiveNameBytes> item = {};
  const int most = Send(LB_GETTEXTLEN, index, 0);
  if (most == LB_ERR || static_cast<std::size_t>(most) >= item.size() ||
      Send(LB_GETTEXT, index, TextParameter(item.data())) == LB_ERR) {
    return false;
  }
  const std::size_t bytes = std::strlen(item.data()) + 1;
  if (bytes > text.size()) {
    return false;
  }
  std::memcpy(text.data(), item.data(), bytes);
  return true;
}

int ListBox::Add(const char* name) { return Send(LB_ADDSTRING, 0, TextParameter(name)); }

void ListBox::Delete(int index) { Send(LB_DELETESTRING, index, 0); }

void ListBox::Select(int index) { Send(LB_SETCURSEL, index, 0); }

}  // namespace qivm::ui
