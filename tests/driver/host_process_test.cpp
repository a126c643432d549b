#include <windows.h>

#include <string>

#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"

namespace qivm::test {

namespace {

/// The program driver_host, which is another host than the test.
class HostProcess {
 public:
  /// `desktop` is where it runs, null for where the test does.
  explicit HostProcess(const std::string& arguments, const char* desktop = nullptr) {
    const std::string driver = DriverPath();
    std::string command =
        "\"" + driver.substr(0, driver.rfind('\\') + 1) + "driver_host.exe\" " + arguments;
    std::string desktopName = desktop == nullptr ? "" : desktop;
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    startup.lpDesktop = desktop == nullptr ? nullptr : desktopName.data();
    EXPECT_NE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process_),
              FALSE)
        << command;
  }
  ~HostProcess() {
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  void ExpectSuccess() {
    constexpr DWORD kTimeLimit = 60000;
    ASSERT_EQ(WaitForSingleObject(process_.hProcess, kTimeLimit), WAIT_OBJECT_0) << "it hangs";
    DWORD code = 0;
    GetExitCodeProcess(process_.hProcess, &code);
    EXPECT_EQ(code, 0U);
  }

 private:
  PROCESS_INFORMATION process_ = {};
};

class HostProcessTest : public ::testing::Test {
 protected:
  HostProcessTest() { Clear(); }
  ~HostProcessTest() override { Clear(); }

  static void Clear() {
    DeleteTree("Software\\Norvane");
    DeleteTree("Software\\Pellaro");
  }
};

TEST_F(HostProcessTest, EndsWithContextsOpen) {
  for (int i = 0; i < 3; ++i) {
    HostProcess("leave-contexts").ExpectSuccess();
  }
}

TEST_F(HostProcessTest, TwoChangeTheSettingsAtOnce) {
  HostProcess first("edit-settings AAAA 30");
  HostProcess second("edit-settings BBBB 30");
  first.ExpectSuccess();
  second.ExpectSuccess();
  // One alone, and its settings are there.
  HostProcess("edit-settings AAAA 1").ExpectSuccess();
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 3U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name3"), MAKEFOURCC('A', 'A', 'A', 'A'));
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 1U);
  EXPECT_EQ(ReadString(kBoardKey, "App1"), "EDITOR.EXE");
}

TEST_F(HostProcessTest, RunsWithoutADesktop) {
  const HWINSTA own = GetProcessWindowStation();
  const HWINSTA station = CreateWindowStationA("qivm_service", 0, WINSTA_ALL_ACCESS, nullptr);
  ASSERT_NE(station, nullptr);
  ASSERT_NE(SetProcessWindowStation(station), FALSE);
  const HDESK desktop = CreateDesktopA("hidden", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
  EXPECT_NE(SetProcessWindowStation(own), FALSE);
  ASSERT_NE(desktop, nullptr);
  HostProcess("without-desktop", "qivm_service\\hidden").ExpectSuccess();
  CloseDesktop(desktop);
  CloseWindowStation(station);
}

}  // namespace

}  // namespace qivm::test
