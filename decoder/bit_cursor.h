#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace qivm {

/// Bit readers for loops that keep their state in registers. They know no end: their user asks
/// BitCursorFits before it takes a number of bits. Peek yields the next bits at the top of a 32-bit
/// word, at least 25 of them.
///
/// The 64-bit form keeps a window of 57 to 64 bits, refilled without branches.
class WindowCursor {
 public:
  WindowCursor(std::span<const std::uint8_t> frame, std::size_t bitPosition)
      : frame_(frame.data()), next_(frame.data() + bitPosition / 8) {
    Refill();
    Skip(static_cast<unsigned>(bitPosition % 8));
  }

  std::uint32_t Peek() {
    Refill();
    return static_cast<std::uint32_t>(window_ >> 32);
  }
  void Skip(unsigned bits) {
    window_ <<= bits;
    bits_ -= bits;
  }
  std::size_t BitPosition() const { return static_cast<std::size_t>(next_ - frame_) * 8 - bits_; }

 private:
  void Refill() {
    std::uint64_t word = 0;
    std::memcpy(&word, next_, sizeof(word));
    window_ |= __builtin_bswap64(word) >> bits_;
    next_ += (63 - bits_) >> 3;
    bits_ |= 56;
  }

  const std::uint8_t* frame_;
  const std::uint8_t* next_;
  std::uint64_t window_ = 0;
  unsigned bits_ = 0;
};

/// The 32-bit form loads a word for every look: shifting a 64-bit window would cost more there.
class PositionCursor {
 public:
  PositionCursor(std::span<const std::uint8_t> frame, std::size_t bitPosition)
      : frame_(frame.data()), position_(bitPosition) {}

  std::uint32_t Peek() const {
    std::uint32_t word = 0;
    std::memcpy(&word, frame_ + position_ / 8, sizeof(word));
    return __builtin_bswap32(word) << (position_ % 8);
  }
  void Skip(unsigned bits) { position_ += bits; }
  std::size_t BitPosition() const { return position_; }

 private:
  const std::uint8_t* frame_;
  std::size_t position_;
};

using BitCursor = std::conditional_t<sizeof(void*) == 8, WindowCursor, PositionCursor>;

/// Whether a cursor may take the next `bytes` bytes at a bit position: they, and what it loads
/// ahead of them, lie inside the frame. Never so in frames whose bit positions 32 bits cannot hold.
inline bool BitCursorFits(std::span<const std::uint8_t> frame, std::size_t bitPosition,
                          std::size_t bytes) {
  constexpr std::size_t kAhead = 16;
  constexpr std::size_t kLargestFrame = std::size_t{1} << 28;
  return frame.size() <= kLargestFrame && frame.size() >= bitPosition / 8 + bytes + kAhead;
}

}  // namespace qivm
