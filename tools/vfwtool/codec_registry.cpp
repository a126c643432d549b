#include "tools/vfwtool/codec_registry.h"

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/windows_text.h"

namespace qivm {
namespace {

constexpr wchar_t kDriversKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";
constexpr unsigned kToolBits = 8 * sizeof(void*);

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using KeyHandle = std::unique_ptr<HKEY__, KeyCloser>;

KeyHandle OpenDriversKey(unsigned bits, REGSAM access) {
  HKEY key = nullptr;
  const REGSAM view = bits == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
  const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kDriversKey, 0, access | view, &key);
  return KeyHandle(status == ERROR_SUCCESS ? key : nullptr);
}

std::wstring RegisteredFile(unsigned bits, FourCc code) {
  const KeyHandle key = OpenDriversKey(bits, KEY_QUERY_VALUE);
  if (key == nullptr) {
    return {};
  }
  const std::wstring name = Utf16(Concat("vidc.", FourCcText(code)));
  std::wstring text(MAX_PATH, L'\0');
  DWORD bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  const LSTATUS status =
      RegGetValueW(key.get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
  if (status != ERROR_SUCCESS) {
    return {};
  }
  text.resize(wcslen(text.c_str()));
  return text;
}

unsigned SystemBits() {
  SYSTEM_INFO info{};
  GetNativeSystemInfo(&info);
  return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL ? 32 : 64;
}

/// The folder in which programs of that bitness find system libraries, by the name that is true
/// without redirection.
std::wstring SystemFolder(unsigned bits, unsigned systemBits) {
  std::wstring folder(MAX_PATH, L'\0');
  const UINT length = bits == 32 && systemBits == 64
                          ? GetSystemWow64DirectoryW(folder.data(), MAX_PATH)
                          : GetSystemDirectoryW(folder.data(), MAX_PATH);
  folder.resize(length);
  return folder;
}

/// As long as it lives, a 32-bit program sees the files of a 64-bit system by their true names.
class RedirectionOff {
 public:
  RedirectionOff() : isOff_(Wow64DisableWow64FsRedirection(&state_) != FALSE) {}
  RedirectionOff(const RedirectionOff&) = delete;
  RedirectionOff& operator=(const RedirectionOff&) = delete;
  ~RedirectionOff() {
    if (isOff_) {
      Wow64RevertWow64FsRedirection(state_);
    }
  }

 private:
  void* state_ = nullptr;
  bool isOff_;
};

std::string LastErrorText() {
  const DWORD error = GetLastError();
  std::wstring text(512, L'\0');
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                     text.data(), static_cast<DWORD>(text.size()), nullptr);
  text.resize(length);
  while (!text.empty() && (text.back() <= L' ' || text.back() == L'.')) {
    text.pop_back();
  }
  return Concat(text.empty() ? "" : Concat(Utf8(text), " "), "(error ", error, ")");
}

struct LibraryCloser {
  void operator()(HMODULE library) const { FreeLibrary(library); }
};

void TryToLoad(const std::wstring& file, CodecRegistration& registration) {
  registration.isTried = true;
  const std::unique_ptr<HINSTANCE__, LibraryCloser> library(LoadLibraryW(file.c_str()));
  if (library == nullptr) {
    registration.loadError = LastErrorText();
    return;
  }
  registration.hasEntryPoint = GetProcAddress(library.get(), "DriverProc") != nullptr;
}

CodecRegistration LookUp(unsigned bits, unsigned systemBits, FourCc code) {
  CodecRegistration registration{.bits = bits};
  registration.mayWrite = OpenDriversKey(bits, KEY_SET_VALUE) != nullptr;
  const std::wstring file = RegisteredFile(bits, code);
  if (file.empty()) {
    return registration;
  }
  registration.registered = Utf8(file);
  const bool hasFolder = file.find_first_of(L"\\:") != std::wstring::npos;
  registration.path = Utf8(hasFolder ? file : SystemFolder(bits, systemBits) + L"\\" + file);
  {
    const RedirectionOff redirectionOff;
    registration.exists =
        GetFileAttributesW(Utf16(registration.path).c_str()) != INVALID_FILE_ATTRIBUTES;
    registration.fileBits = ProgramBits(registration.path);
  }
  if (bits == kToolBits && registration.exists) {
    TryToLoad(file, registration);
  }
  return registration;
}

bool Opens(FourCc code, UINT mode) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, code, mode);
  if (codec == nullptr) {
    return false;
  }
  ICClose(codec);
  return true;
}

}  // namespace

Diagnosis Diagnose(FourCc code) {
  Diagnosis diagnosis{.code = code, .toolBits = kToolBits, .systemBits = SystemBits()};
  for (const unsigned bits : {32U, 64U}) {
    if (bits <= diagnosis.systemBits) {
      diagnosis.registrations.push_back(LookUp(bits, diagnosis.systemBits, code));
    }
  }
  diagnosis.opensForCompression = Opens(code, ICMODE_COMPRESS);
  diagnosis.opensForDecompression = Opens(code, ICMODE_DECOMPRESS);
  diagnosis.answering = ListCodecs();
  return diagnosis;
}

}  // namespace qivm
