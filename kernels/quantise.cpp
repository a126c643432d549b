#include "kernels/quantise.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "kernels/simd/intrinsics.h"
#include "kernels/simd/target.h"
#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"

namespace qivm {

Quantiser::Quantiser(std::uint8_t qScaleType, std::uint8_t quantiserScaleCode)
    : scale(mpeg2::kQuantiserScale[qScaleType][quantiserScaleCode]) {
  for (std::size_t column = 0; column < multipliers.size(); ++column) {
    for (std::size_t row = 0; row < 8; ++row) {
      const unsigned divisor = mpeg2::kDefaultIntraMatrix[8 * row + column] * unsigned{scale};
      const auto multiplierFor = [divisor](unsigned shift) {
        return ((1U << (15 + shift)) + divisor - 1) / divisor;
      };
      // 2^shift is nearly twice the divisor, or the divisor itself.
      auto shift = static_cast<unsigned>(std::bit_width(divisor));
      if (multiplierFor(shift) > 65535) {
        --shift;
      }
      for (const std::size_t place : {row, row + 8}) {
        multipliers[column][place] = static_cast<std::uint16_t>(multiplierFor(shift));
        shifts[column][place] = static_cast<std::uint16_t>(1U << (16 - shift));
      }
    }
  }
}

namespace kernels {

namespace {

/// A coefficient by its raster position.
std::int16_t CoefficientAt(const MacroblockRecord& record, std::size_t block,
                           std::uint8_t position) {
  return record.Column(block, position % 8)[position / 8];
}

/// 32 F / (2 W * quantiser_scale), toward zero.
int LevelOf(std::int16_t coefficient, std::uint8_t position, const Quantiser& quantiser) {
  return coefficient * 32 / (mpeg2::kDefaultIntraMatrix[position] * quantiser.scale * 2);
}

std::int8_t Small(int level) {
  return static_cast<std::int8_t>(
      std::clamp(level, -LevelBatch::kLargestSmallLevel - 1, LevelBatch::kLargestSmallLevel + 1));
}

void AddLarge(std::size_t block, std::size_t position, int level, LevelBatch& batch) {
  batch.large[batch.largeCount++] = {static_cast<std::uint16_t>(block),
                                     static_cast<std::uint8_t>(position),
                                     static_cast<std::int16_t>(level)};
}

/// Adds the marked levels of a block to the list, which are large. `index` is the block's in the
/// record, `block` in the batch.
void AddMarked(std::uint64_t marks, const MacroblockRecord& record, const Quantiser& quantiser,
               std::size_t index, std::size_t block, LevelBatch& batch) {
  for (; marks != 0; marks &= marks - 1) {
    const auto i = static_cast<std::size_t>(std::countr_zero(marks));
    const std::uint8_t position = mpeg2::kZigzagScan[i];
    AddLarge(block, i, LevelOf(CoefficientAt(record, index, position), position, quantiser), batch);
  }
}

}  // namespace

namespace plain {

void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock) {
  for (std::size_t index = 0; index < MacroblockRecord::kBlocks; ++index) {
    const std::size_t block = macroblock * MacroblockRecord::kBlocks + index;
    std::uint64_t mask = 0;
    batch.levels[block][0] = 0;
    for (std::size_t i = 1; i < LevelBatch::kLevels; ++i) {
      const std::uint8_t position = mpeg2::kZigzagScan[i];
      const int level = LevelOf(CoefficientAt(record, index, position), position, quantiser);
      batch.levels[block][i] = Small(level);
      mask |= static_cast<std::uint64_t>(level != 0) << i;
      if (std::abs(level) > LevelBatch::kLargestSmallLevel) {
        AddLarge(block, i, level, batch);
      }
    }
    batch.masks[block] = mask;
    batch.dc[block] = record.Column(index, 0)[0];
  }
}

}  // namespace plain

QIVM_BEGIN_TARGET("sse2")

namespace sse2 {

namespace {

/// The levels of a column.
[[gnu::always_inline]] inline __m128i Divide(const std::int16_t* coefficientsOfColumn,
                                             std::size_t column, const Quantiser& quantiser) {
  const __m128i coefficients =
      _mm_load_si128(reinterpret_cast<const __m128i*>(coefficientsOfColumn));
  const __m128i sign = _mm_srai_epi16(coefficients, 15);
  const __m128i magnitude = _mm_sub_epi16(_mm_xor_si128(coefficients, sign), sign);
  const __m128i quotient = _mm_mulhi_epu16(
      _mm_mulhi_epu16(_mm_slli_epi16(magnitude, 5), _mm_load_si128(reinterpret_cast<const __m128i*>(
                                                        quantiser.multipliers[column].data()))),
      _mm_load_si128(reinterpret_cast<const __m128i*>(quantiser.shifts[column].data())));
  return _mm_sub_epi16(_mm_xor_si128(quotient, sign), sign);
}

}  // namespace

// Without shuffles of bytes the levels are best brought into the scan's order one by one.
void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock) {
  const __m128i largest = _mm_set1_epi8(LevelBatch::kLargestSmallLevel);
  const __m128i smallest = _mm_set1_epi8(-LevelBatch::kLargestSmallLevel);
  for (std::size_t index = 0; index < MacroblockRecord::kBlocks; ++index) {
    const std::size_t block = macroblock * MacroblockRecord::kBlocks + index;
    alignas(16) std::array<std::int8_t, LevelBatch::kLevels> bytes;  // column by column
    for (std::size_t column = 0; column < 8; column += 2) {
      _mm_store_si128(
          reinterpret_cast<__m128i*>(bytes.data() + 8 * column),
          _mm_packs_epi16(Divide(record.Column(index, column), column, quantiser),
                          Divide(record.Column(index, column + 1), column + 1, quantiser)));
    }
    auto& scanned = batch.levels[block];
    scanned[0] = 0;
    for (std::size_t i = 1; i < scanned.size(); ++i) {
      const std::uint8_t position = mpeg2::kZigzagScan[i];
      scanned[i] = bytes[position % 8 * 8U + position / 8];
    }
    std::uint64_t zeros = 0;
    std::uint64_t large = 0;
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
      const __m128i part =
          _mm_load_si128(reinterpret_cast<const __m128i*>(scanned.data()) + quarter);
      const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(part, _mm_setzero_si128()));
      zeros |= static_cast<std::uint64_t>(bits) << (16 * quarter);
      const int largeBits = _mm_movemask_epi8(
          _mm_or_si128(_mm_cmpgt_epi8(part, largest), _mm_cmplt_epi8(part, smallest)));
      large |= static_cast<std::uint64_t>(largeBits) << (16 * quarter);
    }
    batch.masks[block] = ~zeros;
    batch.dc[block] = record.Column(index, 0)[0];
    AddMarked(large, record, quantiser, index, block, batch);
  }
}

}  // namespace sse2

QIVM_END_TARGET

QIVM_BEGIN_TARGET("avx2")

namespace avx2 {

namespace {

using V = __m256i;

/// For each quarter of the scan and each pair of columns, the shuffle that brings the columns'
/// levels to their places in the quarter, zeros to the others.
struct QuarterShuffles {
  static constexpr std::int8_t kZero = -128;

  bool used[4][4] = {};
  alignas(32) std::int8_t bytes[4][4][32] = {};  // for two blocks side by side

  constexpr QuarterShuffles() {
    for (auto& quarter : bytes) {
      for (auto& pair : quarter) {
        std::fill(std::begin(pair), std::end(pair), kZero);
      }
    }
    for (std::size_t i = 1; i < LevelBatch::kLevels; ++i) {
      const std::uint8_t position = mpeg2::kZigzagScan[i];
      const std::size_t place = position % 8 * 8U + position / 8;
      used[i / 16][place / 16] = true;
      for (const std::size_t block : {std::size_t{0}, std::size_t{16}}) {
        bytes[i / 16][place / 16][block + i % 16] = static_cast<std::int8_t>(place % 16);
      }
    }
  }
};

constexpr QuarterShuffles kQuarterShuffles;

/// A quarter of the scan, from the pair of columns `kFrom` and those behind it.
template <std::size_t kQuarter, std::size_t kFrom = 0>
[[gnu::always_inline]] inline V Quarter(const V (&pairs)[4]) {
  if constexpr (kFrom == 4) {
    return _mm256_setzero_si256();
  } else if constexpr (!kQuarterShuffles.used[kQuarter][kFrom]) {
    return Quarter<kQuarter, kFrom + 1>(pairs);
  } else {
    const auto* const shuffle = reinterpret_cast<const V*>(kQuarterShuffles.bytes[kQuarter][kFrom]);
    return _mm256_or_si256(_mm256_shuffle_epi8(pairs[kFrom], _mm256_load_si256(shuffle)),
                           Quarter<kQuarter, kFrom + 1>(pairs));
  }
}

[[gnu::always_inline]] inline V LoadFactors(const Quantiser::Column& factors) {
  return _mm256_load_si256(reinterpret_cast<const V*>(factors.data()));
}

/// The levels of a column of two blocks.
[[gnu::always_inline]] inline V Divide(const MacroblockRecord& record, std::size_t index,
                                       std::size_t column, const Quantiser& quantiser) {
  const V coefficients =
      _mm256_load_si256(reinterpret_cast<const V*>(record.Column(index, column)));
  const V magnitudes = _mm256_slli_epi16(_mm256_abs_epi16(coefficients), 5);
  const V quotients =
      _mm256_mulhi_epu16(_mm256_mulhi_epu16(magnitudes, LoadFactors(quantiser.multipliers[column])),
                         LoadFactors(quantiser.shifts[column]));
  return _mm256_sign_epi16(quotients, coefficients);
}

/// A bit for each byte that is zero.
[[gnu::always_inline]] inline std::uint32_t ZeroBytes(V bytes) {
  return static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_setzero_si256())));
}

/// A block's levels, half of the scan each.
struct ScannedBlock {
  V halves[2];

  [[gnu::always_inline]] void Store(std::size_t block, LevelBatch& batch) const {
    auto* const levels = reinterpret_cast<V*>(batch.levels[block].data());
    _mm256_store_si256(levels, halves[0]);
    _mm256_store_si256(levels + 1, halves[1]);
    batch.masks[block] =
        ~(std::uint64_t{ZeroBytes(halves[0])} | std::uint64_t{ZeroBytes(halves[1])} << 32);
  }
  /// What magnitudes have beyond those of small levels.
  [[gnu::always_inline]] V Excess(std::size_t half) const {
    return _mm256_subs_epu8(_mm256_abs_epi8(halves[half]),
                            _mm256_set1_epi8(LevelBatch::kLargestSmallLevel));
  }
  [[gnu::always_inline]] std::uint64_t LargeLevels() const {
    return ~(std::uint64_t{ZeroBytes(Excess(0))} | std::uint64_t{ZeroBytes(Excess(1))} << 32);
  }
};

[[gnu::always_inline]] inline void QuantiseTwoBlocks(const MacroblockRecord& record,
                                                     std::size_t index, const Quantiser& quantiser,
                                                     std::size_t block, LevelBatch& batch) {
  V pairs[4];
  for (std::size_t i = 0; i < 4; ++i) {
    pairs[i] = _mm256_packs_epi16(Divide(record, index, 2 * i, quantiser),
                                  Divide(record, index, 2 * i + 1, quantiser));
  }
  // The first block is in the lower halves of the quarters, the second in the upper ones.
  const V quarters[4] = {Quarter<0>(pairs), Quarter<1>(pairs), Quarter<2>(pairs),
                         Quarter<3>(pairs)};
  const ScannedBlock first = {{_mm256_permute2x128_si256(quarters[0], quarters[1], 0x20),
                               _mm256_permute2x128_si256(quarters[2], quarters[3], 0x20)}};
  const ScannedBlock second = {{_mm256_permute2x128_si256(quarters[0], quarters[1], 0x31),
                                _mm256_permute2x128_si256(quarters[2], quarters[3], 0x31)}};
  first.Store(block, batch);
  second.Store(block + 1, batch);
  batch.dc[block] = record.Column(index, 0)[0];
  batch.dc[block + 1] = record.Column(index + 1, 0)[0];
  const V excess = _mm256_or_si256(_mm256_or_si256(first.Excess(0), first.Excess(1)),
                                   _mm256_or_si256(second.Excess(0), second.Excess(1)));
  if (_mm256_testz_si256(excess, excess) == 0) [[unlikely]] {
    AddMarked(first.LargeLevels(), record, quantiser, index, block, batch);
    AddMarked(second.LargeLevels(), record, quantiser, index + 1, block + 1, batch);
  }
}

}  // namespace

void Quantise(const MacroblockRecord& record, const Quantiser& quantiser, LevelBatch& batch,
              std::size_t macroblock) {
  for (std::size_t index = 0; index < MacroblockRecord::kBlocks; index += 2) {
    QuantiseTwoBlocks(record, index, quantiser, macroblock * MacroblockRecord::kBlocks + index,
                      batch);
  }
}

}  // namespace avx2

QIVM_END_TARGET

}  // namespace kernels

}  // namespace qivm
