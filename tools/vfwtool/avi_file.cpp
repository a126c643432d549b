#include "tools/vfwtool/avi_file.h"

#include "tools/vfwtool/windows_text.h"

namespace qivm {
namespace {

// The class of AVI files. Without it, AVIFile would go by the file's extension.
constexpr CLSID kAviFileClass = {0x00020000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

HRESULT Open(const std::wstring& name, IAVIFile*& file) {
  CLSID fileClass = kAviFileClass;
  return AVIFileOpenW(&file, name.c_str(), OF_READ | OF_SHARE_DENY_WRITE, &fileClass);
}

/// The 8.3 name of a file, or `name` where it has none.
std::wstring ShortName(const std::wstring& name) {
  std::wstring shortName(MAX_PATH, L'\0');
  const DWORD length = GetShortPathNameW(name.c_str(), shortName.data(), MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return name;
  }
  shortName.resize(length);
  return shortName;
}

}  // namespace

AviFileHandle OpenAviFile(const std::string& name, HRESULT& result) {
  const std::wstring wideName = Utf16(name);
  IAVIFile* file = nullptr;
  result = Open(wideName, file);
  if (FAILED(result)) {
    // Not every AVIFile opens names that the ANSI code page lacks; the short name is within it.
    result = Open(ShortName(wideName), file);
  }
  return AviFileHandle(SUCCEEDED(result) ? file : nullptr);
}

}  // namespace qivm
