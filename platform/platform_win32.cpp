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

void* Allocate(std::size_t size, std::size_t alignment, DWORD flags) noexcept {
  if (g_privateHeap == nullptr) {
    return nullptr;
  }
  // Room to round up, and for the block's true address right before the rounded one.
  const std::size_t slack = alignment + sizeof(void*);
  if (size > SIZE_MAX - slack) {
    return nullptr;
  }
  void* const block = HeapAlloc(g_privateHeap, flags, size + slack);
  if (block == nullptr) {
    return nullptr;
  }
  const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
  const std::uintptr_t address = (first + alignment - 1) & ~(alignment - 1);
  auto* const memory = reinterpret_cast<void*>(address);
  std::memcpy(static_cast<char*>(memory) - sizeof(void*), &block, sizeof(block));
  return memory;
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
  return Allocate(size, alignment, 0);
}

void* HeapAllocateZeroed(std::size_t size, std::size_t alignment) noexcept {
  return Allocate(size, alignment, HEAP_ZERO_MEMORY);
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
  handle_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  return handle_ != nullptr;
}

void Event::Close() noexcept {
  if (handle_ != nullptr) {
    CloseHandle(handle_);
    handle_ = nullptr;
  }
}

void Event::Set() noexcept { SetEvent(handle_); }

void Event::Wait() noexcept { WaitForSingleObject(handle_, INFINITE); }

bool Thread::Start(Body body, void* argument) noexcept {
  body_ = body;
  argument_ = argument;
  handle_ = reinterpret_cast<void*>(_beginthreadex(nullptr, 0, &ThreadEntry, this, 0, nullptr));
  return handle_ != nullptr;
}

void Thread::TakeCallersPriority() noexcept {
  SetThreadPriority(handle_, GetThreadPriority(GetCurrentThread()));
}

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
