#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "encoder/bit_sink.h"

namespace qivm {

/// Writes the fields of a compressed frame, most significant bit first, in big-endian 32-bit words.
/// Start codes begin on word boundaries. Nothing is ever written outside the output: what does not
/// fit is dropped and Overflowed() tells so.
class BitWriter {
 public:
  /// Starts a stream at the first byte of `output`, which must outlive it.
  void Reset(std::span<std::uint8_t> output);

  /// Flushes one word if fewer than `bits` bits are free (at most 33).
  void MakeRoom(unsigned bits) {
    if (free_ < bits) {
      FlushWord();
    }
  }
  /// Appends the low `bits` bits of `value`, whose other bits are zero. There must be room.
  void Put(std::uint32_t value, unsigned bits) {
    free_ -= bits;
    accumulator_ |= static_cast<std::uint64_t>(value) << free_;
  }
  /// Stores the 32 oldest pending bits; missing ones are zero.
  void FlushWord();
  /// Pads the pending bits to a whole word, then writes a start code.
  void PutStartCode(std::uint32_t code);
  /// Appends bytes as they are. No bits may be pending and the count must be a multiple of 4.
  void PutBytes(std::span<const std::uint8_t> bytes);
  void WriteSequenceEnd();

  /// Appends a stream that another writer has made: pads both to whole words, this one with zero
  /// bytes to a multiple of 16 bytes, and copies.
  void Join(BitWriter& other);

  /// Lends the writer's place and pending bits to a loop that has HasRoomForSink for the bytes it
  /// writes. EndSink takes them back; nothing else is written in between.
  bool HasRoomForSink(std::size_t bytes) const;
  BitSink BeginSink();
  void EndSink(const BitSink& sink);

  std::size_t BytesWritten() const { return position_; }
  bool Overflowed() const { return overflowed_; }

 private:
  void FlushAll();
  void StoreWord(std::uint32_t word);

  std::span<std::uint8_t> output_;
  std::size_t position_ = 0;
  unsigned free_ = 64;             // bits of the accumulator that are still empty
  std::uint64_t accumulator_ = 0;  // pending bits at the top, the oldest at bit 63
  bool overflowed_ = false;
};

}  // namespace qivm
