#include "ui/dialog.h"

#include "settings/module_handle.h"

namespace qivm::ui {

std::string_view LoadText(UINT id, std::span<char> text) {
  text[0] = '\0';
  const int length = LoadStringA(ModuleHandle(), id, text.data(), static_cast<int>(text.size()));
  return {text.data(), static_cast<std::size_t>(length)};
}

void UpperCase(char* text) { CharUpperA(text); }

}  // namespace qivm::ui
