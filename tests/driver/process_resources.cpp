#include "tests/driver/process_resources.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

namespace qivm::test {

namespace {

DWORD Threads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  DWORD threads = 0;
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more != FALSE;
       more = Thread32Next(snapshot, &entry)) {
    threads += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
  }
  CloseHandle(snapshot);
  return threads;
}

}  // namespace

ProcessResources ProcessResources::Now() {
  ProcessResources resources;
  resources.threads = Threads();
  GetProcessHandleCount(GetCurrentProcess(), &resources.handles);
  resources.heaps = GetProcessHeaps(0, nullptr);
  PROCESS_MEMORY_COUNTERS memory = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  resources.privateBytes = memory.PagefileUsage;
  return resources;
}

}  // namespace qivm::test
