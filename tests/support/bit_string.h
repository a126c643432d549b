#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace qivm::test {

/// A stream under construction, most significant bit first.
class BitString {
 public:
  /// Appends the low `bits` bits of a value.
  BitString& Put(std::uint64_t value, unsigned bits);
  BitString& PutBit(bool bit) { return Put(bit ? 1U : 0U, 1); }
  /// Appends bits written as a text of 0 and 1; blanks separate groups.
  BitString& Put(std::string_view text);
  BitString& Put(const BitString& bits);
  BitString& PutBytes(std::span<const std::uint8_t> bytes);
  /// Zero bits up to a multiple of `bytes` bytes.
  BitString& AlignTo(std::size_t bytes);
  /// A start code (0x00000100 to 0x000001FF) at the next multiple of `alignment` bytes.
  BitString& PutStartCode(std::uint32_t code, std::size_t alignment = 4);

  std::size_t Bits() const { return bits_; }
  /// The stream so far; missing bits of the last byte are zero.
  const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t bits_ = 0;
};

/// Reads the bits of a byte string; those behind its end are zero.
class BitCursor {
 public:
  explicit BitCursor(std::span<const std::uint8_t> bytes, std::size_t position = 0)
      : bytes_(bytes), position_(position) {}

  std::uint32_t Take(unsigned bits);
  /// Position of the next bit.
  std::size_t Position() const { return position_; }
  bool PastEnd() const { return position_ > 8 * bytes_.size(); }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_;
};

}  // namespace qivm::test
