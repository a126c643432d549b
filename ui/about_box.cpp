#include <windows.h>

#include <array>
#include <span>
#include <string_view>

#include "platform/heap_object.h"
#include "resources/resource.h"
#include "settings/module_handle.h"
#include "ui/about_text.h"
#include "ui/dialog.h"
#include "ui/dialogs.h"

namespace qivm::ui {
namespace {

/// The version block of the library's own file, in memory of the codec's heap. Empty when the file
/// has none or it cannot be read.
class OwnVersionBlock final : public VersionBlock {
 public:
  OwnVersionBlock() {
    std::array<char, MAX_PATH + 1> path = {};
    const DWORD length =
        GetModuleFileNameA(ModuleHandle(), path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size()) {
      return;
    }
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeA(path.data(), &handle);
    if (size == 0 || !block_.Allocate(size)) {
      return;
    }
    if (!GetFileVersionInfoA(path.data(), 0, size, block_.Bytes().data())) {
      block_.Release();
    }
  }

  std::span<const char> Value(const char* path) const override {
    void* value = nullptr;
    UINT size = 0;
    if (block_.Bytes().empty() || !VerQueryValueA(block_.Bytes().data(), path, &value, &size) ||
        value == nullptr) {
      return {};
    }
    return {static_cast<const char*>(value), size};
  }

 private:
  HeapBuffer block_;
};

void ShowText(HWND dialog, FourCC code) {
  std::array<char, 4096> textBuffer = {};
  std::array<char, 256> labelBuffer = {};
  const std::string_view text =
      LoadText(code == kQivm ? IDS_ABOUT_I_FRAMES : IDS_ABOUT_GENERAL, textBuffer);
  const std::string_view label = LoadText(IDS_BUILD, labelBuffer);
  const BuildValue build = FindBuild(OwnVersionBlock());
  std::array<char, textBuffer.size() + labelBuffer.size() + build.size()> aboutText = {};
  ComposeAboutText(aboutText, text, label, build.data());
  SendDlgItemMessageA(dialog, IDC_ABOUT_TEXT, WM_SETTEXT, 0,
                      reinterpret_cast<LPARAM>(aboutText.data()));
}

INT_PTR CALLBACK AboutProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    ShowText(dialog, static_cast<FourCC>(lParam));
    return TRUE;
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDOK:
      EndDialog(dialog, 1);
      return TRUE;
    case IDCANCEL:
      EndDialog(dialog, 0);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowAbout(HWND parent, FourCC code) {
  return ShowDialog(ModuleHandle(), IDD_ABOUT, parent, AboutProcedure, static_cast<LPARAM>(code));
}

}  // namespace qivm::ui
