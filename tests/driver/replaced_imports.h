#pragma once

#include <windows.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/driver/import_hook.h"

/// Stand-ins for what the driver imports, by which the tests see what it asks of Windows and let
/// Windows refuse. At most one of each kind at a time.
namespace qivm::test {

/// Counts the driver's heap blocks and lets one allocation fail.
class HeapWatch {
 public:
  explicit HeapWatch(HMODULE driver);
  ~HeapWatch();
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;

  /// Counts from zero again and lets the allocation of this number fail, counted from 1; 0 for
  /// none.
  void Restart(int failing = 0);
  int Allocations() const { return allocations_; }
  /// Allocated and not yet freed since the watch began.
  int Outstanding() const { return outstanding_; }

 private:
  static LPVOID WINAPI Allocate(HANDLE heap, DWORD flags, SIZE_T size);
  static BOOL WINAPI Free(HANDLE heap, DWORD flags, LPVOID block);

  std::atomic<int> allocations_ = 0;
  std::atomic<int> outstanding_ = 0;
  std::atomic<int> failing_ = 0;
  ImportHook allocate_;
  ImportHook free_;
};

/// Lets the system report a number of processors.
class ProcessorCount {
 public:
  ProcessorCount(HMODULE driver, DWORD count);
  ~ProcessorCount();
  ProcessorCount(const ProcessorCount&) = delete;
  ProcessorCount& operator=(const ProcessorCount&) = delete;

 private:
  static void WINAPI Report(SYSTEM_INFO* info);

  DWORD count_;
  ImportHook hook_;
};

/// Keeps what the driver sends to the debugger.
class DebugTexts {
 public:
  explicit DebugTexts(HMODULE driver);
  ~DebugTexts();
  DebugTexts(const DebugTexts&) = delete;
  DebugTexts& operator=(const DebugTexts&) = delete;

  /// What came since the last call.
  std::vector<std::string> Take();

 private:
  static void WINAPI Output(LPCSTR text);

  std::mutex mutex_;
  std::vector<std::string> texts_;
  ImportHook hook_;
};

/// Keeps a handle of every thread that the driver starts, or refuses to start them.
class ThreadWatch {
 public:
  explicit ThreadWatch(HMODULE driver);
  ~ThreadWatch();
  ThreadWatch(const ThreadWatch&) = delete;
  ThreadWatch& operator=(const ThreadWatch&) = delete;

  /// Has all threads refused but the first so many from now on.
  void RefuseAfter(std::size_t threads) { allowed_ = threads_.size() + threads; }
  std::size_t Started() const { return threads_.size(); }
  /// The handle that the driver got, to compare with.
  HANDLE DriversHandle(std::size_t thread) const { return threads_[thread].drivers; }
  bool IsRunning(std::size_t thread) const;
  DWORD ExitCode(std::size_t thread) const;
  int Priority(std::size_t thread) const;

 private:
  struct Entry {
    HANDLE drivers = nullptr;
    HANDLE own = nullptr;
  };
  using Body = unsigned(__stdcall*)(void*);

  static std::uintptr_t __cdecl Start(void* security, unsigned stack, Body body, void* argument,
                                      unsigned flags, unsigned* id);

  std::size_t allowed_ = SIZE_MAX;
  std::vector<Entry> threads_;
  ImportHook hook_;
};

/// Counts the events that the driver creates and lets one creation fail.
class EventWatch {
 public:
  /// `failing` is the number of the creation that fails, counted from 1; 0 for none.
  EventWatch(HMODULE driver, int failing);
  ~EventWatch();
  EventWatch(const EventWatch&) = delete;
  EventWatch& operator=(const EventWatch&) = delete;

  int Created() const { return created_; }

 private:
  static HANDLE WINAPI Create(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL initial,
                              LPCSTR name);

  int created_ = 0;
  int failing_;
  ImportHook hook_;
};

/// Lets the system be one whose threads cannot wait on a word of memory, as before Windows 8.
class NoAddressWaits {
 public:
  explicit NoAddressWaits(HMODULE driver);
  ~NoAddressWaits();
  NoAddressWaits(const NoAddressWaits&) = delete;
  NoAddressWaits& operator=(const NoAddressWaits&) = delete;

 private:
  static FARPROC WINAPI Find(HMODULE library, LPCSTR name);

  ImportHook hook_;
};

/// Lets the process have a path of the tests' choice; nothing for a process without a name.
class HostPath {
 public:
  HostPath(HMODULE driver, std::optional<std::string> path);
  ~HostPath();
  HostPath(const HostPath&) = delete;
  HostPath& operator=(const HostPath&) = delete;

 private:
  static DWORD WINAPI Get(HMODULE module, LPSTR buffer, DWORD size);

  std::optional<std::string> path_;
  ImportHook hook_;
};

}  // namespace qivm::test
