#pragma once

#include <cstdint>

namespace qivm::test {

/// A small random generator with the same sequence for the same seed on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint32_t Next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
  }
  /// From 0 to `bound` - 1.
  std::uint32_t Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>((std::uint64_t{Next()} * bound) >> 32);
  }
  /// From `lowest` to `highest`, both included.
  int Between(int lowest, int highest) {
    return lowest + static_cast<int>(Below(static_cast<std::uint32_t>(highest - lowest + 1)));
  }
  /// True once in `times`.
  bool OneIn(std::uint32_t times) { return Below(times) == 0; }
  std::uint8_t Byte() { return static_cast<std::uint8_t>(Next() >> 24); }
  std::int16_t Word() { return static_cast<std::int16_t>(Next() >> 16); }

 private:
  std::uint64_t state_;
};

}  // namespace qivm::test
