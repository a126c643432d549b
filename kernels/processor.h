#pragma once

#include <algorithm>
#include <cstdint>

#include "kernels/cpu_class.h"
#include "platform/platform.h"

namespace qivm {

/// The instruction sets that the kernels are written for; each includes those before it.
enum class KernelTier : std::uint8_t { plain, sse2, avx2 };

/// The tier of a processor class. AVX2 is no matter of the class: only the two of SSE2 can have it.
constexpr KernelTier TierOf(CpuClass cpuClass, bool avx2) {
  if (cpuClass != CpuClass::intelSse2 && cpuClass != CpuClass::amdSse2) {
    return KernelTier::plain;
  }
  return avx2 ? KernelTier::avx2 : KernelTier::sse2;
}

/// What a context builds itself for. Contexts take it as an argument, so that tests can run every
/// tier with any number of threads on any machine.
struct Processor {
  KernelTier tier = KernelTier::plain;
  unsigned count = 1;
  /// Macroblocks that it is worth waking a thread for. Waking one costs about what decoding twenty
  /// takes.
  unsigned macroblocksAThread = 64;

  /// How many threads share a picture of the given size in macroblocks, the calling one among them.
  unsigned ThreadsFor(int columns, int rows) const {
    const auto macroblocks = static_cast<unsigned>(columns) * static_cast<unsigned>(rows);
    const unsigned worth = std::min(macroblocks / macroblocksAThread, static_cast<unsigned>(rows));
    return std::max(std::min(worth, count), 1U);
  }

  /// A machine with so many of the described processors.
  static Processor Described(const ProcessorProbe& probe, unsigned count) {
    return {TierOf(DetectCpuClass(probe), Avx2Usable(probe)), count};
  }
  /// The machine the program runs on, asked anew on every call.
  static Processor Current() { return Described(kThisProcessor, platform::ProcessorCount()); }
};

}  // namespace qivm
