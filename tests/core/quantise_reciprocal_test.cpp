#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "mpeg2/macroblock_record.h"
#include "tests/core/kernel_variants.h"

// Quantisation divides by multiplying with a reciprocal. Here every divisor that a weight and a
// quantiser_scale can make meets every coefficient that the transform of samples can give.
namespace qivm::test {

namespace {

constexpr int kLargestWeight = 255;
constexpr int kLargestCoefficient = 2047;
constexpr int kAcPositions = 63;
constexpr int kBlocks = 12;

struct Scale {
  std::uint8_t type;
  std::uint8_t code;
  int value;
};

/// Every quantiser_scale once.
std::vector<Scale> Scales() {
  std::vector<Scale> scales;
  for (const std::uint8_t type : {std::uint8_t{0}, std::uint8_t{1}}) {
    for (std::uint8_t code = 1; code < 32; ++code) {
      const int value = mpeg2::kQuantiserScale[type][code];
      const auto same = [value](const Scale& scale) { return scale.value == value; };
      if (std::none_of(scales.begin(), scales.end(), same)) {
        scales.push_back({type, code, value});
      }
    }
  }
  return scales;
}

struct Variant {
  std::string name;
  MacroblockKernel quantise;
};

std::vector<Variant> Variants() {
  std::vector<Variant> variants;
  for (const KernelVariant& variant : KernelVariants()) {
    variants.push_back({NameOf(variant), KernelsFor(variant).quantise});
  }
  return variants;
}

void SetWeights(MacroblockRecord& record, const MacroblockRecord::Matrix& weights) {
  record.intraMatrixLuma = weights;
  record.intraMatrixChroma = weights;
}

TEST(QuantiseReciprocal, EveryDivisorAndEveryCoefficient) {
  const std::vector<Variant> variants = Variants();
  const auto record = std::make_unique<MacroblockRecord>();
  record->blockCount = kBlocks;
  for (const Scale& scale : Scales()) {
    record->parameters.qScaleType = scale.type;
    record->parameters.quantiserScaleCode = scale.code;
    for (int firstWeight = 1; firstWeight <= kLargestWeight; firstWeight += kAcPositions) {
      MacroblockRecord::Matrix weights = {8};
      for (std::size_t i = 1; i < weights.size(); ++i) {
        weights[i] = static_cast<std::uint16_t>(
            std::min(firstWeight + static_cast<int>(i) - 1, kLargestWeight));
      }
      SetWeights(*record, weights);
      for (int first = -kLargestCoefficient; first <= kLargestCoefficient; first += kBlocks) {
        auto values = record->coefficients;
        auto expected = values;
        for (std::size_t i = 0; i < values.size(); ++i) {
          const int value = std::min(first + static_cast<int>(i / 64), kLargestCoefficient);
          values[i] = static_cast<std::int16_t>(value);
          const int divisor = weights[i % 64] * scale.value;
          expected[i] = static_cast<std::int16_t>(i % 64 == 0 ? value : 16 * value / divisor);
        }
        for (const Variant& variant : variants) {
          record->coefficients = values;
          variant.quantise(*record);
          ASSERT_EQ(record->coefficients, expected)
              << variant.name << ", scale " << scale.value << ", weights from " << firstWeight;
        }
      }
    }
  }
}

// One weight or the scale alone changes from macroblock to macroblock.
TEST(QuantiseReciprocal, FollowsMatricesAndScale) {
  for (const KernelVariant& variant : KernelVariants()) {
    const MacroblockKernel quantise = KernelsFor(variant).quantise;
    const auto record = std::make_unique<MacroblockRecord>();
    record->parameters.quantiserScaleCode = 2;
    const auto expectQuotients = [&] {
      const PictureParameters& parameters = record->parameters;
      const int scale =
          mpeg2::kQuantiserScale[parameters.qScaleType][parameters.quantiserScaleCode];
      record->coefficients.fill(1999);
      quantise(*record);
      for (std::size_t i = 0; i < std::size_t{8} * 64; ++i) {
        const auto& weights =
            i < std::size_t{4} * 64 ? record->intraMatrixLuma : record->intraMatrixChroma;
        const int expected = i % 64 == 0 ? 1999 : 16 * 1999 / (weights[i % 64] * scale);
        ASSERT_EQ(record->coefficients[i], expected) << NameOf(variant) << " position " << i;
      }
    };
    expectQuotients();
    for (std::size_t i = 0; i < 64; ++i) {
      record->intraMatrixLuma[i] = 77;
      expectQuotients();
      record->intraMatrixChroma[i] = 3;
      expectQuotients();
    }
    for (const std::uint8_t type : {std::uint8_t{1}, std::uint8_t{0}}) {
      record->parameters.qScaleType = type;
      expectQuotients();
      record->parameters.quantiserScaleCode = 31;
      expectQuotients();
    }
    record->blockCount = 6;
    record->coefficients.fill(1999);
    quantise(*record);
    EXPECT_EQ(record->Block(5)[1], record->Block(0)[1]) << NameOf(variant);
  }
}

}  // namespace

}  // namespace qivm::test
