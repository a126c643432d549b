#include "tests/robustness/access_watch.h"

#include <cstdio>

namespace qivm::test {

namespace {

/// Of the addresses that are never mapped.
constexpr std::uintptr_t kNullBytes = 0x10000;

struct Range {
  std::atomic<std::uintptr_t> first = 0;
  std::atomic<std::uintptr_t> end = 0;
};

std::array<std::array<Range, AccessWatch::kRanges>, AccessWatch::kLanes> g_ranges;
std::array<std::atomic<bool>, AccessWatch::kLanes> g_nulls;
std::atomic<std::uint64_t> g_faults = 0;
void (*g_describe)() = nullptr;
void* g_handler = nullptr;

bool IsAnnounced(std::uintptr_t address) {
  for (std::size_t lane = 0; lane < AccessWatch::kLanes; ++lane) {
    if (address < kNullBytes && g_nulls[lane]) {
      return true;
    }
    for (const Range& range : g_ranges[lane]) {
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
  g_nulls[lane_] = false;
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

void AccessWatch::Announcement::AddNull() { g_nulls[lane_] = true; }

std::uint64_t AccessWatch::Faults() { return g_faults; }

}  // namespace qivm::test
