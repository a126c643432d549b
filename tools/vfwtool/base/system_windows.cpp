#include <windows.h>

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <iostream>

#include "tools/vfwtool/base/system.h"

namespace vfwtool {
namespace {

UINT g_previousCodePage = 0;

void MakeBinary(std::FILE* stream) { _setmode(_fileno(stream), _O_BINARY); }

std::atomic<bool> g_isRequested = false;
std::atomic<bool> g_isReading = false;
HANDLE g_workingThread = nullptr;

/// Runs on a thread of the system's own.
BOOL WINAPI HandleInterruption(DWORD event) {
  constexpr int kTries = 200;
  constexpr DWORD kMillisecondsBetween = 10;
  g_isRequested = true;
  // Once more as long as it reads: the thread may have been on its way into a read that waits.
  for (int i = 0; i < kTries && g_isReading; ++i) {
    CancelSynchronousIo(g_workingThread);
    Sleep(kMillisecondsBetween);
  }
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    // When this returns the process is ended: the working thread shall come to its end first.
    Sleep(INFINITE);
  }
  return TRUE;
}

}  // namespace

ProcessStreams::ProcessStreams() {
  g_previousCodePage = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
}

ProcessStreams::~ProcessStreams() { SetConsoleOutputCP(g_previousCodePage); }

ToolStreams ProcessStreams::Streams() {
  return {.input = std::cin,
          .output = std::cout,
          .errors = std::cerr,
          .errorsAreTerminal = _isatty(_fileno(stderr)) != 0};
}

std::istream& BinaryInput(const ToolStreams& streams) {
  MakeBinary(stdin);
  return streams.input;
}

std::ostream& BinaryOutput(const ToolStreams& streams) {
  MakeBinary(stdout);
  return streams.output;
}

InterruptionWatch::InterruptionWatch() {
  DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &g_workingThread, 0,
                  FALSE, DUPLICATE_SAME_ACCESS);
  SetConsoleCtrlHandler(HandleInterruption, TRUE);
}

InterruptionWatch::~InterruptionWatch() {
  SetConsoleCtrlHandler(HandleInterruption, FALSE);
  CloseHandle(g_workingThread);
  g_isRequested = false;
}

bool InterruptionWatch::IsRequested() { return g_isRequested; }

InterruptionWatch::Reading::Reading() { g_isReading = true; }

InterruptionWatch::Reading::~Reading() { g_isReading = false; }

std::string Utf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), bytes, nullptr, nullptr);
  return result;
}

std::wstring Utf16(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring result(static_cast<std::size_t>(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), units);
  return result;
}

}  // namespace vfwtool
