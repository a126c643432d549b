#include "decoder/bit_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/platform.h"

namespace qivm {

void BitReader::Attach(std::span<const std::uint8_t> frame) {
  constexpr std::size_t kMaxSize = std::numeric_limits<std::size_t>::max() / 2;
  frame_ = frame.first(std::min(frame.size(), kMaxSize));
  Seek(0);
}

void BitReader::Seek(std::size_t offset) {
  next_ = offset;
  bitCount_ = 0;
  buffer_ = 0;
}

void BitReader::SeekIn(const BitReader& other, std::size_t offset) {
  frame_ = other.frame_;
  Seek(offset);
}

std::uint32_t BitReader::WordAt(std::size_t offset) const {
  const std::size_t left = offset < frame_.size() ? frame_.size() - offset : 0;
  std::uint32_t word = 0;
  if (left >= sizeof(word)) {
    std::memcpy(&word, frame_.data() + offset, sizeof(word));
  } else if (left > 0) {
    std::memcpy(&word, frame_.data() + offset, left);
  }
  return __builtin_bswap32(word);
}

void BitReader::Advance(std::size_t bytes) {
  next_ = std::min(next_ + bytes, frame_.size() + kOverrun);
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
  const std::size_t size = frame_.size();
  while (next_ < size && size - next_ >= 3) {
    // The third byte of a prefix is 1, so a larger one rules out three places at once.
    const std::uint8_t third = frame_[next_ + 2];
    if (third > 1) {
      next_ += 3;
    } else if (third == 1 && frame_[next_] == 0 && frame_[next_ + 1] == 0) {
      buffer_ = static_cast<std::uint64_t>(WordAt(next_)) << 32 | WordAt(next_ + 4);
      bitCount_ = 64;
      Advance(8);
      return true;
    } else {
      ++next_;
    }
  }
  next_ = size;
  return false;
}

bool BitReader::NextStartCodeGuarded() {
  bool found = false;
  auto search = [this, &found] { found = NextStartCode(); };
  return platform::RunGuarded(search) && found;
}

void BitReader::AlignToWord() {
  const auto address = reinterpret_cast<std::uintptr_t>(frame_.data()) + next_;
  const auto missing = static_cast<unsigned>(-address % 4);
  if (bitCount_ + 8 * missing <= 64) {
    for (unsigned i = 0; i < missing; ++i) {
      const std::uint64_t byte = next_ < frame_.size() ? frame_[next_] : 0U;
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
