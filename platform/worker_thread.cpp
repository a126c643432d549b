#include "platform/worker_thread.h"

namespace qivm {

bool WorkerThread::Start(Job job, void* context) noexcept {
  job_ = job;
  context_ = context;
  if (startEvent_.Create() && doneEvent_.Create() && thread_.Start(&Body, this)) {
    return true;
  }
  Stop();
  return false;
}

void WorkerThread::Begin() noexcept {
  thread_.TakeCallersPriority();
  startEvent_.Set();
}

bool WorkerThread::Wait() noexcept {
  doneEvent_.Wait();
  return completed_;
}

unsigned WorkerThread::Stop() noexcept {
  unsigned result = 0;
  if (thread_.Running()) {
    stopFlag_ = true;
    startEvent_.Set();
    result = thread_.Join();
    stopFlag_ = false;
  }
  startEvent_.Close();
  doneEvent_.Close();
  return result;
}

unsigned WorkerThread::Body(void* self) {
  auto& worker = *static_cast<WorkerThread*>(self);
  worker.startEvent_.Wait();
  while (!worker.stopFlag_) {
    // A fault ends the job only: the done event is set outside the guard, so that a damaged lower
    // half never leaves the calling thread waiting.
    worker.completed_ = platform::RunGuarded(worker.job_, worker.context_);
    worker.doneEvent_.Set();
    worker.startEvent_.Wait();
  }
  return kExitCode;
}

}  // namespace qivm
