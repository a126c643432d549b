#include "kernels/start_codes.h"

#include <bit>
#include <cstddef>

#include "kernels/simd/intrinsics.h"

namespace qivm::kernels {

namespace plain {

const std::uint8_t* FindStartCode(const std::uint8_t* first, const std::uint8_t* last) {
  while (last - first >= 3) {
    // The third byte of a prefix is 1, so a larger one rules out three places at once.
    if (first[2] > 1) {
      first += 3;
    } else if (first[2] == 1 && first[0] == 0 && first[1] == 0) {
      return first;
    } else {
      ++first;
    }
  }
  return last;
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/start_codes_simd.inc"
#include "kernels/simd/for_each_target.inc"
