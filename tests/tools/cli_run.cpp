#include "tests/tools/cli_run.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <memory>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"

namespace qivm {
namespace {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

OwnedHandle OpenInheritable(const std::wstring& name, DWORD access, DWORD creation) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const HANDLE handle = CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    &inheritable, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  EXPECT_NE(handle, INVALID_HANDLE_VALUE);
  return OwnedHandle(handle);
}

std::string WithUnixLineEnds(std::string text) {
  std::erase(text, '\r');
  return text;
}

}  // namespace

std::string CliRun::OutputText() const { return WithUnixLineEnds(output); }
std::string CliRun::ErrorText() const { return WithUnixLineEnds(errors); }

void ExpectSuccess(const CliRun& run) {
  EXPECT_EQ(run.exitCode, 0U) << run.errors;
  EXPECT_EQ(run.errors, "");
}

void ExpectFailure(const CliRun& run, ExitCode code, const std::string& message) {
  EXPECT_EQ(run.exitCode, static_cast<unsigned long>(code));
  EXPECT_TRUE(Contains(run.ErrorText(), message)) << run.errors;
  EXPECT_EQ(run.output, "");
}

std::wstring BesideTest(const std::wstring& file) {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.rfind(L'\\') + 1) + file;
}

CliRun RunCli(const std::vector<std::string>& arguments, const std::string& input) {
  const std::wstring program = BesideTest(L"vfwtool.exe");
  std::wstring commandLine = L"\"" + program + L"\"";
  for (const std::string& argument : arguments) {
    commandLine += L" \"" + PathOf(argument).wstring() + L"\"";
  }
  const TemporaryFile output(".stdout");
  const TemporaryFile errors(".stderr");
  CliRun run;
  {
    const OwnedHandle inputHandle = OpenInheritable(
        input.empty() ? L"NUL" : PathOf(input).wstring(), GENERIC_READ, OPEN_EXISTING);
    const OwnedHandle outputHandle =
        OpenInheritable(PathOf(output.Name()).wstring(), GENERIC_WRITE, CREATE_ALWAYS);
    const OwnedHandle errorHandle =
        OpenInheritable(PathOf(errors.Name()).wstring(), GENERIC_WRITE, CREATE_ALWAYS);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = inputHandle.get();
    startup.hStdOutput = outputHandle.get();
    startup.hStdError = errorHandle.get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &startup, &process)) {
      ADD_FAILURE() << "vfwtool.exe does not start: error " << GetLastError();
      return run;
    }
    const OwnedHandle processHandle(process.hProcess);
    const OwnedHandle threadHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    EXPECT_TRUE(GetExitCodeProcess(process.hProcess, &run.exitCode));
  }
  run.output = output.Text();
  run.errors = errors.Text();
  return run;
}

}  // namespace qivm
