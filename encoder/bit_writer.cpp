#include "encoder/bit_writer.h"

#include <algorithm>
#include <cstring>

#include "kernels/fast_copy.h"
#include "mpeg2/start_codes.h"

namespace qivm {

void BitWriter::Reset(std::span<std::uint8_t> output) {
  output_ = output;
  position_ = 0;
  free_ = 64;
  accumulator_ = 0;
  overflowed_ = false;
}

void BitWriter::StoreWord(std::uint32_t word) {
  if (output_.size() - position_ < sizeof(word)) {
    overflowed_ = true;
    return;
  }
  const std::uint32_t bigEndian = __builtin_bswap32(word);
  std::memcpy(output_.data() + position_, &bigEndian, sizeof(bigEndian));
  position_ += sizeof(bigEndian);
}

void BitWriter::FlushWord() {
  StoreWord(static_cast<std::uint32_t>(accumulator_ >> 32));
  accumulator_ <<= 32;
  free_ = std::min(free_ + 32, 64U);
}

void BitWriter::FlushAll() {
  while (free_ != 64) {
    FlushWord();
  }
}

void BitWriter::PutStartCode(std::uint32_t code) {
  FlushAll();
  StoreWord(code);
}

void BitWriter::PutBytes(std::span<const std::uint8_t> bytes) {
  if (output_.size() - position_ < bytes.size()) {
    overflowed_ = true;
    return;
  }
  std::copy(bytes.begin(), bytes.end(), output_.begin() + static_cast<std::ptrdiff_t>(position_));
  position_ += bytes.size();
}

void BitWriter::WriteSequenceEnd() { PutStartCode(mpeg2::kSequenceEndCode); }

bool BitWriter::HasRoomForSink(std::size_t bytes) const {
  // Pending bits go out first; behind the last byte the sink may store one accumulator.
  return output_.size() - position_ >= bytes + 2 * sizeof(accumulator_);
}

BitSink BitWriter::BeginSink() {
  unsigned pending = 64 - free_;
  std::uint8_t* position = output_.data() + position_;
  for (; pending >= 8; pending -= 8) {
    *position++ = static_cast<std::uint8_t>(accumulator_ >> 56);
    accumulator_ <<= 8;
  }
  const auto rest = static_cast<std::uint32_t>(accumulator_ >> 56 >> (8 - pending));
  return {position, rest, pending};
}

void BitWriter::EndSink(const BitSink& sink) {
  // Back to whole words: the bytes of the last, unfinished one are pending again.
  const auto bytes = static_cast<std::size_t>(sink.Position() - output_.data());
  position_ = bytes - bytes % sizeof(std::uint32_t);
  free_ = 64;
  accumulator_ = 0;
  for (std::size_t i = position_; i < bytes; ++i) {
    Put(output_[i], 8);
  }
  if (const unsigned pending = sink.PendingBits(); pending != 0) {
    Put(sink.Pending(), pending);
  }
}

void BitWriter::Join(BitWriter& other) {
  constexpr std::size_t kAlignment = 16;
  FlushAll();
  other.FlushAll();
  while (position_ % kAlignment != 0 && !overflowed_) {
    StoreWord(0);
  }
  overflowed_ = overflowed_ || other.overflowed_ || output_.size() - position_ < other.position_;
  if (!overflowed_) {
    FastCopy(output_.data() + position_, other.output_.data(), other.position_);
    position_ += other.position_;
  }
}

}  // namespace qivm
