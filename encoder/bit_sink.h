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

  /// Goes on at `position` with `pendingBits` bits, at most 7, at the top of `pending`.
  BitSink(std::uint8_t* position, Accumulator pending, unsigned pendingBits)
      : position_(position), accumulator_(pending), used_(pendingBits) {}

  /// Appends the low `bits` bits of `value`, at least one; its other bits are zero.
  void Put(std::uint32_t value, unsigned bits) {
    used_ += bits;
    accumulator_ |= static_cast<Accumulator>(value) << (kBits - used_);
  }
  /// Stores the accumulator and keeps what does not fill a byte.
  void Flush() {
    Accumulator bigEndian = accumulator_;
    if constexpr (kBits == 64) {
      bigEndian = __builtin_bswap64(bigEndian);
    } else {
      bigEndian = __builtin_bswap32(bigEndian);
    }
    std::memcpy(position_, &bigEndian, sizeof(bigEndian));
    const unsigned bytes = used_ / 8;
    position_ += bytes;
    // In two steps: a full accumulator would be a shift by its whole width.
    accumulator_ = accumulator_ << (4 * bytes) << (4 * bytes);
    used_ %= 8;
  }

  std::uint8_t* Position() const { return position_; }
  unsigned PendingBits() const { return used_; }
  /// The pending bits at the top of a byte; after Flush.
  std::uint8_t PendingByte() const {
    return static_cast<std::uint8_t>(accumulator_ >> (kBits - 8));
  }

 private:
  std::uint8_t* position_;
  Accumulator accumulator_;
  unsigned used_;
};

}  // namespace qivm
