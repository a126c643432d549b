#include "kernels/quantise.h"

#include "kernels/simd/intrinsics.h"

namespace qivm::kernels {

namespace {

using Matrix = MacroblockRecord::Matrix;

std::int32_t QuantiserScale(const MacroblockRecord& record) {
  const PictureParameters& parameters = record.parameters;
  return mpeg2::kQuantiserScale[parameters.qScaleType][parameters.quantiserScaleCode];
}

std::int32_t DequantiseOne(std::int32_t level, std::int32_t divisor) {
  return level * divisor * 2 / 32;
}

std::int32_t QuantiseOne(std::int32_t value, std::int32_t divisor) {
  return value * 32 / (divisor * 2);
}

/// Applies one(coefficient, weight * quantiser_scale) to the AC coefficients of a block.
template <typename One>
void ForEachAc(std::span<std::int16_t, MacroblockRecord::kBlockSize> block, const Matrix& weights,
               std::int32_t scale, One one) {
  for (std::size_t i = 1; i < block.size(); ++i) {
    block[i] = static_cast<std::int16_t>(one(std::int32_t{block[i]}, weights[i] * scale));
  }
}

}  // namespace

namespace plain {

void Dequantise(MacroblockRecord& record) {
  const std::int32_t scale = QuantiserScale(record);
  for (int index = 0; index < record.blockCount; ++index) {
    ForEachAc(record.Block(index), record.IntraMatrix(index), scale, &DequantiseOne);
  }
}

void Quantise(MacroblockRecord& record) {
  const std::int32_t scale = QuantiserScale(record);
  for (int index = 0; index < record.blockCount; ++index) {
    ForEachAc(record.Block(index), record.IntraMatrix(index), scale, &QuantiseOne);
  }
}

}  // namespace plain

namespace {

/// The divisors of kept reciprocals have changed: prepares the reciprocals of the new ones.
///
/// A reciprocal is 65536 / d rounded down, at most 65535. For 0 <= n < 32768 the high half of
/// n * reciprocal is n / d rounded down, or one less: the reciprocal lacks less than 1 (for d = 1
/// exactly 1), so that the product lacks less than 65536 / 2.
void PrepareReciprocals(QuantiserReciprocals& kept, const Matrix& divisors) {
  constexpr int kLargest = 65535;
  kept.divisors = divisors;
  for (std::size_t i = 0; i < divisors.size(); ++i) {
    kept.reciprocals[i] = static_cast<std::uint16_t>(std::min(65536 / divisors[i], kLargest));
  }
}

}  // namespace

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/quantise_simd.inc"
#include "kernels/simd/for_each_target.inc"
