#include <windows.h>

#include <process.h>

#include <cstring>

#include "platform/platform.h"
#include "platform/private_heap.h"

/// The frame-based guard of this architecture, in fault_guard_win32_*.S: the compiler has no
/// __try. Returns 1, or 0 after a fault.
extern "C" int QivmRunGuarded(qivm::platform::GuardedFunction function, void* argument);

namespace qivm::platform {

namespace {

HANDLE g_privateHeap = nullptr;

// Waiting on memory: functions of Windows 8 and later.
using WaitOnAddressFunction = BOOL(WINAPI*)(volatile void* address, void* compare, SIZE_T size,
                                            DWORD milliseconds);
using WakeByAddressSingleFunction = void(WINAPI*)(void* address);
// Set by the first event that finds them; every other finds the same.
std::atomic<WaitOnAddressFunction> g_waitOnAddress = nullptr;
std::atomic<WakeByAddressSingleFunction> g_wakeByAddressSingle = nullptr;

template <typename Function>
bool Find(HMODULE library, const char* name, std::atomic<Function>& function) noexcept {
  const FARPROC address = GetProcAddress(library, name);
  if (address != nullptr) {
    function.store(reinterpret_cast<Function>(reinterpret_cast<void*>(address)));
  }
  return address != nullptr;
}

bool FindAddressWaits() noexcept {
  const HMODULE library = GetModuleHandleA("kernelbase.dll");
  return library != nullptr && Find(library, "WakeByAddressSingle", g_wakeByAddressSingle) &&
         Find(library, "WaitOnAddress", g_waitOnAddress);
}

unsigned __stdcall ThreadEntry(void* thread) { return static_cast<Thread*>(thread)->Run(); }

}  // namespace

bool CreatePrivateHeap() noexcept {
  constexpr SIZE_T kCommitted = 0x40000;
  g_privateHeap = HeapCreate(0, kCommitted, 0);
  return g_privateHeap != nullptr;
}

void DestroyPrivateHeap() noexcept {
  if (g_privateHeap != nullptr) {
    HeapDestroy(g_privateHeap);
    g_privateHeap = nullptr;
  }
}

void* HeapAllocate(std::size_t size, std::size_t alignment) noexcept {
  if (g_privateHeap == nullptr) {
    return nullptr;
  }
  // Room to round up, and for the block's true address right before the rounded one.
  const std::size_t slack = alignment + sizeof(void*);
  if (size > SIZE_MAX - slack) {
    return nullptr;
  }
  void* const block = HeapAlloc(g_privateHeap, 0, size + slack);
  if (block == nullptr) {
    return nullptr;
  }
  const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
  const std::uintptr_t address = (first + alignment - 1) & ~(alignment - 1);
  auto* const memory = reinterpret_cast<void*>(address);
  std::memcpy(static_cast<char*>(memory) - sizeof(void*), &block, sizeof(block));
  return memory;
}

void HeapRelease(void* memory) noexcept {
  if (memory != nullptr) {
    void* block = nullptr;
    std::memcpy(&block, static_cast<char*>(memory) - sizeof(void*), sizeof(block));
    HeapFree(g_privateHeap, 0, block);
  }
}

void DebugText(const char* text) noexcept { OutputDebugStringA(text); }

unsigned ProcessorCount() noexcept {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors < 1 ? 1U : info.dwNumberOfProcessors;
}

bool RunGuarded(GuardedFunction function, void* argument) noexcept {
  return QivmRunGuarded(function, argument) != 0;
}

void RaiseFault() noexcept {
  // In assembly, so that the compiler does not reason about the store.
#if defined(__x86_64__)
  __asm__ volatile("xorl %%eax, %%eax\n\tmovl $0, (%%rax)" ::: "rax", "memory");
#else
  __asm__ volatile("movl $0, 0" ::: "memory");
#endif
  __builtin_unreachable();
}

bool Event::Create() noexcept {
  Close();
  state_ = kUnset;
  if (FindAddressWaits()) {
    return true;
  }
  handle_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  return handle_ != nullptr;
}

void Event::Close() noexcept {
  if (handle_ != nullptr) {
    CloseHandle(handle_);
    handle_ = nullptr;
  }
}

void Event::Sleep() noexcept {
  if (handle_ != nullptr) {
    WaitForSingleObject(handle_, INFINITE);
    return;
  }
  std::uint32_t waitedFor = kWaitedFor;
  g_waitOnAddress.load(std::memory_order_relaxed)(&state_, &waitedFor, sizeof(waitedFor), INFINITE);
}

void Event::Wake() noexcept {
  if (handle_ != nullptr) {
    SetEvent(handle_);
  } else {
    g_wakeByAddressSingle.load(std::memory_order_relaxed)(&state_);
  }
}

ThreadPriority CallersPriority() noexcept { return GetThreadPriority(GetCurrentThread()); }

std::uint32_t CallersThreadId() noexcept { return GetCurrentThreadId(); }

std::uint32_t Milliseconds() noexcept { return GetTickCount(); }

bool Thread::Start(Body body, void* argument) noexcept {
  body_ = body;
  argument_ = argument;
  // Little of the address space: a 32-bit host may have many streams open, with a thread for every
  // processor each, and what the program reserves for its own threads is often a megabyte.
  constexpr unsigned kStackBytes = 256 * 1024;
  handle_ = reinterpret_cast<void*>(_beginthreadex(nullptr, kStackBytes, &ThreadEntry, this,
                                                   STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
  return handle_ != nullptr;
}

void Thread::SetPriority(ThreadPriority priority) noexcept { SetThreadPriority(handle_, priority); }

unsigned Thread::Join() noexcept {
  DWORD result = 0;
  if (handle_ != nullptr) {
    WaitForSingleObject(handle_, INFINITE);
    GetExitCodeThread(handle_, &result);
    CloseHandle(handle_);
    handle_ = nullptr;
  }
  return result;
}

}  // namespace qivm::platform
