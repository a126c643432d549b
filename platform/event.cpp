#include <immintrin.h>

#include "platform/platform.h"

namespace qivm::platform {

namespace {

/// How long a thread looks before it sleeps, in cycles of the time stamp counter: about what going
/// to sleep and being woken takes.
constexpr std::uint64_t kLookingCycles = 40000;

}  // namespace

void Event::Set() noexcept {
  if (state_.exchange(kSet, std::memory_order_acq_rel) == kWaitedFor) {
    Wake();
  }
}

void Event::Wait() noexcept {
  const std::uint64_t begin = __rdtsc();
  while (state_.load(std::memory_order_relaxed) != kSet && __rdtsc() - begin < kLookingCycles) {
    _mm_pause();
  }
  for (;;) {
    std::uint32_t state = kSet;
    if (state_.compare_exchange_strong(state, kUnset, std::memory_order_acquire)) {
      return;
    }
    if (state == kWaitedFor ||
        state_.compare_exchange_strong(state, kWaitedFor, std::memory_order_relaxed)) {
      Sleep();
    }
  }
}

}  // namespace qivm::platform
