#include "decoder/block_decoder.h"

#include <cstddef>

#include "decoder/ac_tables.h"

namespace qivm {

int DecodeDcDifferential(BitReader& reader, const DcSizeTable& sizes) {
  const DcDifferential dc = LookUpDc(reader.Peek32(), sizes);
  reader.Skip(dc.length);
  return dc.value;
}

void DecodeAc(BitReader& reader, std::span<std::int16_t, 64> block) {
  std::size_t position = 0;
  for (;;) {
    const AcEntry entry = LookUpAc(reader.Peek32());
    reader.Skip(entry.length);
    position += entry.advance;
    if (position >= block.size()) {
      return;
    }
    block[position] = entry.level;
  }
}

}  // namespace qivm
