#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qivm {

/// A bit writer for loops that keep their state in registers. It stores whole accumulators without
/// branches and knows no end: its user makes sure that there is room for what it puts, and for one
/// accumulator behind it. Between two Flush calls at most kBits - 7 bits may be put.
class BitSink {
 public:
  using Accumulator = std::size_t;
  static constexpr unsigned kBits = sizeof(Accumulator) * 8;

  /// Goes on at `position` with the low `pendingBits` bits, at most 7, of `pending`.
  BitSink(std::uint8_t* position, std::uint32_t pending, unsigned pendingBits)
      : position_(position), accumulator_(pending), used_(pendingBits) {}

  /// Appends the low `bits` bits of `value`, less than kBits; its other bits are zero.
  void Put(std::uint32_t value, unsigned bits) {
    accumulator_ = accumulator_ << bits | value;
    used_ += bits;
  }
  /// Stores the accumulator and keeps what does not fill a byte. At least one bit must be pending.
  void Flush() {
    Accumulator bigEndian = accumulator_ << (kBits - used_);
    if constexpr (kBits == 64) {
      bigEndian = __builtin_bswap64(bigEndian);
    } else {
      bigEndian = __builtin_bswap32(bigEndian);
    }
    std::memcpy(position_, &bigEndian, sizeof(bigEndian));
    position_ += used_ / 8;
    used_ %= 8;
  }

  std::uint8_t* Position() const { return position_; }
  unsigned PendingBits() const { return used_; }
  /// The pending bits; after Flush.
  std::uint32_t Pending() const {
    return static_cast<std::uint32_t>(accumulator_) & ((1U << used_) - 1);
  }

 private:
  std::uint8_t* position_;
  Accumulator accumulator_;  // what lies above the lowest `used_` bits is stored already
  unsigned used_;
};

}  // namespace qivm
