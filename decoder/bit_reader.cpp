#include "decoder/bit_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "kernels/start_codes.h"

namespace qivm {

void BitReader::Attach(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMaxSize = std::numeric_limits<std::size_t>::max() / 2;
  bytes_ = bytes.first(std::min(bytes.size(), kMaxSize));
  Seek(0);
}

void BitReader::Seek(std::size_t offset) {
  next_ = offset;
  bitCount_ = 0;
  buffer_ = 0;
}

void BitReader::SeekBit(std::uint64_t position) {
  Seek(static_cast<std::size_t>(position / 8));
  Refill();
  Skip(static_cast<unsigned>(position % 8));
}

std::uint32_t BitReader::WordAt(std::size_t offset) const {
  const std::size_t left = offset < bytes_.size() ? bytes_.size() - offset : 0;
  std::uint32_t word = 0;
  if (left >= sizeof(word)) {
    std::memcpy(&word, bytes_.data() + offset, sizeof(word));
  } else if (left > 0) {
    std::memcpy(&word, bytes_.data() + offset, left);
  }
  return __builtin_bswap32(word);
}

void BitReader::Advance(std::size_t bytes) {
  next_ = std::min(next_ + bytes, bytes_.size() + kOverrun);
}

void BitReader::Refill() {
  if (bitCount_ < 32) {
    buffer_ |= static_cast<std::uint64_t>(WordAt(next_)) << (32 - bitCount_);
    bitCount_ += 32;
    Advance(4);
  }
}

bool BitReader::NextStartCode() {
  next_ -= std::min<std::size_t>(bitCount_ / 8, next_);
  bitCount_ = 0;
  buffer_ = 0;
  const std::uint8_t* const end = bytes_.data() + bytes_.size();
  const std::uint8_t* const prefix =
      kernels::plain::FindStartCode(bytes_.data() + std::min(next_, bytes_.size()), end);
  next_ = static_cast<std::size_t>(prefix - bytes_.data());
  if (prefix == end) {
    return false;
  }
  buffer_ = static_cast<std::uint64_t>(WordAt(next_)) << 32 | WordAt(next_ + 4);
  bitCount_ = 64;
  Advance(8);
  return true;
}

void BitReader::AlignToWord() {
  const auto address = reinterpret_cast<std::uintptr_t>(bytes_.data()) + next_;
  const auto missing = static_cast<unsigned>(-address % 4);
  if (bitCount_ + 8 * missing <= 64) {
    for (unsigned i = 0; i < missing; ++i) {
      const std::uint64_t byte = next_ < bytes_.size() ? bytes_[next_] : 0U;
      buffer_ |= byte << (56 - bitCount_);
      bitCount_ += 8;
      Advance(1);
    }
  } else {
    const unsigned surplus = 4 - missing;
    next_ -= surplus;
    bitCount_ -= 8 * surplus;
    buffer_ &= ~std::uint64_t{0} << (64 - bitCount_);
  }
}

}  // namespace qivm
