#include "decoder/block_decoder.h"

#include <cstddef>

#include "decoder/ac_tables.h"

namespace qivm {

int DecodeDcDifferential(BitReader& reader, const DcSizeTable& sizes) {
  const std::uint32_t bits = reader.Peek32();
  const DcSizeEntry entry = sizes[bits >> (32 - kDcSizeIndexBits)];
  reader.Skip(static_cast<unsigned>(entry.length) + entry.size);
  if (entry.size == 0) {
    return 0;
  }
  const int value = static_cast<int>((bits << entry.length) >> (32U - entry.size));
  const int half = 1 << (entry.size - 1);
  return value < half ? value - 2 * half + 1 : value;
}

void DecodeAc(BitReader& reader, std::span<std::int16_t, 64> block) {
  constexpr auto kEscapeSixBits = std::uint32_t{mpeg2::kEscape.bits};
  std::size_t position = 0;
  for (;;) {
    const std::uint32_t bits = reader.Peek32();
    AcEntry entry;
    if (bits >> 27 != 0) {
      entry = kAcTableA[bits >> 23];
    } else if (bits >> 26 == kEscapeSixBits) {
      const auto run = static_cast<std::uint8_t>((bits >> 20) & 0x3F);
      const auto level = static_cast<std::int16_t>(static_cast<std::int32_t>(bits << 12) >> 20);
      entry = {mpeg2::kEscapeTotalBits, static_cast<std::uint8_t>(run + 1), level};
    } else if (bits >> 22 != 0) {
      entry = kAcTableB[(bits >> 17) & 0x1FF];
    } else {
      entry = kAcTableC[(bits >> 15) & 0x7F];
    }
    reader.Skip(entry.length);
    position += entry.advance;
    if (position >= block.size()) {
      return;
    }
    block[position] = entry.level;
  }
}

}  // namespace qivm
