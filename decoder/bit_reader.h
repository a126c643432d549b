#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm {

/// Reads one compressed frame, most significant bit first, and finds its start codes. No byte
/// outside the frame is ever touched: past its end the reader yields zero bits.
class BitReader {
 public:
  /// Starts at the first byte of a frame, which must stay in place while it is read.
  void Attach(std::span<const std::uint8_t> frame);
  /// Goes on at a byte of the attached frame, given by its offset.
  void Seek(std::size_t offset);
  /// Takes over the frame of another reader and goes on at an offset in it.
  void SeekIn(const BitReader& other, std::size_t offset);

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
  /// the frame has no prefix; the reader then stands at the frame's end.
  bool NextStartCode();
  /// As NextStartCode; also false when the frame's memory cannot be read.
  bool NextStartCodeGuarded();

  /// Moves the place of the next load to a multiple of 4, by loading single bytes or, when the
  /// buffer is too full for them, by giving back some. The next bit of the stream stays the same.
  void AlignToWord();

  /// Offset of the next byte that is not in the buffer yet, and the frame's size.
  std::size_t NextOffset() const { return next_; }
  std::size_t FrameSize() const { return frame_.size(); }
  unsigned BitCount() const { return bitCount_; }

  /// The attached frame and the place of its next bit, for loops that keep the reader's state in
  /// registers; SeekBit takes the place back.
  std::span<const std::uint8_t> Frame() const { return frame_; }
  std::size_t BitPosition() const { return next_ * 8 - bitCount_; }
  void SeekBit(std::size_t position) {
    Seek(position / 8);
    Refill();
    Skip(static_cast<unsigned>(position % 8));
  }

 private:
  /// How far behind the frame's end loading goes on counting: the most that the buffer can hold.
  static constexpr std::size_t kOverrun = 8;

  /// Big-endian word at an offset; bytes past the frame's end are zero.
  std::uint32_t WordAt(std::size_t offset) const;
  void Advance(std::size_t bytes);

  std::span<const std::uint8_t> frame_;
  std::size_t next_ = 0;
  unsigned bitCount_ = 0;     // valid bits in the buffer, 0 to 64
  std::uint64_t buffer_ = 0;  // left-aligned, zero below the valid bits
};

}  // namespace qivm
