#include "kernels/quantise.h"

namespace qivm::kernels::plain {

namespace {

/// Applies ac(coefficient, weight * quantiser_scale) to the AC coefficients of every block.
template <typename Function>
void ForEachAc(MacroblockRecord& record, Function ac) {
  const PictureParameters& parameters = record.parameters;
  const std::int32_t scale =
      mpeg2::kQuantiserScale[parameters.qScaleType][parameters.quantiserScaleCode];
  for (int index = 0; index < record.blockCount; ++index) {
    const auto block = record.Block(index);
    const MacroblockRecord::Matrix& weights = record.IntraMatrix(index);
    for (std::size_t i = 1; i < block.size(); ++i) {
      block[i] = static_cast<std::int16_t>(ac(std::int32_t{block[i]}, weights[i] * scale));
    }
  }
}

}  // namespace

void Dequantise(MacroblockRecord& record) {
  ForEachAc(record,
            [](std::int32_t level, std::int32_t weight) { return level * weight * 2 / 32; });
}

void Quantise(MacroblockRecord& record) {
  ForEachAc(record,
            [](std::int32_t value, std::int32_t weight) { return value * 32 / (weight * 2); });
}

}  // namespace qivm::kernels::plain
