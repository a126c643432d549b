#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// What the codec needs of the system it runs on. One header, two implementations: win32 for the
/// driver, posix for the native build in which sanitizers, fuzzers and profilers run.
namespace qivm::platform {

/// Bytes that the system makes accessible together, on every system that the codec runs on.
inline constexpr std::size_t kPageBytes = 4096;

/// Allocates `size` bytes aligned to `alignment` (a power of two) from the codec's heap. Returns
/// null when there is no memory; never throws. Release with HeapRelease.
void* HeapAllocate(std::size_t size, std::size_t alignment) noexcept;

/// Returns memory of HeapAllocate to the heap. Null is allowed.
void HeapRelease(void* memory) noexcept;

/// Sends a text to the debugger. Texts end in a newline of their own.
void DebugText(const char* text) noexcept;

/// Number of processors that the system reports, at least 1.
unsigned ProcessorCount() noexcept;

using GuardedFunction = void (*)(void* argument);

/// Calls function(argument) and returns true; returns false when a processor fault (access
/// violation and the like) ended the call. Frames between the fault and the guard are abandoned
/// without running destructors, so nothing owned or locked may live in them. Guards nest and may
/// be active on several threads at once.
bool RunGuarded(GuardedFunction function, void* argument) noexcept;

/// Calls a function object under RunGuarded.
template <typename Function>
bool RunGuarded(Function& function) noexcept {
  return RunGuarded([](void* argument) { (*static_cast<Function*>(argument))(); }, &function);
}

/// Stores to address zero: the codec's way out of a frame that it must not go on with. Only under
/// a guard.
[[noreturn]] void RaiseFault() noexcept;

/// An auto-reset event for one waiting thread, not set at first. Setting an event that nobody waits
/// for, and waiting for one that is set, are no calls of the system.
class Event {
 public:
  Event() = default;
  ~Event() { Close(); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  /// Creates the event; false when the system refuses.
  bool Create() noexcept;
  void Close() noexcept;
  void Set() noexcept;
  /// Waits without time-out until the event is set and resets it.
  void Wait() noexcept;

 private:
  static constexpr std::uint32_t kUnset = 0;
  static constexpr std::uint32_t kSet = 1;
  static constexpr std::uint32_t kWaitedFor = 2;  ///< not set, and a thread sleeps or is about to

  /// Sleeps while the state is kWaitedFor. May return earlier.
  void Sleep() noexcept;
  /// Wakes the thread that sleeps, or is about to.
  void Wake() noexcept;

  std::atomic<std::uint32_t> state_ = kUnset;
  // Of the system's own event, where there is no waiting on memory.
  [[maybe_unused]] void* handle_ = nullptr;
};

/// A thread's priority, as far as the system has any.
using ThreadPriority = int;

/// The priority of the calling thread.
ThreadPriority CallersPriority() noexcept;

/// A number that no other running thread has.
std::uint32_t CallersThreadId() noexcept;

/// Milliseconds since some moment, for spans of time up to days.
std::uint32_t Milliseconds() noexcept;

/// A thread that runs one function to its end. The object stays in place while the thread runs.
class Thread {
 public:
  using Body = unsigned (*)(void* argument);

  Thread() = default;
  ~Thread() { Join(); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Starts the thread; false when the system refuses.
  bool Start(Body body, void* argument) noexcept;
  void SetPriority(ThreadPriority priority) noexcept;
  /// Waits for the thread to end and returns the body's result; 0 when none was started.
  unsigned Join() noexcept;

  /// For the system's thread entry alone: calls the body on the new thread.
  unsigned Run() { return body_(argument_); }

 private:
  void* handle_ = nullptr;
  Body body_ = nullptr;
  void* argument_ = nullptr;
};

}  // namespace qivm::platform
