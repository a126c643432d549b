#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kernels/client_format.h"
#include "kernels/code_levels.h"
#include "kernels/dequantise.h"
#include "kernels/processor.h"
#include "kernels/quantise.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

using MacroblockKernel = void (*)(MacroblockRecord& record);
using StartCodeKernel = const std::uint8_t* (*)(const std::uint8_t* first,
                                                const std::uint8_t* last);
using DequantiseKernel = bool (*)(MacroblockLevels levels, const Dequantiser& dequantiser,
                                  bool alternateScan, const DcCoefficients& dc,
                                  MacroblockRecord& record);
using QuantiseKernel = void (*)(const MacroblockRecord& record, const Quantiser& quantiser,
                                LevelBatch& batch, std::size_t macroblock);
using CodeLevelsKernel = void (*)(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes,
                                  CodeLists& lists, BitTail& tail);
using OutputKernel = void (*)(std::uint8_t* pixels, const std::int16_t* blocks,
                              std::ptrdiff_t rowStep);
using InputKernel = void (*)(std::int16_t* blocks, const std::uint8_t* pixels,
                             std::ptrdiff_t rowStep);

/// The two arrangements of one output format.
struct OutputKernelPair {
  OutputKernel frameDct = nullptr;
  OutputKernel fieldDct = nullptr;
};

/// Every kernel of the codec in the form that one tier has. Those of all tiers give the same bits.
struct KernelSet {
  StartCodeKernel findStartCode = nullptr;
  DequantiseKernel dequantise = nullptr;
  MacroblockKernel idct = nullptr;

  MacroblockKernel fdct = nullptr;
  QuantiseKernel quantise = nullptr;
  CodeLevelsKernel codeLevels = nullptr;

  /// By ClientFormat. y16a is never an output; its pair stays null.
  std::array<OutputKernelPair, kClientFormats> output = {};
  std::array<InputKernel, kClientFormats> input = {};

  OutputKernelPair& Output(ClientFormat format) { return output[static_cast<std::size_t>(format)]; }
  InputKernel& Input(ClientFormat format) { return input[static_cast<std::size_t>(format)]; }
};

/// The kernels of a tier, which the processor and the system must support.
KernelSet KernelsFor(KernelTier tier);

}  // namespace qivm
