#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <linux/futex.h>
#include <new>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/platform_hooks.h"

namespace qivm::platform {

namespace {

TestHooks g_hooks;

bool Fails(Operation operation) { return g_hooks.fails != nullptr && g_hooks.fails(operation); }

/// The innermost guard of each thread; null outside of any.
thread_local sigjmp_buf* g_guard = nullptr;

void OnFault(int signal) {
  if (g_guard != nullptr) {
    siglongjmp(*g_guard, 1);
  }
  // Not ours: let the fault take its ordinary course when the instruction runs again.
  std::signal(signal, SIG_DFL);
}

void InstallFaultHandler() {
  static const bool kInstalled = [] {
    struct sigaction action = {};
    action.sa_handler = &OnFault;
    // The handler leaves by a jump, so the signal must not stay blocked.
    action.sa_flags = SA_NODEFER;
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
      sigaction(signal, &action, nullptr);
    }
    return true;
  }();
  static_cast<void>(kInstalled);
}

/// Waits while the word has a value, or wakes as many threads that wait on it.
void Futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
  syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
}

void* ThreadEntry(void* self) {
  auto* thread = static_cast<Thread*>(self);
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(thread->Run()));
}

}  // namespace

TestHooks& Hooks() noexcept { return g_hooks; }

void* HeapAllocate(std::size_t size, std::size_t alignment) noexcept {
  if (Fails(Operation::allocate)) {
    return nullptr;
  }
  void* memory = nullptr;
  return posix_memalign(&memory, alignment < sizeof(void*) ? sizeof(void*) : alignment, size) == 0
             ? memory
             : nullptr;
}

void HeapRelease(void* memory) noexcept { std::free(memory); }

void DebugText(const char* text) noexcept {
  if (g_hooks.debugText != nullptr) {
    g_hooks.debugText(text);
  }
}

unsigned ProcessorCount() noexcept {
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count < 1 ? 1U : static_cast<unsigned>(count);
}

bool RunGuarded(GuardedFunction function, void* argument) noexcept {
  InstallFaultHandler();
  sigjmp_buf* const outer = g_guard;
  sigjmp_buf here;
  if (sigsetjmp(here, 0) != 0) {
    g_guard = outer;
    return false;
  }
  g_guard = &here;
  function(argument);
  g_guard = outer;
  return true;
}

void RaiseFault() noexcept {
  // In assembly, so that no compiler or sanitizer reasons about the store.
  __asm__ volatile("movl $0, 0" ::: "memory");
  __builtin_unreachable();
}

bool Event::Create() noexcept {
  state_ = kUnset;
  return !Fails(Operation::createEvent);
}

void Event::Close() noexcept {}

void Event::Sleep() noexcept { Futex(state_, FUTEX_WAIT, kWaitedFor); }

void Event::Wake() noexcept { Futex(state_, FUTEX_WAKE, 1); }

bool Thread::Start(Body body, void* argument) noexcept {
  if (Fails(Operation::startThread)) {
    return false;
  }
  auto* thread = new (std::nothrow) pthread_t;
  if (thread == nullptr) {
    return false;
  }
  body_ = body;
  argument_ = argument;
  if (pthread_create(thread, nullptr, &ThreadEntry, this) != 0) {
    delete thread;
    return false;
  }
  handle_ = thread;
  return true;
}

// Threads of one scheduling class share their priority here; there is nothing to take over.
ThreadPriority CallersPriority() noexcept { return 0; }

std::uint32_t CallersThreadId() noexcept { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

std::uint32_t Milliseconds() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::uint32_t>(now.tv_sec) * 1000U +
         static_cast<std::uint32_t>(now.tv_nsec / 1000000);
}

void Thread::SetPriority(ThreadPriority /*priority*/) noexcept {}

unsigned Thread::Join() noexcept {
  auto* thread = static_cast<pthread_t*>(handle_);
  if (thread == nullptr) {
    return 0;
  }
  void* result = nullptr;
  pthread_join(*thread, &result);
  delete thread;
  handle_ = nullptr;
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(result));
}

}  // namespace qivm::platform
