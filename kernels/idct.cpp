#include "kernels/idct.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "kernels/simd/intrinsics.h"
#include "kernels/wrapping_int.h"

namespace qivm::kernels {

namespace {

// 16384 * sqrt(2) * cos(k * pi / 16) and * sin(k * pi / 16), truncated.
constexpr std::int16_t kCos1 = 22725;
constexpr std::int16_t kSin1 = 4520;
constexpr std::int16_t kCos2 = 21406;
constexpr std::int16_t kSin2 = 8866;
constexpr std::int16_t kCos3 = 19265;
constexpr std::int16_t kSin3 = 12872;
// 8192 * sqrt(2), truncated.
constexpr std::int16_t kSqrt2 = 11585;
constexpr std::int16_t kOne = 16384;

}  // namespace

namespace plain {

namespace {

using Values = std::array<std::int16_t, 8>;

/// One-dimensional transform of eight values, lowest frequency first. The results carry 14 fraction
/// bits, or 17 with the second pass's gain; `kShift` rounds them off.
template <int kShift>
Values Transform(const Values& inputs) {
  std::array<WrappingInt, 8> x;
  std::copy(inputs.begin(), inputs.end(), x.begin());

  const WrappingInt a = x[1] * kCos1 + x[7] * kSin1;
  const WrappingInt b = x[1] * kSin1 - x[7] * kCos1;
  const WrappingInt c = x[3] * kCos3 + x[5] * kSin3;
  const WrappingInt d = x[5] * kCos3 - x[3] * kSin3;
  const WrappingInt s = a + c;
  const WrappingInt t = b + d;
  const WrappingInt p = ((a - c) + (b - d) + 1024) >> 11;
  const WrappingInt q = ((a - c) - (b - d) + 1024) >> 11;
  const WrappingInt pRotated = (p * kSqrt2) >> 3;
  const WrappingInt qRotated = (q * kSqrt2) >> 3;

  const WrappingInt e0 = (x[0] + x[4]) * kOne;
  const WrappingInt e1 = (x[0] - x[4]) * kOne;
  const WrappingInt g = x[2] * kCos2 + x[6] * kSin2;
  const WrappingInt h = x[2] * kSin2 - x[6] * kCos2;
  const WrappingInt even0 = e0 + g;
  const WrappingInt even1 = e1 + h;
  const WrappingInt even2 = e1 - h;
  const WrappingInt even3 = e0 - g;

  const std::array<WrappingInt, 8> y = {even0 + s, even1 + pRotated, even2 + qRotated, even3 + t,
                                        even3 - t, even2 - qRotated, even1 - pRotated, even0 - s};
  static constexpr WrappingInt kHalf = 1 << (kShift - 1);
  Values results;
  std::transform(y.begin(), y.end(), results.begin(), [](WrappingInt value) {
    return static_cast<std::int16_t>(((value + kHalf) >> kShift).Value());
  });
  return results;
}

/// A block's samples, row by row, from its coefficients.
std::array<Values, 8> IdctBlock(const MacroblockRecord& record, std::size_t index) {
  std::array<Values, 8> rows;
  for (std::size_t row = 0; row < 8; ++row) {
    Values coefficients;
    for (std::size_t column = 0; column < 8; ++column) {
      coefficients[column] = record.Column(index, column)[row];
    }
    rows[row] = Transform<14>(coefficients);
  }
  for (std::size_t column = 0; column < 8; ++column) {
    Values values;
    for (std::size_t row = 0; row < 8; ++row) {
      values[row] = rows[row][column];
    }
    const Values samples = Transform<17>(values);
    for (std::size_t row = 0; row < 8; ++row) {
      rows[row][column] = samples[row];
    }
  }
  return rows;
}

}  // namespace

void Idct(MacroblockRecord& record) {
  std::array<std::array<Values, 8>, MacroblockRecord::kBlocks> blocks;
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    blocks[index] = IdctBlock(record, index);
  }
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    for (std::size_t row = 0; row < 8; ++row) {
      std::copy(blocks[index][row].begin(), blocks[index][row].end(),
                record.Block(index) + 8 * row);
    }
  }
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/idct_simd.inc"
#include "kernels/simd/for_each_target.inc"
