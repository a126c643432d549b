#include <windows.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

// Goes through the windows of the installer as a user does who accepts everything.
//
// usage: wizard_probe yes|no SETUP
//
// Prints every question that is asked, and answers it so. The exit code is the installer's.

namespace {

constexpr DWORD kMostWaitMilliseconds = 60000;
constexpr const char* kDialogClass = "#32770";
/// The text of a message box.
constexpr int kMessageText = 0xffff;

struct Search {
  DWORD process;
  HWND found;
};

BOOL CALLBACK FindDialog(HWND window, LPARAM argument) {
  auto& search = *reinterpret_cast<Search*>(argument);
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  std::array<char, 32> name = {};
  GetClassNameA(window, name.data(), static_cast<int>(name.size()));
  if (process == search.process && IsWindowVisible(window) && IsWindowEnabled(window) &&
      std::string(name.data()) == kDialogClass) {
    search.found = window;
    return FALSE;
  }
  return TRUE;
}

/// The dialog that the process waits for an answer to, if there is one.
HWND OpenDialog(DWORD process) {
  Search search = {process, nullptr};
  EnumWindows(FindDialog, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

void Answer(HWND question, int answer) {
  std::array<char, 1024> text = {};
  GetDlgItemTextA(question, kMessageText, text.data(), static_cast<int>(text.size()));
  std::printf("%s\n", text.data());
  SendDlgItemMessageA(question, answer, BM_CLICK, 0, 0);
}

/// Pushes the button that goes on, when it can be pushed.
void GoOn(HWND page) {
  HWND const next = GetDlgItem(page, IDOK);
  if (next != nullptr && IsWindowVisible(next) && IsWindowEnabled(next)) {
    SendMessageA(next, BM_CLICK, 0, 0);
  }
}

int GoThrough(int answer, std::string setup) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessA(nullptr, setup.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process)) {
    throw std::runtime_error("cannot start " + setup);
  }
  const ULONGLONG end = GetTickCount64() + kMostWaitMilliseconds;
  while (WaitForSingleObject(process.hProcess, 50) == WAIT_TIMEOUT) {
    HWND const dialog = OpenDialog(process.dwProcessId);
    if (dialog != nullptr && GetDlgItem(dialog, answer) != nullptr &&
        GetDlgItem(dialog, IDOK) == nullptr) {
      Answer(dialog, answer);
    } else if (dialog != nullptr) {
      GoOn(dialog);
    }
    if (GetTickCount64() > end) {
      TerminateProcess(process.hProcess, 102);
      throw std::runtime_error("the installer does not end");
    }
  }
  DWORD exitCode = 0;
  GetExitCodeProcess(process.hProcess, &exitCode);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(exitCode);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) {
    std::fputs("usage: wizard_probe yes|no SETUP\n", stderr);
    return 100;
  }
  try {
    return GoThrough(std::string(arguments[1]) == "yes" ? IDYES : IDNO, arguments[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "wizard_probe: %s\n", error.what());
    return 101;
  }
}
