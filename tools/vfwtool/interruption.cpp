#include "tools/vfwtool/interruption.h"

#include <atomic>

namespace qivm {
namespace {

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

InterruptionWatch::InterruptionWatch() {
  DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &g_workingThread, 0,
                  FALSE, DUPLICATE_SAME_ACCESS);
  SetConsoleCtrlHandler(HandleInterruption, TRUE);
}

InterruptionWatch::~InterruptionWatch() {
  SetConsoleCtrlHandler(HandleInterruption, FALSE);
  CloseHandle(g_workingThread);
}

bool InterruptionWatch::IsRequested() { return g_isRequested; }

InterruptionWatch::Reading::Reading() { g_isReading = true; }

InterruptionWatch::Reading::~Reading() { g_isReading = false; }

}  // namespace qivm
