#include "tools/vfwtool/codecs/diagnosis.h"

#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/base/system.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/codecs/codec.h"
#include "tools/vfwtool/media/bytes.h"

namespace vfwtool {

namespace {

std::string FoundText(const CodecRegistration& registration) {
  if (registration.registered.empty()) {
    return "not registered";
  }
  std::string text = Concat(registration.registered, " (", registration.path, ", ");
  if (!registration.exists) {
    return text + "missing)";
  }
  text += registration.fileBits == 0 ? "no Windows library" : Concat(registration.fileBits, "-bit");
  if (registration.isTried) {
    text += registration.loadError.empty() ? ", can be loaded" : ", cannot be loaded";
  }
  return text + ')';
}

JsonObject RegistrationJson(const CodecRegistration& registration, const std::string& problem) {
  JsonObject json;
  json.Integer("bits", registration.bits)
      .Text("registered", registration.registered)
      .Text("path", registration.path)
      .Boolean("exists", registration.exists)
      .Integer("fileBits", registration.fileBits)
      .Boolean("mayWrite", registration.mayWrite);
  if (registration.isTried) {
    json.Text("loadError", registration.loadError)
        .Boolean("hasEntryPoint", registration.hasEntryPoint);
  }
  json.Text("problem", problem);
  return json;
}

}  // namespace

std::string Diagnosis::Problem(const CodecRegistration& registration) const {
  const std::string name = Concat("vidc.", FourCcText(code));
  const std::string programs = Concat(registration.bits, "-bit programs");
  if (registration.registered.empty()) {
    return Concat(programs, " do not see the codec: ", name,
                  " is not registered for them. As administrator, run the installer, or reg add "
                  "\"HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32\" /v ",
                  name, " /d FILE.dll /reg:", registration.bits);
  }
  if (!registration.exists) {
    return Concat(programs, " cannot load the codec: there is no ", registration.path,
                  ". Copy the ", registration.bits, "-bit driver there");
  }
  if (registration.fileBits != registration.bits) {
    return Concat(programs, " cannot load the codec: ", registration.path, " is ",
                  registration.fileBits == 0 ? std::string("no Windows library")
                                             : Concat("a ", registration.fileBits, "-bit library"),
                  ". Replace it by the ", registration.bits, "-bit driver");
  }
  if (!registration.isTried) {
    return {};
  }
  if (!registration.loadError.empty()) {
    return Concat(programs, " cannot load the codec: ", registration.path, ": ",
                  registration.loadError);
  }
  if (!registration.hasEntryPoint) {
    return Concat(registration.path, " is no codec: it does not export DriverProc");
  }
  if (!opensForCompression && !opensForDecompression) {
    return Concat(registration.path, " can be loaded, but does not open as a codec of the code ",
                  FourCcText(code), "; it may be the driver of another code");
  }
  return {};
}

bool Diagnosis::IsUsable() const {
  return std::ranges::all_of(registrations, [this](const CodecRegistration& registration) {
    return registration.bits != toolBits || Problem(registration).empty();
  });
}

std::string Diagnosis::Text() const {
  std::string text = Concat("codec ", FourCcText(code), ", as this ", toolBits,
                            "-bit program sees it on a ", systemBits, "-bit system\n");
  for (const CodecRegistration& registration : registrations) {
    text += Concat("  for ", registration.bits, "-bit    ", FoundText(registration), '\n');
  }
  text +=
      Concat("  rights        this user ",
             std::ranges::all_of(registrations, &CodecRegistration::mayWrite) ? "can" : "cannot",
             " register codecs\n");
  text += Concat("  compresses    ", opensForCompression ? "yes" : "no", "\n  decompresses  ",
                 opensForDecompression ? "yes" : "no", '\n');
  text += Concat("  all codecs of ", toolBits, "-bit programs:\n");
  for (const CodecDescription& codec : answering) {
    text += Concat("    ", codec.Text(), '\n');
  }
  if (answering.empty()) {
    text += "    none\n";
  }
  bool isWell = true;
  for (const CodecRegistration& registration : registrations) {
    const std::string problem = Problem(registration);
    if (!problem.empty()) {
      text += Concat(problem, ".\n");
      isWell = false;
    }
  }
  return isWell ? text + "Nothing is wrong.\n" : text;
}

JsonObject Diagnosis::Json() const {
  std::vector<JsonObject> views;
  views.reserve(registrations.size());
  for (const CodecRegistration& registration : registrations) {
    views.push_back(RegistrationJson(registration, Problem(registration)));
  }
  std::vector<JsonObject> codecs;
  codecs.reserve(answering.size());
  for (const CodecDescription& codec : answering) {
    codecs.push_back(codec.Json());
  }
  JsonObject json;
  json.Text("code", FourCcText(code))
      .Integer("toolBits", toolBits)
      .Integer("systemBits", systemBits)
      .Boolean("usable", IsUsable())
      .Boolean("opensForCompression", opensForCompression)
      .Boolean("opensForDecompression", opensForDecompression)
      .List("registrations", views)
      .List("codecs", codecs);
  return json;
}

unsigned ProgramBits(const std::string& name) {
  constexpr std::size_t kHeaderPosition = 0x3C;
  constexpr std::uint16_t kMachine32 = 0x014C;
  constexpr std::uint16_t kMachine64 = 0x8664;
  std::ifstream file(PathOf(name), std::ios::binary);
  std::array<std::uint8_t, kHeaderPosition + 4> start{};
  const auto read = [&file](std::span<std::uint8_t> bytes) {
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
  };
  if (!read(start) || start[0] != 'M' || start[1] != 'Z') {
    return 0;
  }
  file.seekg(static_cast<std::streamoff>(ReadLittleEndian32(start, kHeaderPosition)));
  std::array<std::uint8_t, 6> header{};
  if (!read(header) || header[0] != 'P' || header[1] != 'E') {
    return 0;
  }
  switch (ReadLittleEndian16(header, 4)) {
    case kMachine32:
      return 32;
    case kMachine64:
      return 64;
    default:
      return 0;
  }
}

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

}  // namespace vfwtool
