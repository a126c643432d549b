#include "tests/support/bit_string.h"

namespace qivm::test {

BitString& BitString::Put(std::uint64_t value, unsigned bits) {
  for (unsigned i = bits; i-- > 0; ++bits_) {
    if (bits_ % 8 == 0) {
      bytes_.push_back(0);
    }
    const auto bit = static_cast<unsigned>((value >> i) & 1);
    bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << (7 - bits_ % 8));
  }
  return *this;
}

BitString& BitString::Put(std::string_view text) {
  for (const char digit : text) {
    if (digit != ' ') {
      PutBit(digit == '1');
    }
  }
  return *this;
}

BitString& BitString::Put(const BitString& bits) {
  BitCursor cursor(bits.Bytes());
  for (std::size_t i = 0; i < bits.Bits(); ++i) {
    PutBit(cursor.Take(1) != 0);
  }
  return *this;
}

BitString& BitString::PutBytes(std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) {
    Put(byte, 8);
  }
  return *this;
}

BitString& BitString::AlignTo(std::size_t bytes) {
  while (bits_ % (8 * bytes) != 0) {
    Put(0, 1);
  }
  return *this;
}

BitString& BitString::PutStartCode(std::uint32_t code, std::size_t alignment) {
  return AlignTo(alignment).Put(code, 32);
}

std::uint32_t BitCursor::Take(unsigned bits) {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < bits; ++i, ++position_) {
    const std::size_t byte = position_ / 8;
    const unsigned bit = byte < bytes_.size() ? bytes_[byte] >> (7 - position_ % 8) & 1U : 0U;
    value = value << 1 | bit;
  }
  return value;
}

}  // namespace qivm::test
