#include "encoder/bit_writer.h"

#include <algorithm>
#include <cstring>

#include "mpeg2/start_codes.h"

namespace qivm {

void BitWriter::StoreWord(std::uint32_t word) {
  const std::uint32_t bigEndian = __builtin_bswap32(word);
  std::memcpy(output_.subspan(position_, sizeof(bigEndian)).data(), &bigEndian, sizeof(bigEndian));
  position_ += sizeof(bigEndian);
}

void BitWriter::FlushWord() {
  StoreWord(static_cast<std::uint32_t>(accumulator_ >> 32));
  accumulator_ <<= 32;
  free_ = std::min(free_ + 32, 64U);
}

void BitWriter::Finish() {
  while (free_ != 64) {
    FlushWord();
  }
}

void BitWriter::PutStartCode(std::uint32_t code) {
  Finish();
  StoreWord(code);
}

void BitWriter::PutBytes(std::span<const std::uint8_t> bytes) {
  std::copy(bytes.begin(), bytes.end(), output_.subspan(position_, bytes.size()).begin());
  position_ += bytes.size();
}

void BitWriter::WriteSequenceEnd() { PutStartCode(mpeg2::kSequenceEndCode); }

}  // namespace qivm
