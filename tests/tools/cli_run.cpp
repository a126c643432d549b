#include "tests/tools/cli_run.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

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

CliProcess::CliProcess(const std::vector<std::string>& arguments, OwnedHandle input,
                       Console console) {
  const std::wstring program = BesideTest(L"vfwtool.exe");
  std::wstring commandLine = L"\"" + program + L"\"";
  for (const std::string& argument : arguments) {
    commandLine += L" \"" + PathOf(argument).wstring() + L"\"";
  }
  const OwnedHandle outputHandle =
      OpenInheritable(PathOf(output_.Name()).wstring(), GENERIC_WRITE, CREATE_ALWAYS);
  const OwnedHandle errorHandle =
      OpenInheritable(PathOf(errors_.Name()).wstring(), GENERIC_WRITE, CREATE_ALWAYS);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.get();
  startup.hStdOutput = outputHandle.get();
  startup.hStdError = errorHandle.get();
  PROCESS_INFORMATION process{};
  // Nobody sees a console of its own; it takes long to make one, so only those who need it get it.
  const DWORD flags = console == Console::kOwn ? CREATE_NO_WINDOW : 0;
  if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, flags, nullptr,
                      nullptr, &startup, &process)) {
    ADD_FAILURE() << "vfwtool.exe does not start: error " << GetLastError();
    return;
  }
  CloseHandle(process.hThread);
  process_.reset(process.hProcess);
  id_ = process.dwProcessId;
}

void CliProcess::PressControlC() const {
  FreeConsole();
  ASSERT_TRUE(AttachConsole(id_)) << GetLastError();
  SetConsoleCtrlHandler(nullptr, TRUE);  // This process shall not hear it.
  EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << GetLastError();
}

CliRun CliProcess::Wait() {
  CliRun run;
  if (process_ == nullptr) {
    return run;
  }
  WaitForSingleObject(process_.get(), INFINITE);
  EXPECT_TRUE(GetExitCodeProcess(process_.get(), &run.exitCode));
  run.output = output_.Text();
  run.errors = errors_.Text();
  return run;
}

CliRun RunCli(const std::vector<std::string>& arguments, const std::string& input) {
  return CliProcess(arguments,
                    OpenInheritable(input.empty() ? L"NUL" : PathOf(input).wstring(), GENERIC_READ,
                                    OPEN_EXISTING),
                    CliProcess::Console::kShared)
      .Wait();
}

InputPipe::InputPipe() {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  EXPECT_TRUE(CreatePipe(&reading, &writing, &inheritable, 0));
  EXPECT_TRUE(SetHandleInformation(writing, HANDLE_FLAG_INHERIT, 0));
  reading_.reset(reading);
  writing_.reset(writing);
}

void InputPipe::Write(const std::string& bytes) const {
  DWORD written = 0;
  EXPECT_TRUE(
      WriteFile(writing_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
  EXPECT_EQ(written, bytes.size());
}

}  // namespace vfwtool
