#pragma once

#include "kernels/cpu_class.h"
#include "platform/platform.h"

namespace qivm {

/// What a context builds itself for. Contexts take it as an argument, so that tests can run every
/// kernel variant with and without a worker on any machine.
struct Processor {
  CpuClass cpuClass = CpuClass::plain;
  unsigned count = 1;
  /// Whether processor and system support AVX2.
  bool avx2 = false;

  /// The machine the program runs on, asked anew on every call.
  static Processor Current() {
    return {DetectCpuClass(), platform::ProcessorCount(), Avx2Usable()};
  }
};

}  // namespace qivm
