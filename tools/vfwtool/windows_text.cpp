#include "tools/vfwtool/windows_text.h"

#include <windows.h>

namespace qivm {

std::string Utf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), bytes, nullptr, nullptr);
  return result;
}

std::wstring Utf16(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring result(static_cast<std::size_t>(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), units);
  return result;
}

}  // namespace qivm
