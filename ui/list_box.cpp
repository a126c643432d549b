#include "ui/list_box.h"

#include <array>

#include "platform/heap_object.h"

namespace qivm::ui {
namespace {

// The control's own word for no item is the list's: the other methods rely on it.
static_assert(LB_ERR == NameList::kNone);

/// Room behind the length that the system names: for the NUL, and for all bytes of a name whose
/// length it counts in UTF-16 units.
constexpr std::size_t kSlack = kDefectiveNameBytes;
/// Lengths that are not far from the truth cost no memory of the heap.
constexpr std::size_t kUsualBytes = 4 * kDefectiveNameBytes;

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
  // What the system says of a length is the most that it can be, often several times what it is: it
  // tells how much memory the copy may take, and nothing of whether the text itself is too long.
  const int most = Send(LB_GETTEXTLEN, index, 0);
  if (most < 0) {
    return false;
  }
  std::array<char, kUsualBytes> usual = {};
  HeapBuffer large;
  auto* item = usual.data();
  const std::size_t bytes = static_cast<std::size_t>(most) + kSlack;
  if (bytes > usual.size()) {
    if (!large.Allocate(bytes)) {
      return false;
    }
    item = reinterpret_cast<char*>(large.Bytes().data());
  }
  if (Send(LB_GETTEXT, index, TextParameter(item)) == LB_ERR) {
    return false;
  }
  lstrcpynA(text.data(), item, static_cast<int>(text.size()));
  return true;
}

int ListBox::Add(const char* name) { return Send(LB_ADDSTRING, 0, TextParameter(name)); }

void ListBox::Delete(int index) { Send(LB_DELETESTRING, index, 0); }

void ListBox::Select(int index) { Send(LB_SETCURSEL, index, 0); }

}  // namespace qivm::ui
