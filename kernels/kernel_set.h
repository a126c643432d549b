#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/client_format.h"
#include "kernels/processor.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

using MacroblockKernel = void (*)(MacroblockRecord& record);
using OutputKernel = void (*)(std::uint8_t* pixels, const std::int16_t* blocks,
                              std::ptrdiff_t rowStep);
using InputKernel = void (*)(std::int16_t* blocks, const std::uint8_t* pixels,
                             std::ptrdiff_t rowStep);

/// The two arrangements of one output format.
struct OutputKernelPair {
  OutputKernel frameDct = nullptr;
  OutputKernel fieldDct = nullptr;
};

/// Every kernel of the codec in the variant that one processor class gets. The kernels of all
/// classes give the same bits.
struct KernelSet {
  MacroblockKernel unscanZigzag = nullptr;
  MacroblockKernel unscanAlternate = nullptr;
  MacroblockKernel dequantise = nullptr;
  MacroblockKernel idct = nullptr;

  MacroblockKernel scanZigzag = nullptr;
  MacroblockKernel scanAlternate = nullptr;
  MacroblockKernel quantise = nullptr;
  MacroblockKernel fdct = nullptr;
  MacroblockKernel levelMask = nullptr;

  /// By ClientFormat. y16a is never an output; its pair stays null.
  std::array<OutputKernelPair, kClientFormats> output = {};
  std::array<InputKernel, kClientFormats> input = {};

  OutputKernelPair& Output(ClientFormat format) { return output[static_cast<std::size_t>(format)]; }
  InputKernel& Input(ClientFormat format) { return input[static_cast<std::size_t>(format)]; }
};

/// The kernels of a processor class. `avx2` lets the SSE2 classes have those of AVX2, which the
/// processor and the system must support; the other classes have no use for it.
KernelSet KernelsFor(CpuClass cpuClass, bool avx2);
inline KernelSet KernelsFor(const Processor& processor) {
  return KernelsFor(processor.cpuClass, processor.avx2);
}

}  // namespace qivm
