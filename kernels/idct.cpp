#include "kernels/idct.h"

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

/// One-dimensional transform of eight values that lie `Stride` apart, lowest frequency first. The
/// results carry 14 fraction bits, or 17 with the second pass's gain; `Shift` rounds them off.
template <std::size_t Stride, int Shift>
void Transform(std::int16_t* values) {
  std::array<WrappingInt, 8> x;
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = values[i * Stride];
  }

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
  constexpr WrappingInt kHalf = 1 << (Shift - 1);
  for (std::size_t i = 0; i < y.size(); ++i) {
    values[i * Stride] = static_cast<std::int16_t>(((y[i] + kHalf) >> Shift).Value());
  }
}

}  // namespace

void IdctBlock(std::span<std::int16_t, 64> block) {
  for (std::size_t row = 0; row < 8; ++row) {
    Transform<1, 14>(block.data() + 8 * row);
  }
  for (std::size_t column = 0; column < 8; ++column) {
    Transform<8, 17>(block.data() + column);
  }
}

void Idct(MacroblockRecord& record) {
  for (int index = 0; index < record.blockCount; ++index) {
    IdctBlock(record.Block(index));
  }
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_WITHOUT_MMX_EXTENDED
#define QIVM_SIMD_SOURCE "kernels/idct_simd.inc"
#include "kernels/simd/for_each_target.inc"
