#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

#include "kernels/processor.h"
#include "tests/core/cpu_classes.h"
#include "tests/support/client_pictures.h"

/// What the fuzz targets make of an input. Choices are taken from the end of the input, so that the
/// bytes of frames and bitmaps at its beginning stay where they are whatever is chosen.
namespace qivm::test {

/// Ends the program when a promise is broken, which is how a fuzzer learns of it.
inline void Require(bool kept, const char* promise) {
  if (!kept) {
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
  }
}

/// One processor class of the eight, one processor or (seldom, for a thread has to be started) two,
/// with AVX2 where there is such, or without.
inline Processor TakeProcessor(FuzzedDataProvider& input) {
  const CpuClass cpuClass =
      kCpuClasses[input.ConsumeIntegralInRange<std::size_t>(0, kCpuClasses.size() - 1)];
  const unsigned count = input.ConsumeIntegralInRange(0, 7) == 0 ? 2 : 1;
  static const bool avx2Usable = Avx2Usable();
  return {cpuClass, count, input.ConsumeBool() && avx2Usable};
}

/// `size` bytes: what is left of the input, as often as it takes.
inline Bytes TakeAllRepeated(FuzzedDataProvider& input, std::size_t size) {
  Bytes bytes = input.ConsumeRemainingBytes<std::uint8_t>();
  if (bytes.empty()) {
    bytes.push_back(0x80);
  }
  const std::size_t period = bytes.size();
  bytes.resize(size);
  for (std::size_t i = period; i < size; ++i) {
    bytes[i] = bytes[i - period];
  }
  return bytes;
}

}  // namespace qivm::test
