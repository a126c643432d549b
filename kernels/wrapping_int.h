#pragma once

#include <cstdint>

namespace qivm {

/// A signed 32-bit integer whose sums and products wrap (two's complement), so that hostile
/// coefficients have a defined result, the same in every variant of a kernel. Right shifts are
/// arithmetic.
class WrappingInt {
 public:
  constexpr WrappingInt() = default;
  constexpr WrappingInt(std::int32_t value) : bits_(static_cast<std::uint32_t>(value)) {}

  constexpr std::int32_t Value() const { return static_cast<std::int32_t>(bits_); }

  friend constexpr WrappingInt operator+(WrappingInt a, WrappingInt b) {
    return FromBits(a.bits_ + b.bits_);
  }
  friend constexpr WrappingInt operator-(WrappingInt a, WrappingInt b) {
    return FromBits(a.bits_ - b.bits_);
  }
  friend constexpr WrappingInt operator*(WrappingInt a, WrappingInt b) {
    return FromBits(a.bits_ * b.bits_);
  }
  friend constexpr WrappingInt operator>>(WrappingInt a, int shift) {
    return WrappingInt(a.Value() >> shift);
  }

 private:
  static constexpr WrappingInt FromBits(std::uint32_t bits) {
    WrappingInt result;
    result.bits_ = bits;
    return result;
  }

  std::uint32_t bits_ = 0;
};

}  // namespace qivm
