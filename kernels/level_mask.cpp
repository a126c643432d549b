#include "kernels/level_mask.h"

#include "kernels/simd/intrinsics.h"

namespace qivm::kernels {

namespace plain {

void LevelMask(MacroblockRecord& record) {
  for (int index = 0; index < record.blockCount; ++index) {
    std::uint64_t mask = 0;
    std::uint64_t bit = 1;
    for (const std::int16_t level : record.Block(index)) {
      mask |= level != 0 ? bit : 0;
      bit <<= 1;
    }
    record.levelMasks[static_cast<std::size_t>(index)] = mask;
  }
}

}  // namespace plain

namespace sse2 {

[[gnu::target("sse2")]] void LevelMask(MacroblockRecord& record) {
  for (int index = 0; index < record.blockCount; ++index) {
    const auto* const rows = reinterpret_cast<const __m128i*>(record.Block(index).data());
    std::uint64_t zeros = 0;
    for (std::size_t pair = 0; pair < 4; ++pair) {
      // Saturation keeps every level but zero from becoming zero.
      const __m128i bytes =
          _mm_packs_epi16(_mm_load_si128(rows + 2 * pair), _mm_load_si128(rows + 2 * pair + 1));
      const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
      zeros |= static_cast<std::uint64_t>(bits) << (16 * pair);
    }
    record.levelMasks[static_cast<std::size_t>(index)] = ~zeros;
  }
}

}  // namespace sse2

}  // namespace qivm::kernels
