#include "kernels/fdct.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "kernels/simd/intrinsics.h"
#include "kernels/wrapping_int.h"

namespace qivm::kernels {

namespace {

/// The shifts of one pass: the final rounding shift of the results, and the two that keep the
/// rotation of the third and fifth result inside 32 bits.
struct Pass {
  int result;
  int beforeRotation;
  int afterRotation;
};
constexpr Pass kVertical = {9, 7, 7};
constexpr Pass kHorizontal = {19, 12, 2};

}  // namespace

namespace plain {

namespace {

using Values = std::array<WrappingInt, 8>;

constexpr WrappingInt RoundingShift(WrappingInt value, int shift) {
  return (value + (1 << (shift - 1))) >> shift;
}

/// One-dimensional transform of x[0..7], lowest frequency first in the result.
template <const Pass& kPass>
Values Transform(const Values& x) {
  // 8192 * cos(k * pi / 16) and * sin(k * pi / 16), and sums of them.
  const WrappingInt t0 = x[0] - x[7];
  const WrappingInt t1 = x[1] - x[6];
  const WrappingInt t2 = x[2] - x[5];
  const WrappingInt t3 = x[3] - x[4];

  const WrappingInt outer = x[0] + x[7];
  const WrappingInt inner = x[3] + x[4];
  const WrappingInt outerMid = x[1] + x[6];
  const WrappingInt innerMid = x[2] + x[5];
  const WrappingInt a = outer - inner;
  const WrappingInt b = outerMid - innerMid;
  const WrappingInt sum = (outer + inner) + (outerMid + innerMid);
  const WrappingInt difference = (outer + inner) - (outerMid + innerMid);
  const WrappingInt m = (a + b) * 7568;

  const WrappingInt p = (t0 + t3) * 8035 - t3 * 6437;
  const WrappingInt q = t0 * 9633 - (t0 + t3) * 8035;
  const WrappingInt u = (t1 + t2) * 6811 - t2 * 2260;
  const WrappingInt v = (t1 + t2) * 6811 - t1 * 11362;

  // 11585 is 8192 * sqrt(2).
  const WrappingInt e = RoundingShift((q - v) + (p - u), kPass.beforeRotation);
  const WrappingInt f = RoundingShift((p - u) - (q - v), kPass.beforeRotation);
  const WrappingInt x3 = RoundingShift(e * 11585, kPass.afterRotation);
  const WrappingInt x5 = RoundingShift(f * 11585, kPass.afterRotation);

  Values result = {sum * 5793,        u + p, m - b * 4433,  x3,
                   difference * 5793, x5,    a * 10703 - m, v + q};
  for (WrappingInt& value : result) {
    value = RoundingShift(value, kPass.result);
  }
  return result;
}

}  // namespace

namespace {

/// A block's coefficients, by horizontal, then by vertical frequency.
using Columns = std::array<std::array<std::int16_t, 8>, 8>;

Columns FdctBlock(const std::int16_t* block) {
  std::array<Values, 8> columns;  // by horizontal position, then by vertical frequency
  for (std::size_t column = 0; column < 8; ++column) {
    Values samples;
    for (std::size_t row = 0; row < 8; ++row) {
      samples[row] = block[8 * row + column];
    }
    columns[column] = Transform<kVertical>(samples);
  }
  Columns result;
  for (std::size_t row = 0; row < 8; ++row) {
    Values values;
    for (std::size_t column = 0; column < 8; ++column) {
      values[column] = columns[column][row];
    }
    const Values coefficients = Transform<kHorizontal>(values);
    for (std::size_t column = 0; column < 8; ++column) {
      result[column][row] = static_cast<std::int16_t>(coefficients[column].Value());
    }
  }
  return result;
}

}  // namespace

void Fdct(MacroblockRecord& record) {
  std::array<Columns, MacroblockRecord::kBlocks> blocks;
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    blocks[index] = FdctBlock(record.Block(index));
  }
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    for (std::size_t column = 0; column < 8; ++column) {
      std::copy(blocks[index][column].begin(), blocks[index][column].end(),
                record.Column(index, column));
    }
  }
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/fdct_simd.inc"
#include "kernels/simd/for_each_target.inc"
