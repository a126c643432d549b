#include "tests/driver/process_resources.h"

#include <windows.h>

#include <algorithm>
#include <psapi.h>
#include <tlhelp32.h>
#include <vector>
#include <winternl.h>

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

/// SYSTEM_HANDLE_TABLE_ENTRY_INFO_EX; no header has it.
struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};

/// GetProcessHandleCount says nothing under wine; the list of all processes' handles is there.
DWORD Handles() {
  constexpr ULONG kExtendedHandles = 64;
  constexpr std::size_t kHeaderWords = 2;  // their number, and a reserved word
  constexpr NTSTATUS kMoreRoom = static_cast<NTSTATUS>(0xC0000004);
  using Query = NTSTATUS(NTAPI*)(ULONG kind, void* data, ULONG size, ULONG* need);
  const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<ULONG_PTR> words(std::size_t{1} << 14);
  NTSTATUS status = kMoreRoom;
  while (status == kMoreRoom) {
    words.resize(words.size() * 2);
    ULONG used = 0;
    status = query(kExtendedHandles, words.data(),
                   static_cast<ULONG>(words.size() * sizeof(words.front())), &used);
  }
  const auto* const first = reinterpret_cast<const HandleEntry*>(words.data() + kHeaderWords);
  return status != 0 ? 0
                     : static_cast<DWORD>(std::count_if(
                           first, first + words.front(), [](const HandleEntry& entry) {
                             return entry.process == GetCurrentProcessId();
                           }));
}

}  // namespace

ProcessResources ProcessResources::Now() {
  ProcessResources resources;
  resources.threads = Threads();
  resources.handles = Handles();
  resources.heaps = GetProcessHeaps(0, nullptr);
  PROCESS_MEMORY_COUNTERS memory = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  resources.privateBytes = memory.PagefileUsage;
  return resources;
}

}  // namespace qivm::test
