// A host program of its own for tests that need one: another process beside the test's, one that
// ends in the middle, one without a desktop. The exit code is 0 when all was well.
//
// usage: driver_host leave-contexts | edit-settings CODE TIMES | without-desktop

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

/// The settings record.
struct Settings {
  DWORD handler;
  DWORD changeFieldsOrder;
  std::array<DWORD, 16> codes;
  char applications[16][64];
};
static_assert(sizeof(Settings) == 1096);

/// Ends in the middle of its work: both contexts are open and their helper threads wait.
int LeaveContexts() {
  const BITMAPINFOHEADER header = Header(kYuy2, 256, 128);
  DriverModule driver;
  const ProcessorCount processors(driver.Handle(), 2);
  const Instance instance(driver);
  EXPECT_EQ(BeginCompress(instance, header), ICERR_OK);
  EXPECT_EQ(BeginDecompress(instance, header), ICERR_OK);
  Decompress(instance, header, Compress(instance, header, MakePicture(header)));
  std::exit(::testing::UnitTest::GetInstance()->Passed() ? 0 : 1);
}

/// What the user of the settings dialog enters.
DWORD g_enteredCode = 0;

INT_PTR WINAPI EnterSettings(HINSTANCE /*module*/, LPCSTR resource, HWND /*parent*/,
                             DLGPROC procedure, LPARAM parameter) {
  constexpr UINT_PTR kLauncher = 101;
  constexpr WPARAM kIFramesButton = 1001;
  if (reinterpret_cast<UINT_PTR>(resource) == kLauncher) {
    procedure(nullptr, WM_COMMAND, kIFramesButton, 0);
    procedure(nullptr, WM_COMMAND, IDCANCEL, 0);
    return 0;
  }
  auto& settings = *reinterpret_cast<Settings*>(parameter);
  settings.changeFieldsOrder = 1 - settings.changeFieldsOrder;
  settings.codes = {kQivmCode, g_enteredCode, g_enteredCode};
  std::memset(settings.applications, 0, sizeof(settings.applications));
  std::memcpy(settings.applications[0], "EDITOR.EXE", sizeof("EDITOR.EXE"));
  return IDOK;
}

/// Whether the record is one that a load may leave, whoever wrote to the registry meanwhile.
bool IsSound(const Settings& settings) {
  const auto isKnown = [](DWORD code) {
    constexpr DWORD kKnown[] = {0, kQivmCode, kMmesCode, MAKEFOURCC('A', 'A', 'A', 'A'),
                                MAKEFOURCC('B', 'B', 'B', 'B')};
    return std::ranges::find(kKnown, code) != std::end(kKnown);
  };
  return settings.changeFieldsOrder <= 1 && std::ranges::all_of(settings.codes, isKnown) &&
         settings.codes[0] == kQivmCode &&
         std::ranges::all_of(settings.applications,
                             [](const auto& name) { return name[sizeof(name) - 1] == '\0'; });
}

/// Loads, edits and saves the settings again and again.
int EditSettings(const char* code, int times) {
  std::memcpy(&g_enteredCode, code, sizeof(g_enteredCode));
  for (int i = 0; i < times; ++i) {
    const DriverModule driver;
    const ImportHook hook(driver.Handle(), "DialogBoxParamA",
                          reinterpret_cast<void*>(&EnterSettings));
    {
      const Instance instance(driver);
      Settings loaded = {};
      EXPECT_EQ(instance.Send(ICM_GETSTATE, &loaded, sizeof(loaded)), ICERR_OK);
      EXPECT_TRUE(IsSound(loaded)) << "load " << i;
    }
    EXPECT_EQ(driver.Send(0, DRV_CONFIGURE, LPARAM{1}), 0);
    const Instance instance(driver);
    Settings edited = {};
    EXPECT_EQ(instance.Send(ICM_GETSTATE, &edited, sizeof(edited)), ICERR_OK);
    EXPECT_EQ(edited.codes[1], g_enteredCode);
  }
  return 0;
}

/// Whether the process runs where nobody can see a window, as services do.
bool IsWithoutDesktop() {
  USEROBJECTFLAGS flags = {};
  return GetUserObjectInformationA(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof(flags),
                                   nullptr) != FALSE &&
         (flags.dwFlags & WSF_VISIBLE) == 0;
}

BOOL CALLBACK CancelDialog(HWND window, LPARAM cancelled) {
  std::array<char, 16> name = {};
  GetClassNameA(window, name.data(), static_cast<int>(name.size()));
  if (std::strcmp(name.data(), "#32770") == 0) {
    PostMessageA(window, WM_COMMAND, IDCANCEL, 0);
    *reinterpret_cast<bool*>(cancelled) = true;
  }
  return TRUE;
}

/// Sends a message that shows a dialog, on a thread of its own, and cancels what it shows. Nobody
/// sees the dialog, but the message must come back all the same.
void CancelDialogOf(const DriverModule& driver, UINT message, LPARAM parameter) {
  std::atomic<DWORD> threadId = 0;
  std::atomic<bool> returned = false;
  std::thread caller([&] {
    threadId = GetCurrentThreadId();
    const Instance instance(driver);
    instance.Send(message, parameter);
    returned = true;
  });
  bool cancelled = false;
  constexpr int kMostTries = 2000;
  for (int i = 0; i < kMostTries && !returned; ++i) {
    if (threadId != 0) {
      EnumThreadWindows(threadId, &CancelDialog, reinterpret_cast<LPARAM>(&cancelled));
    }
    Sleep(10);
  }
  if (!returned) {
    // A thread that never ends cannot be waited for.
    std::fprintf(stderr, "driver_host: the dialog of message %u does not end\n", message);
    std::_Exit(1);
  }
  caller.join();
  EXPECT_TRUE(cancelled) << "message " << message << " showed no dialog";
}

int WithoutDesktop() {
  EXPECT_TRUE(IsWithoutDesktop());
  const BITMAPINFOHEADER header = Header(kRgb32, 64, 48);
  const DriverModule driver;
  const Instance instance(driver);
  ICINFO info = {};
  EXPECT_EQ(instance.Send(ICM_GETINFO, &info, sizeof(info)), LRESULT{sizeof(info)});
  EXPECT_EQ(instance.Send(ICM_CONFIGURE, LPARAM{-1}), ICERR_OK);
  EXPECT_EQ(BeginCompress(instance, header), ICERR_OK);
  EXPECT_EQ(BeginDecompress(instance, header), ICERR_OK);
  const auto picture = MakePicture(header);
  const auto decoded = Decompress(instance, header, Compress(instance, header, picture));
  EXPECT_GT(Psnr(header, picture, decoded), 30.0);
  CancelDialogOf(driver, ICM_CONFIGURE, 0);
  CancelDialogOf(driver, ICM_ABOUT, 0);
  return 0;
}

int Run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 1 && arguments[0] == "leave-contexts") {
    return LeaveContexts();
  }
  if (arguments.size() == 3 && arguments[0] == "edit-settings" && arguments[1].size() == 4) {
    return EditSettings(arguments[1].c_str(), std::atoi(arguments[2].c_str()));
  }
  if (arguments.size() == 1 && arguments[0] == "without-desktop") {
    return WithoutDesktop();
  }
  std::fprintf(stderr, "driver_host: wrong arguments\n");
  return 2;
}

}  // namespace

}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  // The utilities of the driver's tests report by GoogleTest.
  ::testing::InitGoogleTest();
  const int result = qivm::test::Run({arguments + 1, arguments + argumentCount});
  return ::testing::UnitTest::GetInstance()->Passed() ? result : 1;
}
