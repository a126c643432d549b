#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm {

/// Writes the headers of a compressed frame, most significant bit first, in big-endian 32-bit
/// words. Start codes begin on word boundaries. The output must hold what is written.
class BitWriter {
 public:
  explicit BitWriter(std::span<std::uint8_t> output) : output_(output) {}

  /// Appends the low `bits` bits of `value`, whose other bits are zero. Between two whole words at
  /// most 64 bits may be pending.
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
  /// Pads the pending bits to a whole word.
  void Finish();

  /// Whole words alone.
  std::size_t BytesWritten() const { return position_; }

 private:
  void StoreWord(std::uint32_t word);

  std::span<std::uint8_t> output_;
  std::size_t position_ = 0;
  unsigned free_ = 64;             // bits of the accumulator that are still empty
  std::uint64_t accumulator_ = 0;  // pending bits at the top, the oldest at bit 63
};

}  // namespace qivm
