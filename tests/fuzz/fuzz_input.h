#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>

#include "kernels/processor.h"
#include "tests/core/kernel_tiers.h"
#include "tests/fuzz/require.h"
#include "tests/support/client_pictures.h"

/// What the fuzz targets make of an input. Choices are taken from the end of the input, so that the
/// bytes of frames and bitmaps at its beginning stay where they are whatever is chosen.
namespace qivm::test {

/// The kernels of any tier that there is, one thread or (seldom, for they have to be started)
/// several, even for the smallest picture.
inline Processor TakeProcessor(FuzzedDataProvider& input) {
  KernelTier tier = input.PickValueInArray(kTiers);
  static const KernelTier machine = Processor::Current().tier;
  tier = tier < machine ? tier : machine;
  const unsigned choice = input.ConsumeIntegralInRange(0U, 31U);
  return {tier, choice < kThreadCounts.size() ? kThreadCounts[choice] : 1, 1};
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
