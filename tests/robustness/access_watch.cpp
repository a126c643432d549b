#include "tests/robustness/access_watch.h"

#include <cstdio>
#include <utility>

namespace qivm::test {

namespace {

struct Range {
  std::atomic<std::uintptr_t> first = 0;
  std::atomic<std::uintptr_t> end = 0;
};

std::array<std::array<Range, AccessWatch::kRanges>, AccessWatch::kLanes> g_ranges;
std::atomic<std::uint64_t> g_faults = 0;
thread_local bool t_nullIsDue = false;
void (*g_describe)() = nullptr;
void* g_handler = nullptr;

bool IsAnnounced(std::uintptr_t address) {
  if (address == 0) {
    return std::exchange(t_nullIsDue, false);
  }
  for (const auto& ranges : g_ranges) {
    for (const Range& range : ranges) {
      if (address >= range.first && address < range.end) {
        return true;
      }
    }
  }
  return false;
}

bool IsHardwareFault(DWORD code) {
  switch (code) {
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
    case EXCEPTION_PRIV_INSTRUCTION:
    case EXCEPTION_STACK_OVERFLOW:
      return true;
    default:
      return false;
  }
}

LONG CALLBACK Watch(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  const bool access = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION;
  if (!access && !IsHardwareFault(record.ExceptionCode)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  if (access && IsAnnounced(record.ExceptionInformation[1])) {
    ++g_faults;
    return EXCEPTION_CONTINUE_SEARCH;
  }
  std::fprintf(stderr, "exception %lx at %p (driver at %p), access %u to %p\n",
               record.ExceptionCode, record.ExceptionAddress,
               static_cast<void*>(GetModuleHandleA("qivm.dll")),
               static_cast<unsigned>(record.ExceptionInformation[0]),
               reinterpret_cast<void*>(record.ExceptionInformation[1]));
  g_describe();
  std::fflush(nullptr);
  TerminateProcess(GetCurrentProcess(), AccessWatch::kExitCode);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

AccessWatch::AccessWatch(void (*describe)()) {
  g_describe = describe;
  g_handler = AddVectoredExceptionHandler(1, &Watch);
}

AccessWatch::~AccessWatch() { RemoveVectoredExceptionHandler(g_handler); }

AccessWatch::Announcement::~Announcement() {
  for (Range& range : g_ranges[lane_]) {
    range.end = 0;
    range.first = 0;
  }
}

void AccessWatch::Announcement::Add(const void* memory, std::size_t size) {
  if (ranges_ == kRanges) {
    std::abort();
  }
  Range& range = g_ranges[lane_][ranges_++];
  const auto first = reinterpret_cast<std::uintptr_t>(memory);
  range.first = first;
  range.end = first + size;
}

void AccessWatch::AnnounceNull() { t_nullIsDue = true; }

bool AccessWatch::NullIsDue() { return t_nullIsDue; }

std::uint64_t AccessWatch::Faults() { return g_faults; }

}  // namespace qivm::test
