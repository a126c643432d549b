// Every kernel of every processor class on the same macroblock or pixels: the same bits as the
// plain kernel's.

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "tests/core/kernel_variants.h"
#include "tests/fuzz/fuzz_input.h"

namespace qivm::test {

namespace {

/// Fills a part of the input's size with it.
template <typename Range>
void Fill(Range& range, const Bytes& bytes, std::size_t begin) {
  auto* target = reinterpret_cast<std::uint8_t*>(std::data(range));
  for (std::size_t i = 0; i < std::size(range) * sizeof(range[0]); ++i) {
    target[i] = bytes[(begin + i) % bytes.size()];
  }
}

constexpr std::size_t kRowBytes = 64;  // 16 pixels of the widest format
using Pixels = std::array<std::uint8_t, 16 * kRowBytes>;
using Samples = std::array<std::int16_t, 8 * 64>;

void CompareMacroblockKernels(const MacroblockRecord& macroblock, const KernelSet& plain,
                              const KernelSet& other) {
  constexpr std::array kKernels = {&KernelSet::unscanZigzag, &KernelSet::unscanAlternate,
                                   &KernelSet::dequantise,   &KernelSet::idct,
                                   &KernelSet::scanZigzag,   &KernelSet::scanAlternate,
                                   &KernelSet::quantise,     &KernelSet::fdct,
                                   &KernelSet::levelMask};
  const auto expected = std::make_unique<MacroblockRecord>();
  const auto record = std::make_unique<MacroblockRecord>();
  for (const auto kernel : kKernels) {
    *expected = macroblock;
    *record = macroblock;
    (plain.*kernel)(*expected);
    (other.*kernel)(*record);
    Require(record->coefficients == expected->coefficients, "the same coefficients");
    Require(record->levelMasks == expected->levelMasks, "the same masks");
  }
}

void CompareOutputKernels(const Samples& samples, OutputKernel plain, OutputKernel other) {
  Pixels expected = {};
  Pixels pixels = {};
  plain(expected.data(), samples.data(), kRowBytes);
  other(pixels.data(), samples.data(), kRowBytes);
  Require(pixels == expected, "the same pixels");
}

void CompareInputKernels(const Pixels& pixels, InputKernel plain, InputKernel other) {
  alignas(64) Samples expected = {};
  alignas(64) Samples samples = {};
  plain(expected.data(), pixels.data(), kRowBytes);
  other(samples.data(), pixels.data(), kRowBytes);
  Require(samples == expected, "the same samples");
}

void Fuzz(FuzzedDataProvider& input) {
  const auto macroblock = std::make_unique<MacroblockRecord>();
  macroblock->blockCount = input.PickValueInArray<std::int16_t>({6, 8, 12});
  macroblock->parameters.qScaleType = input.ConsumeIntegralInRange<std::uint8_t>(0, 1);
  macroblock->parameters.quantiserScaleCode = input.ConsumeIntegralInRange<std::uint8_t>(1, 31);
  const bool ownMatrices = input.ConsumeBool();
  const Bytes bytes = TakeAllRepeated(input, 2048);
  Fill(macroblock->coefficients, bytes, 0);
  if (ownMatrices) {
    for (std::size_t i = 0; i < MacroblockRecord::kBlockSize; ++i) {
      // A weight of 0 is forbidden (6.3.11), and the encoder never has one.
      macroblock->intraMatrixLuma[i] = std::max<std::uint16_t>(bytes[i], 1);
      macroblock->intraMatrixChroma[i] = std::max<std::uint16_t>(bytes[64 + i], 1);
    }
  }
  alignas(64) Samples samples = {};
  Fill(samples, bytes, 0);
  Pixels pixels = {};
  Fill(pixels, bytes, 0);

  const KernelSet plain = KernelsFor(kPlainKernels);
  static const std::vector<KernelVariant> variants = KernelVariants();
  for (const KernelVariant& variant : variants) {
    const KernelSet other = KernelsFor(variant);
    CompareMacroblockKernels(*macroblock, plain, other);
    for (std::size_t i = 0; i < kClientFormats; ++i) {
      CompareInputKernels(pixels, plain.input[i], other.input[i]);
      if (plain.output[i].frameDct != nullptr) {
        CompareOutputKernels(samples, plain.output[i].frameDct, other.output[i].frameDct);
        CompareOutputKernels(samples, plain.output[i].fieldDct, other.output[i].fieldDct);
      }
    }
  }
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
