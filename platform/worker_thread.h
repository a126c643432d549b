#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace qivm {

/// The one helper thread of a compressor or decompressor context. The context starts it once; for
/// every frame it hands the thread the frame's job and later waits for it. Between two frames the
/// thread sleeps on its start event.
class WorkerThread {
 public:
  using Job = void (*)(void* context);

  /// The thread's result once it was asked to leave.
  static constexpr unsigned kExitCode = 12;

  WorkerThread() = default;
  ~WorkerThread() { Stop(); }
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  /// Creates the events and the thread. `job(context)` runs once for every Begin. False when the
  /// system refuses; there is then no worker and nothing is left over.
  bool Start(Job job, void* context) noexcept;
  bool Running() const noexcept { return thread_.Running(); }

  /// Lets the thread run the job at the calling thread's priority. Every Begin is followed by one
  /// Wait.
  void Begin() noexcept;
  /// Waits until the job has ended; false when a fault ended it.
  bool Wait() noexcept;

  /// Asks the thread to leave, waits for it and frees everything. Returns the thread's result, 0
  /// when there was none.
  unsigned Stop() noexcept;

 private:
  static unsigned Body(void* self);

  platform::Event startEvent_;
  platform::Event doneEvent_;
  platform::Thread thread_;
  Job job_ = nullptr;
  void* context_ = nullptr;
  bool completed_ = true;  // written by the worker before doneEvent_, read after it
  bool stopFlag_ = false;  // written before startEvent_, read by the worker after it
};

}  // namespace qivm
