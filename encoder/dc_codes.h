#pragma once

#include <bit>
#include <cstdint>
#include <cstdlib>

#include "mpeg2/vlc.h"

namespace qivm {

/// A dct_dc_size code with the differential behind it: the low `length` bits of `bits`, at least
/// two and at most 21.
struct DcCode {
  std::uint32_t bits = 0;
  unsigned length = 0;
};

/// The code of a DC differential for a block of a macroblock, luminance first (7.2.1). The
/// differential has at most 11 bits.
inline DcCode CodeDcDifferential(int differential, int block) {
  const auto size =
      static_cast<unsigned>(std::bit_width(static_cast<unsigned>(std::abs(differential))));
  const mpeg2::Code code = (block < 4 ? mpeg2::kDcSizeLuma : mpeg2::kDcSizeChroma)[size];
  const int value = differential >= 0 ? differential : differential + (1 << size) - 1;
  return {static_cast<std::uint32_t>(code.bits) << size | static_cast<std::uint32_t>(value),
          code.length + size};
}

}  // namespace qivm
