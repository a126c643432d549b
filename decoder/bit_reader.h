#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm {

/// Reads a compressed frame or one slice of it, most significant bit first, and finds start codes.
/// No byte outside of what it is attached to is ever touched: past its end the reader yields zero
/// bits.
class BitReader {
 public:
  /// Starts at the first of some bytes, which must stay in place while they are read.
  void Attach(std::span<const std::uint8_t> bytes);

  /// Makes sure that at least 32 bits are in the buffer.
  void Refill();
  /// The next 32 bits; consumes none.
  std::uint32_t Peek32() {
    Refill();
    return static_cast<std::uint32_t>(buffer_ >> 32);
  }
  /// Consumes `bits` bits, at most 32 and no more than the buffer holds.
  void Skip(unsigned bits) {
    buffer_ <<= bits;
    bitCount_ -= bits;
  }

  /// Finds the next start code prefix at or after the next whole byte (next_start_code(), 5.2.3).
  /// On success the buffer holds the start code and the 32 bits behind it. False when the rest of
  /// the bytes has no prefix; the reader then stands at their end.
  bool NextStartCode();

  /// Moves the place of the next load to a multiple of 4, by loading single bytes or, when the
  /// buffer is too full for them, by giving back some. The next bit of the stream stays the same.
  void AlignToWord();

  /// Offset of the next byte that is not in the buffer yet.
  std::size_t NextOffset() const { return next_; }
  unsigned BitCount() const { return bitCount_; }

  /// The place of the next bit, counted from the first byte. Behind the end it need not be exact.
  std::uint64_t BitPosition() const { return std::uint64_t{next_} * 8 - bitCount_; }
  void SeekBit(std::uint64_t position);

 private:
  /// How far behind the end loading goes on counting: the most that the buffer can hold.
  static constexpr std::size_t kOverrun = 8;

  void Seek(std::size_t offset);
  /// Big-endian word at an offset; bytes past the end are zero.
  std::uint32_t WordAt(std::size_t offset) const;
  void Advance(std::size_t bytes);

  std::span<const std::uint8_t> bytes_;
  std::size_t next_ = 0;
  unsigned bitCount_ = 0;     // valid bits in the buffer, 0 to 64
  std::uint64_t buffer_ = 0;  // left-aligned, zero below the valid bits
};

}  // namespace qivm
