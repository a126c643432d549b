#include "tools/vfwtool/mpeg_units.h"

namespace qivm {

std::vector<std::uint8_t> StartCode(std::uint8_t code) { return {0, 0, 1, code}; }

std::vector<MpegUnit> FindUnits(std::span<const std::uint8_t> stream) {
  std::vector<MpegUnit> units;
  for (std::size_t i = 0; i + kStartCodeBytes <= stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      if (!units.empty()) {
        units.back().end = i;
      }
      units.push_back({stream[i + 3], i, stream.size()});
      i += kStartCodeBytes - 1;
    }
  }
  return units;
}

std::uint32_t UnitBits(std::span<const std::uint8_t> unit, std::size_t position, unsigned count) {
  std::uint32_t value = 0;
  for (std::size_t bit = 8 * kStartCodeBytes + position; count > 0; ++bit, --count) {
    const unsigned byte = bit / 8 < unit.size() ? unit[bit / 8] : 0U;
    value = value << 1 | (byte >> (7 - bit % 8) & 1U);
  }
  return value;
}

std::size_t SliceHeaderBits(std::span<const std::uint8_t> slice) {
  constexpr std::size_t kQuantiserBits = 5;
  constexpr std::size_t kIntraSliceBits = 9;  // intra_slice_flag, intra_slice, reserved_bits
  constexpr std::size_t kExtraBits = 9;       // extra_bit_slice, extra_information_slice
  std::size_t bits = kQuantiserBits;
  if (UnitBits(slice, bits, 1) != 0) {
    bits += kIntraSliceBits;
    while (UnitBits(slice, bits, 1) != 0) {
      bits += kExtraBits;
    }
  }
  return bits + 1;
}

}  // namespace qivm
