#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <pthread.h>
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

struct PosixEvent {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  bool signalled = false;
};

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

void* HeapAllocateZeroed(std::size_t size, std::size_t alignment) noexcept {
  void* memory = HeapAllocate(size, alignment);
  if (memory != nullptr) {
    __builtin_memset(memory, 0, size);
  }
  return memory;
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
  Close();
  if (!Fails(Operation::createEvent)) {
    handle_ = new (std::nothrow) PosixEvent;
  }
  return handle_ != nullptr;
}

void Event::Close() noexcept {
  delete static_cast<PosixEvent*>(handle_);
  handle_ = nullptr;
}

void Event::Set() noexcept {
  auto& event = *static_cast<PosixEvent*>(handle_);
  pthread_mutex_lock(&event.mutex);
  event.signalled = true;
  pthread_cond_signal(&event.condition);
  pthread_mutex_unlock(&event.mutex);
}

void Event::Wait() noexcept {
  auto& event = *static_cast<PosixEvent*>(handle_);
  pthread_mutex_lock(&event.mutex);
  while (!event.signalled) {
    pthread_cond_wait(&event.condition, &event.mutex);
  }
  event.signalled = false;
  pthread_mutex_unlock(&event.mutex);
}

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
void Thread::TakeCallersPriority() noexcept {}

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
