#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace qivm {

/// A bit reader for loops that keep its state in registers: a window as wide as a register,
/// refilled without branches. It knows no end: its user asks Fits before it takes a number of bits.
/// Peek yields the next bits at the top of a 32-bit word, at least kPeekBits of them.
class BitCursor {
 public:
  using Window = std::size_t;
  /// Bits that are there after a refill.
  static constexpr unsigned kRefilledBits = sizeof(Window) * 8 - 8;

  BitCursor(std::span<const std::uint8_t> frame, std::size_t bitPosition)
      : frame_(frame.data()), next_(frame.data() + bitPosition / 8) {
    Refill();
    Skip(static_cast<unsigned>(bitPosition % 8));
  }

  /// Whether a cursor may take the next `bytes` bytes at a bit position: they, and what it loads
  /// ahead of them, lie inside the frame. Never so in frames whose bit positions 32 bits cannot
  /// hold.
  static bool Fits(std::span<const std::uint8_t> frame, std::size_t bitPosition,
                   std::size_t bytes) {
    constexpr std::size_t kAhead = 2 * sizeof(Window);
    constexpr std::size_t kLargestFrame = std::size_t{1} << 28;
    return frame.size() <= kLargestFrame && frame.size() >= bitPosition / 8 + bytes + kAhead;
  }

  /// Loads a whole window behind the counted bits and counts the bytes that fit; what it holds
  /// beyond the count is loaded once more.
  void Refill() {
    Window word = 0;
    std::memcpy(&word, next_, sizeof(word));
    if constexpr (kWindowBits == 64) {
      word = __builtin_bswap64(word);
    } else {
      word = __builtin_bswap32(word);
    }
    window_ |= word >> bits_;
    next_ += (kWindowBits - 1 - bits_) / 8;
    bits_ |= kRefilledBits;
  }
  /// The next bits at the top of a word: as many as a refill yields, 32 at the most, less those
  /// skipped since.
  std::uint32_t Top() const { return static_cast<std::uint32_t>(window_ >> (kWindowBits - 32)); }
  void Skip(unsigned bits) {
    window_ <<= bits;
    bits_ -= bits;
  }
  std::size_t BitPosition() const { return static_cast<std::size_t>(next_ - frame_) * 8 - bits_; }

 private:
  static constexpr unsigned kWindowBits = sizeof(Window) * 8;

  const std::uint8_t* frame_;
  const std::uint8_t* next_;
  Window window_ = 0;
  unsigned bits_ = 0;
};

}  // namespace qivm
