#include "tests/ui/layout.h"

#include <optional>

#include "tests/ui/dialog_test.h"

namespace qivm::test {
namespace {

constexpr const char* kDesktopKey = "Control Panel\\Desktop";
constexpr const char* kResolutionValue = "LogPixels";

/// Sets the resolution that processes see which are started from now on, for the object's life.
class ScreenResolution {
 public:
  explicit ScreenResolution(DWORD dotsPerInch) {
    DWORD before = 0;
    DWORD size = sizeof before;
    if (RegGetValueA(HKEY_CURRENT_USER, kDesktopKey, kResolutionValue, RRF_RT_REG_DWORD, nullptr,
                     &before, &size) == ERROR_SUCCESS) {
      before_ = before;
    }
    Set(dotsPerInch);
  }
  ~ScreenResolution() {
    if (before_) {
      Set(*before_);
    } else {
      EXPECT_EQ(RegDeleteKeyValueA(HKEY_CURRENT_USER, kDesktopKey, kResolutionValue),
                ERROR_SUCCESS);
    }
  }
  ScreenResolution(const ScreenResolution&) = delete;
  ScreenResolution& operator=(const ScreenResolution&) = delete;

 private:
  static void Set(DWORD dotsPerInch) {
    EXPECT_EQ(RegSetKeyValueA(HKEY_CURRENT_USER, kDesktopKey, kResolutionValue, REG_DWORD,
                              &dotsPerInch, sizeof dotsPerInch),
              ERROR_SUCCESS);
  }

  std::optional<DWORD> before_;
};

/// Runs the program next to the tests and returns what it printed.
std::string OutputOf(const std::string& name) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  EXPECT_NE(CreatePipe(&readEnd, &writeEnd, &inheritable, 0), FALSE);
  EXPECT_NE(SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0), FALSE);
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  startup.hStdError = writeEnd;
  const std::string driverPath = DriverPath();
  std::string command = driverPath.substr(0, driverPath.rfind('\\') + 1) + name;
  PROCESS_INFORMATION process = {};
  EXPECT_NE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                           &startup, &process),
            FALSE)
      << command;
  CloseHandle(writeEnd);
  std::string output;
  std::array<char, 4096> part = {};
  DWORD count = 0;
  while (ReadFile(readEnd, part.data(), static_cast<DWORD>(part.size()), &count, nullptr) &&
         count != 0) {
    output.append(part.data(), count);
  }
  CloseHandle(readEnd);
  DWORD exitCode = 1;
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &exitCode);
  EXPECT_EQ(exitCode, 0U) << output;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return output;
}

class LayoutTest : public DialogTest, public testing::WithParamInterface<DWORD> {};

TEST_P(LayoutTest, EveryDialogIsClean) {
  const ScreenResolution resolution(GetParam());
  EXPECT_EQ(OutputOf("layout_report.exe"), std::to_string(GetParam()) +
                                               " dots per inch\r\n"
                                               "launcher: 5 controls\r\n"
                                               "about box, general text: 3 controls\r\n"
                                               "settings editor: 19 controls\r\n"
                                               "about box, I-frames text: 3 controls\r\n"
                                               "defective applications: 7 controls\r\n");
}

INSTANTIATE_TEST_SUITE_P(Layout, LayoutTest, testing::Values(96, 120, 144),
                         testing::PrintToStringParamName());

class LayoutProblemsTest : public DialogTest {};

TEST_F(LayoutProblemsTest, AreFound) {
  const Instance instance(driver_);
  ModalCall call = CallEditor(instance);
  const Window editor = call.Dialog(kEditorTitle);
  EXPECT_EQ(LayoutProblems(editor), Names());
  const auto expectProblem = [&](const std::string& problem) {
    const Names problems = LayoutProblems(editor);
    EXPECT_EQ(problems, Names{problem});
  };

  const Window ok = editor.Child(IDOK);
  ok.Send(WM_SETTEXT, 0, reinterpret_cast<LPARAM>("a text that is too long"));
  expectProblem("Button 1 'a text that is too long' is too small for its text");
  ok.Send(WM_SETTEXT, 0, reinterpret_cast<LPARAM>("OK"));

  const RECT cancel = editor.Child(IDCANCEL).RectInParent();
  const RECT place = ok.RectInParent();
  SetWindowPos(ok.Handle(), nullptr, cancel.left - 60, cancel.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  expectProblem("Button 1 'OK' overlaps Button 2 'Cancel'");
  SetWindowPos(ok.Handle(), nullptr, place.left, editor.ClientSize().cy - 5, 0, 0,
               SWP_NOSIZE | SWP_NOZORDER);
  expectProblem("Button 1 'OK' sticks out of the dialog");
  SetWindowPos(ok.Handle(), nullptr, place.left, place.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);

  const std::string title(100, 'W');
  editor.Send(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(title.c_str()));
  expectProblem("the caption '" + title + "' is cut off");
  editor.Send(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(kEditorTitle));
  EXPECT_EQ(LayoutProblems(editor), Names());
  editor.Click(IDCANCEL);
  call.Result();
}

}  // namespace
}  // namespace qivm::test
