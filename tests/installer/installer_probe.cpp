#include <windows.h>

#include <aclapi.h>
#include <array>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string>

// What a check of the installer needs of other programs that run on the same Windows.
//
// usage: installer_probe load FILE          has the library loaded, as a program that uses it
//        installer_probe lock FILE          has the file open and shares it with nobody
//        installer_probe read FILE          has the file open and lets others read it alone
//        installer_probe user COMMAND       runs a command without administrator rights; its exit
//                                           code is this program's
//        installer_probe settings           exit code 0 when the keys of the settings give all
//                                           users the access that the driver needs to save them
//        installer_probe registry KEY...    prints the keys of HKEY_LOCAL_MACHINE, as 64-bit
//                                           programs see them, and all that is inside
//
// 'load', 'lock' and 'read' say 'ready' and end when their standard input does.

namespace {

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": error " + std::to_string(GetLastError()));
}

void WaitForEndOfInput() {
  std::puts("ready");
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
}

int Load(const char* file) {
  HMODULE const library = LoadLibraryA(file);
  if (library == nullptr) {
    Fail(std::string("cannot load ") + file);
  }
  WaitForEndOfInput();
  FreeLibrary(library);
  return 0;
}

int Open(const char* file, DWORD sharing) {
  HANDLE const handle = CreateFileA(file, GENERIC_READ, sharing, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    Fail(std::string("cannot open ") + file);
  }
  WaitForEndOfInput();
  CloseHandle(handle);
  return 0;
}

/// The token of this process without what an administrator has over an ordinary user.
HANDLE UserToken() {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &token)) {
    Fail("cannot open the process's token");
  }
  std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators = {};
  auto size = static_cast<DWORD>(administrators.size());
  if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size)) {
    Fail("cannot name the administrators");
  }
  SID_AND_ATTRIBUTES denied = {administrators.data(), 0};
  HANDLE restricted = nullptr;
  if (!CreateRestrictedToken(token, DISABLE_MAX_PRIVILEGE, 1, &denied, 0, nullptr, 0, nullptr,
                             &restricted)) {
    Fail("cannot make a user's token");
  }
  CloseHandle(token);
  return restricted;
}

int RunAsUser(std::span<char*> arguments) {
  std::string command;
  for (const std::string argument : arguments) {
    // NSIS's programs do not know their own options in quotes.
    const bool quoted = argument.find(' ') != std::string::npos;
    command += (command.empty() ? "" : " ") + (quoted ? "\"" + argument + "\"" : argument);
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  HANDLE const token = UserToken();
  if (!CreateProcessAsUserA(token, nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                            nullptr, &startup, &process)) {
    Fail("cannot start " + command);
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exitCode = 0;
  GetExitCodeProcess(process.hProcess, &exitCode);
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  CloseHandle(token);
  return static_cast<int>(exitCode);
}

/// What the key's access list gives to the group of all users. Read from the list: not every system
/// that looks like Windows lets it decide.
ACCESS_MASK AccessOfUsers(const std::string& key, bool forSubkeys) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  std::string name = "CLASSES_ROOT\\" + key;
  if (GetNamedSecurityInfoA(name.data(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr,
                            nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
    return 0;
  }
  std::array<BYTE, SECURITY_MAX_SID_SIZE> users = {};
  auto size = static_cast<DWORD>(users.size());
  if (!CreateWellKnownSid(WinBuiltinUsersSid, nullptr, users.data(), &size)) {
    Fail("cannot name the users");
  }
  ACCESS_MASK access = 0;
  for (DWORD index = 0; list != nullptr && index < list->AceCount; ++index) {
    void* entry = nullptr;
    if (!GetAce(list, index, &entry)) {
      Fail("cannot read the access list of " + key);
    }
    auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
        EqualSid(&allowed->SidStart, users.data()) &&
        (!forSubkeys || (allowed->Header.AceFlags & CONTAINER_INHERIT_ACE) != 0)) {
      access |= allowed->Mask;
    }
  }
  LocalFree(descriptor);
  return access;
}

struct NeededAccess {
  const char* key;
  bool forSubkeys;
  ACCESS_MASK access;
};

int CheckSettings() {
  constexpr ACCESS_MASK kSave = KEY_READ | KEY_WRITE;
  constexpr std::array<NeededAccess, 4> kNeeded = {{
      {"Software\\Norvane\\MPEG2 codec", false, kSave},
      {"Software\\Pellaro\\Meridel\\Codec", false, kSave},
      // Saved by deleting it and making it again.
      {"Software\\Norvane\\Common codec's settings", true, kSave | DELETE},
      {"Software\\Norvane\\Common codec's settings\\YUV defective application", false,
       kSave | DELETE},
  }};
  int refused = 0;
  for (const auto& [key, forSubkeys, needed] : kNeeded) {
    const ACCESS_MASK access = AccessOfUsers(key, forSubkeys);
    if ((access & needed) != needed) {
      std::printf("%s: users have the access %lx, not %lx\n", key, access, needed);
      ++refused;
    }
  }
  return refused;
}

void PrintKey(const std::string& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &key) !=
      ERROR_SUCCESS) {
    return;
  }
  std::printf("[%s]\n", path.c_str());
  std::array<char, 1024> name = {};
  std::array<BYTE, 65536> data = {};
  for (DWORD index = 0;; ++index) {
    auto nameSize = static_cast<DWORD>(name.size());
    auto dataSize = static_cast<DWORD>(data.size());
    DWORD type = 0;
    if (RegEnumValueA(key, index, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize) !=
        ERROR_SUCCESS) {
      break;
    }
    std::printf("%s=%lu:", name.data(), type);
    for (const BYTE byte : std::span(data).first(dataSize)) {
      std::printf("%02x", byte);
    }
    std::printf("\n");
  }
  for (DWORD index = 0;; ++index) {
    auto nameSize = static_cast<DWORD>(name.size());
    if (RegEnumKeyExA(key, index, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    PrintKey(path + "\\" + name.data());
  }
  RegCloseKey(key);
}

int PrintRegistry(std::span<char*> keys) {
  for (const char* const key : keys) {
    PrintKey(key);
  }
  return 0;
}

int Run(std::span<char*> arguments) {
  const std::string action = arguments.size() > 1 ? arguments[1] : "";
  if (action == "load" && arguments.size() == 3) {
    return Load(arguments[2]);
  }
  if (action == "lock" && arguments.size() == 3) {
    return Open(arguments[2], 0);
  }
  if (action == "read" && arguments.size() == 3) {
    return Open(arguments[2], FILE_SHARE_READ);
  }
  if (action == "user" && arguments.size() > 2) {
    return RunAsUser(arguments.subspan(2));
  }
  if (action == "settings" && arguments.size() == 2) {
    return CheckSettings();
  }
  if (action == "registry" && arguments.size() > 2) {
    return PrintRegistry(arguments.subspan(2));
  }
  std::fputs(
      "usage: installer_probe load FILE | lock FILE | read FILE | user COMMAND | settings | "
      "registry KEY\n",
      stderr);
  return 100;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    return Run({arguments, static_cast<std::size_t>(argumentCount)});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "installer_probe: %s\n", error.what());
    return 101;
  }
}
