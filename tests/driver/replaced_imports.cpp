#include "tests/driver/replaced_imports.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qivm::test {

namespace {

// The stand-ins are plain functions; these are the objects that they work for.
HeapWatch* g_heapWatch = nullptr;
ProcessorCount* g_processorCount = nullptr;
DebugTexts* g_debugTexts = nullptr;
ThreadWatch* g_threadWatch = nullptr;
EventWatch* g_eventWatch = nullptr;
NoAddressWaits* g_noAddressWaits = nullptr;
HostPath* g_hostPath = nullptr;

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

HeapWatch::HeapWatch(HMODULE driver)
    : allocate_(driver, "HeapAlloc", Address(&Allocate)),
      free_(driver, "HeapFree", Address(&Free)) {
  g_heapWatch = this;
}

HeapWatch::~HeapWatch() { g_heapWatch = nullptr; }

void HeapWatch::Restart(int failing) {
  allocations_ = 0;
  failing_ = failing;
}

LPVOID WINAPI HeapWatch::Allocate(HANDLE heap, DWORD flags, SIZE_T size) {
  HeapWatch& self = *g_heapWatch;
  if (++self.allocations_ == self.failing_) {
    return nullptr;
  }
  ++self.outstanding_;
  return self.allocate_.Original<decltype(&HeapAlloc)>()(heap, flags, size);
}

BOOL WINAPI HeapWatch::Free(HANDLE heap, DWORD flags, LPVOID block) {
  HeapWatch& self = *g_heapWatch;
  --self.outstanding_;
  return self.free_.Original<decltype(&HeapFree)>()(heap, flags, block);
}

ProcessorCount::ProcessorCount(HMODULE driver, DWORD count)
    : count_(count), hook_(driver, "GetSystemInfo", Address(&Report)) {
  g_processorCount = this;
}

ProcessorCount::~ProcessorCount() { g_processorCount = nullptr; }

void WINAPI ProcessorCount::Report(SYSTEM_INFO* info) {
  g_processorCount->hook_.Original<decltype(&GetSystemInfo)>()(info);
  info->dwNumberOfProcessors = g_processorCount->count_;
}

DebugTexts::DebugTexts(HMODULE driver) : hook_(driver, "OutputDebugStringA", Address(&Output)) {
  g_debugTexts = this;
}

DebugTexts::~DebugTexts() { g_debugTexts = nullptr; }

std::vector<std::string> DebugTexts::Take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(texts_, {});
}

void WINAPI DebugTexts::Output(LPCSTR text) {
  const std::lock_guard lock(g_debugTexts->mutex_);
  g_debugTexts->texts_.emplace_back(text);
}

ThreadWatch::ThreadWatch(HMODULE driver) : hook_(driver, "_beginthreadex", Address(&Start)) {
  g_threadWatch = this;
}

ThreadWatch::~ThreadWatch() {
  for (const Entry& entry : threads_) {
    CloseHandle(entry.own);
  }
  g_threadWatch = nullptr;
}

bool ThreadWatch::IsRunning(std::size_t thread) const {
  return WaitForSingleObject(threads_[thread].own, 0) == WAIT_TIMEOUT;
}

DWORD ThreadWatch::ExitCode(std::size_t thread) const {
  DWORD code = 0;
  GetExitCodeThread(threads_[thread].own, &code);
  return code;
}

int ThreadWatch::Priority(std::size_t thread) const {
  return GetThreadPriority(threads_[thread].own);
}

std::uintptr_t __cdecl ThreadWatch::Start(void* security, unsigned stack, Body body, void* argument,
                                          unsigned flags, unsigned* id) {
  using BeginThread = std::uintptr_t(__cdecl*)(void*, unsigned, Body, void*, unsigned, unsigned*);
  ThreadWatch& self = *g_threadWatch;
  if (self.threads_.size() >= self.allowed_) {
    return 0;
  }
  const std::uintptr_t handle =
      self.hook_.Original<BeginThread>()(security, stack, body, argument, flags, id);
  Entry entry = {reinterpret_cast<HANDLE>(handle), nullptr};
  DuplicateHandle(GetCurrentProcess(), entry.drivers, GetCurrentProcess(), &entry.own, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  self.threads_.push_back(entry);
  return handle;
}

EventWatch::EventWatch(HMODULE driver, int failing)
    : failing_(failing), hook_(driver, "CreateEventA", Address(&Create)) {
  g_eventWatch = this;
}

EventWatch::~EventWatch() { g_eventWatch = nullptr; }

HANDLE WINAPI EventWatch::Create(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL initial,
                                 LPCSTR name) {
  EventWatch& self = *g_eventWatch;
  if (++self.created_ == self.failing_) {
    return nullptr;
  }
  return self.hook_.Original<decltype(&CreateEventA)>()(security, manual, initial, name);
}

NoAddressWaits::NoAddressWaits(HMODULE driver) : hook_(driver, "GetProcAddress", Address(&Find)) {
  g_noAddressWaits = this;
}

NoAddressWaits::~NoAddressWaits() { g_noAddressWaits = nullptr; }

FARPROC WINAPI NoAddressWaits::Find(HMODULE library, LPCSTR name) {
  const bool missing =
      std::strcmp(name, "WaitOnAddress") == 0 || std::strcmp(name, "WakeByAddressSingle") == 0;
  return missing ? nullptr
                 : g_noAddressWaits->hook_.Original<decltype(&GetProcAddress)>()(library, name);
}

HostPath::HostPath(HMODULE driver, std::optional<std::string> path)
    : path_(std::move(path)), hook_(driver, "GetModuleFileNameA", Address(&Get)) {
  g_hostPath = this;
}

HostPath::~HostPath() { g_hostPath = nullptr; }

DWORD WINAPI HostPath::Get(HMODULE module, LPSTR buffer, DWORD size) {
  HostPath& self = *g_hostPath;
  if (module != nullptr) {
    return self.hook_.Original<decltype(&GetModuleFileNameA)>()(module, buffer, size);
  }
  if (!self.path_) {
    return 0;
  }
  // As Windows does: a path that does not fit is cut, on the oldest systems without a NUL.
  const auto length = std::min<DWORD>(static_cast<DWORD>(self.path_->size()), size);
  std::memcpy(buffer, self.path_->data(), length);
  if (length < size) {
    buffer[length] = '\0';
  }
  return length;
}

}  // namespace qivm::test
