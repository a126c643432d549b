#include "kernels/dequantise.h"

#include <algorithm>
#include <bit>

#include "kernels/simd/intrinsics.h"
#include "kernels/simd/target.h"
#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"

namespace qivm {

namespace {

/// By q_scale_type and quantiser_scale_code.
constexpr auto kDequantisers = [] {
  std::array<std::array<Dequantiser, 32>, 2> all = {};
  for (std::size_t type = 0; type < all.size(); ++type) {
    for (std::size_t code = 0; code < all[type].size(); ++code) {
      const unsigned scale = mpeg2::kQuantiserScale[type][code];
      const auto& matrix = mpeg2::kDefaultIntraMatrix;
      const unsigned largest = *std::max_element(matrix.begin(), matrix.end()) * scale;
      Dequantiser& dequantiser = all[type][code];
      dequantiser.fine = largest <= Dequantiser::kLargestFineWeight;
      for (std::size_t i = 0; i < matrix.size(); ++i) {
        const unsigned weight = matrix[i] * scale * (dequantiser.fine ? 16 : 1);
        for (const std::size_t row : {i / 8, i / 8 + 8}) {
          dequantiser.weights[i % 8][row] = static_cast<std::uint16_t>(weight);
        }
      }
    }
  }
  return all;
}();

}  // namespace

const Dequantiser& DequantiserOf(std::uint8_t qScaleType, std::uint8_t quantiserScaleCode) {
  return kDequantisers[qScaleType][quantiserScaleCode];
}

namespace kernels {

namespace {

/// Where a coefficient lies in a block's columns, by its raster position.
constexpr std::size_t PlaceOf(std::uint8_t position) {
  return MacroblockRecord::ColumnOffset(0, position % 8) + position / 8;
}

/// The same by scan and position in it.
constexpr auto kPlaces = [] {
  std::array<std::array<std::uint8_t, LevelBlock::kLevels>, 2> places = {};
  for (std::size_t scan = 0; scan < places.size(); ++scan) {
    for (std::size_t i = 0; i < places[scan].size(); ++i) {
      places[scan][i] = static_cast<std::uint8_t>(PlaceOf(mpeg2::kScans[scan][i]));
    }
  }
  return places;
}();

std::int16_t Scaled(int level, std::uint8_t position, const Dequantiser& dequantiser) {
  const int weight = dequantiser.weights[position % 8][position / 8];
  return static_cast<std::int16_t>(level * weight * 2 / (dequantiser.fine ? 512 : 32));
}

}  // namespace

namespace plain {

namespace {

void DequantiseBlock(LevelBlock& levels, const Dequantiser& dequantiser, bool alternateScan,
                     std::int16_t dc, std::int16_t* coefficients) {
  const mpeg2::Scan& scan = mpeg2::kScans[alternateScan ? 1 : 0];
  for (std::size_t i = 1; i < LevelBlock::kLevels; ++i) {
    coefficients[PlaceOf(scan[i])] = Scaled(levels.Level(i), scan[i], dequantiser);
  }
  coefficients[0] = dc;
  levels.low.fill(0);
  levels.high.fill(0);
}

}  // namespace

bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record) {
  for (const LevelBlock& block : levels) {
    if (std::any_of(block.overrun.begin(), block.overrun.end(), [](int l) { return l != 0; })) {
      return false;
    }
  }
  for (std::size_t i = 0; i < levels.size(); ++i) {
    DequantiseBlock(levels[i], dequantiser, alternateScan, dc[i], record.Column(i, 0));
  }
  return true;
}

}  // namespace plain

QIVM_BEGIN_TARGET("sse2")

namespace sse2 {

namespace {

[[gnu::always_inline]] inline const __m128i* Vectors(const std::array<std::int8_t, 64>& bytes) {
  return reinterpret_cast<const __m128i*>(bytes.data());
}

bool AnyOverrun(MacroblockLevels levels) {
  __m128i any = _mm_setzero_si128();
  for (const LevelBlock& block : levels) {
    for (std::size_t i = 0; i < 4; ++i) {
      any = _mm_or_si128(any, _mm_load_si128(Vectors(block.overrun) + i));
    }
  }
  return _mm_movemask_epi8(_mm_cmpeq_epi8(any, _mm_setzero_si128())) != 0xFFFF;
}

/// Which bytes are not zero, 32 at a time, as bits.
std::uint32_t NonZero(const std::array<std::int8_t, 64>& bytes, std::size_t half) {
  std::uint32_t zeros = 0;
  for (std::size_t i = 0; i < 2; ++i) {
    const __m128i vector = _mm_load_si128(Vectors(bytes) + 2 * half + i);
    const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(vector, _mm_setzero_si128()));
    zeros |= static_cast<std::uint32_t>(mask) << (16 * i);
  }
  return ~zeros;
}

/// A column of levels, each of a byte, times its weights.
template <bool kFine>
[[gnu::always_inline]] inline __m128i Scale(__m128i levels, const Dequantiser::Column& weights) {
  const __m128i weight = _mm_load_si128(reinterpret_cast<const __m128i*>(weights.data()));
  const __m128i signs = _mm_srai_epi16(levels, 15);
  const __m128i magnitude = _mm_sub_epi16(_mm_xor_si128(levels, signs), signs);
  __m128i scaled;
  if constexpr (kFine) {
    // (256 |level|) * (16 W scale) / 65536.
    scaled = _mm_mulhi_epu16(_mm_slli_epi16(magnitude, 8), weight);
  } else {
    // Bits 4 to 19 of |level| * W * scale.
    scaled = _mm_or_si128(_mm_srli_epi16(_mm_mullo_epi16(magnitude, weight), 4),
                          _mm_slli_epi16(_mm_mulhi_epu16(magnitude, weight), 12));
  }
  return _mm_sub_epi16(_mm_xor_si128(scaled, signs), signs);
}

template <bool kFine>
void ScaleBlock(const Dequantiser& dequantiser, std::int16_t* coefficients) {
  for (std::size_t column = 0; column < 8; ++column) {
    auto* const place =
        reinterpret_cast<__m128i*>(coefficients + MacroblockRecord::ColumnOffset(0, column));
    _mm_store_si128(place, Scale<kFine>(_mm_load_si128(place), dequantiser.weights[column]));
  }
}

/// Does a block's levels beyond a byte once more.
void DequantiseLarge(const LevelBlock& block, std::size_t half, const mpeg2::Scan& scan,
                     const Dequantiser& dequantiser, std::int16_t* coefficients) {
  for (std::uint32_t mask = NonZero(block.high, half); mask != 0; mask &= mask - 1) {
    const auto i = 32 * half + static_cast<std::size_t>(std::countr_zero(mask));
    coefficients[PlaceOf(scan[i])] = Scaled(block.Level(i), scan[i], dequantiser);
  }
}

}  // namespace

// Without shuffles of bytes the order is best undone level by level. Scaled like that too, dense
// blocks took twice as long.
bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record) {
  if (AnyOverrun(levels)) {
    return false;
  }
  const mpeg2::Scan& scan = mpeg2::kScans[alternateScan ? 1 : 0];
  const auto& places = kPlaces[alternateScan ? 1 : 0];
  for (std::size_t i = 0; i < levels.size(); ++i) {
    LevelBlock& block = levels[i];
    std::int16_t* const coefficients = record.Column(i, 0);
    for (std::size_t column = 0; column < 8; ++column) {
      _mm_store_si128(reinterpret_cast<__m128i*>(record.Column(i, column)), _mm_setzero_si128());
    }
    for (std::size_t half = 0; half < 2; ++half) {
      for (std::uint32_t mask = NonZero(block.low, half); mask != 0; mask &= mask - 1) {
        const auto position = 32 * half + static_cast<std::size_t>(std::countr_zero(mask));
        coefficients[places[position]] = static_cast<std::int16_t>(int{block.low[position]});
      }
    }
    if (dequantiser.fine) {
      ScaleBlock<true>(dequantiser, coefficients);
    } else {
      ScaleBlock<false>(dequantiser, coefficients);
    }
    DequantiseLarge(block, 0, scan, dequantiser, coefficients);
    DequantiseLarge(block, 1, scan, dequantiser, coefficients);
    coefficients[0] = dc[i];
    block.low.fill(0);
    block.high.fill(0);
  }
  return true;
}

}  // namespace sse2

QIVM_END_TARGET

QIVM_BEGIN_TARGET("avx2")

namespace avx2 {

namespace {

using V = __m256i;

/// For each pair of columns and each quarter of the scan, the shuffle that brings the quarter's
/// levels to their places in the columns, zeros to the others.
template <const mpeg2::Scan& kScan>
struct ColumnShuffles {
  static constexpr std::int8_t kZero = -128;

  bool used[4][4] = {};
  alignas(32) std::int8_t bytes[4][4][32] = {};  // for two blocks side by side

  constexpr ColumnShuffles() {
    for (auto& pair : bytes) {
      for (auto& quarter : pair) {
        std::fill(std::begin(quarter), std::end(quarter), kZero);
      }
    }
    for (std::size_t i = 1; i < kScan.size(); ++i) {
      const std::size_t place = kScan[i] % 8U * 8U + kScan[i] / 8U;
      used[place / 16][i / 16] = true;
      for (const std::size_t block : {std::size_t{0}, std::size_t{16}}) {
        bytes[place / 16][i / 16][block + place % 16] = static_cast<std::int8_t>(i % 16);
      }
    }
  }
};

template <const mpeg2::Scan& kScan>
constexpr ColumnShuffles<kScan> kColumnShuffles;

/// Sixteen bytes of each of two blocks.
[[gnu::always_inline]] inline V LoadOfTwo(const std::int8_t* first, const std::int8_t* second) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(first))),
      _mm_load_si128(reinterpret_cast<const __m128i*>(second)), 1);
}

/// The levels of a pair of columns, from the quarter `kFrom` of the scan and those behind it.
template <const mpeg2::Scan& kScan, std::size_t kPair, std::size_t kFrom = 0>
[[gnu::always_inline]] inline V ColumnPair(const V (&quarters)[4]) {
  constexpr const ColumnShuffles<kScan>& kShuffles = kColumnShuffles<kScan>;
  if constexpr (kFrom == 4) {
    return _mm256_setzero_si256();
  } else if constexpr (!kShuffles.used[kPair][kFrom]) {
    return ColumnPair<kScan, kPair, kFrom + 1>(quarters);
  } else {
    const auto* const shuffle = reinterpret_cast<const V*>(kShuffles.bytes[kPair][kFrom]);
    return _mm256_or_si256(_mm256_shuffle_epi8(quarters[kFrom], _mm256_load_si256(shuffle)),
                           ColumnPair<kScan, kPair, kFrom + 1>(quarters));
  }
}

/// Levels (in the high bytes of 16-bit lanes, with their magnitudes) times the weights of a column.
template <bool kFine>
[[gnu::always_inline]] inline V Scale(V magnitudes, V levels, const Dequantiser::Column& weights) {
  const V weight = _mm256_load_si256(reinterpret_cast<const V*>(weights.data()));
  if constexpr (kFine) {
    // (256 |level|) * (16 W scale) / 65536.
    return _mm256_sign_epi16(_mm256_mulhi_epu16(magnitudes, weight), levels);
  } else {
    // Bits 4 to 19 of |level| * W * scale.
    const V magnitude = _mm256_srli_epi16(magnitudes, 8);
    const V low = _mm256_srli_epi16(_mm256_mullo_epi16(magnitude, weight), 4);
    const V high = _mm256_slli_epi16(_mm256_mulhi_epu16(magnitude, weight), 12);
    return _mm256_sign_epi16(_mm256_or_si256(low, high), levels);
  }
}

/// DC coefficients of two blocks at their places.
[[gnu::always_inline]] inline V DcOfTwo(const std::int16_t* dc) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_cvtsi32_si128(static_cast<std::uint16_t>(dc[0]))),
      _mm_cvtsi32_si128(static_cast<std::uint16_t>(dc[1])), 1);
}

template <const mpeg2::Scan& kScan, bool kFine, std::size_t kPair>
[[gnu::always_inline]] inline void DequantiseColumns(const V (&quarters)[4],
                                                     const Dequantiser& dequantiser,
                                                     const std::int16_t* dc,
                                                     std::int16_t* coefficients) {
  const V levels = ColumnPair<kScan, kPair>(quarters);
  const V magnitudes = _mm256_abs_epi8(levels);
  const V zero = _mm256_setzero_si256();
  V first = Scale<kFine>(_mm256_unpacklo_epi8(zero, magnitudes), _mm256_unpacklo_epi8(zero, levels),
                         dequantiser.weights[2 * kPair]);
  if constexpr (kPair == 0) {
    first = _mm256_or_si256(first, DcOfTwo(dc));
  }
  auto* const columns = reinterpret_cast<V*>(coefficients) + 2 * kPair;
  _mm256_store_si256(columns, first);
  _mm256_store_si256(columns + 1, Scale<kFine>(_mm256_unpackhi_epi8(zero, magnitudes),
                                               _mm256_unpackhi_epi8(zero, levels),
                                               dequantiser.weights[2 * kPair + 1]));
}

template <const mpeg2::Scan& kScan, bool kFine>
[[gnu::always_inline]] inline void DequantiseTwoBlocks(LevelBlock* levels,
                                                       const Dequantiser& dequantiser,
                                                       const std::int16_t* dc,
                                                       std::int16_t* coefficients) {
  V quarters[4];
  for (std::size_t i = 0; i < 4; ++i) {
    quarters[i] = LoadOfTwo(levels[0].low.data() + 16 * i, levels[1].low.data() + 16 * i);
  }
  DequantiseColumns<kScan, kFine, 0>(quarters, dequantiser, dc, coefficients);
  DequantiseColumns<kScan, kFine, 1>(quarters, dequantiser, dc, coefficients);
  DequantiseColumns<kScan, kFine, 2>(quarters, dequantiser, dc, coefficients);
  DequantiseColumns<kScan, kFine, 3>(quarters, dequantiser, dc, coefficients);
}

[[gnu::always_inline]] inline V OrOf(V value, const std::array<std::int8_t, 64>& bytes) {
  const auto* const vectors = reinterpret_cast<const V*>(bytes.data());
  return _mm256_or_si256(
      value, _mm256_or_si256(_mm256_load_si256(vectors), _mm256_load_si256(vectors + 1)));
}

/// Does a block's levels beyond a byte once more, and clears what they have there.
void DequantiseLarge(LevelBlock& block, const Dequantiser& dequantiser, bool alternateScan,
                     std::int16_t* coefficients) {
  auto* const vectors = reinterpret_cast<V*>(block.high.data());
  const mpeg2::Scan& scan = mpeg2::kScans[alternateScan ? 1 : 0];
  for (std::size_t half = 0; half < 2; ++half) {
    const V zeros = _mm256_cmpeq_epi8(_mm256_load_si256(vectors + half), _mm256_setzero_si256());
    auto mask = ~static_cast<std::uint32_t>(_mm256_movemask_epi8(zeros));
    for (; mask != 0; mask &= mask - 1) {
      const auto i = 32 * half + static_cast<std::size_t>(std::countr_zero(mask));
      coefficients[PlaceOf(scan[i])] = Scaled(block.Level(i), scan[i], dequantiser);
      block.high[i] = 0;
    }
  }
}

[[gnu::always_inline]] inline void Clear(std::array<std::int8_t, 64>& bytes) {
  auto* const vectors = reinterpret_cast<V*>(bytes.data());
  _mm256_store_si256(vectors, _mm256_setzero_si256());
  _mm256_store_si256(vectors + 1, _mm256_setzero_si256());
}

template <const mpeg2::Scan& kScan, bool kFine>
void DequantiseBlocks(MacroblockLevels levels, const Dequantiser& dequantiser,
                      const DcCoefficients& dc, MacroblockRecord& record) {
  for (std::size_t i = 0; i < levels.size(); i += 2) {
    DequantiseTwoBlocks<kScan, kFine>(&levels[i], dequantiser, &dc[i], record.Column(i, 0));
  }
}

}  // namespace

bool Dequantise(MacroblockLevels levels, const Dequantiser& dequantiser, bool alternateScan,
                const DcCoefficients& dc, MacroblockRecord& record) {
  V overrun = _mm256_setzero_si256();
  V high = _mm256_setzero_si256();
  for (const LevelBlock& block : levels) {
    overrun = OrOf(overrun, block.overrun);
    high = OrOf(high, block.high);
  }
  if (_mm256_testz_si256(overrun, overrun) == 0) {
    return false;
  }
  if (alternateScan) {
    if (dequantiser.fine) {
      DequantiseBlocks<mpeg2::kAlternateScan, true>(levels, dequantiser, dc, record);
    } else {
      DequantiseBlocks<mpeg2::kAlternateScan, false>(levels, dequantiser, dc, record);
    }
  } else if (dequantiser.fine) {
    DequantiseBlocks<mpeg2::kZigzagScan, true>(levels, dequantiser, dc, record);
  } else {
    DequantiseBlocks<mpeg2::kZigzagScan, false>(levels, dequantiser, dc, record);
  }
  if (_mm256_testz_si256(high, high) == 0) [[unlikely]] {
    for (std::size_t i = 0; i < levels.size(); ++i) {
      DequantiseLarge(levels[i], dequantiser, alternateScan, record.Column(i, 0));
    }
  }
  for (LevelBlock& block : levels) {
    Clear(block.low);
  }
  return true;
}

}  // namespace avx2

QIVM_END_TARGET

}  // namespace kernels

}  // namespace qivm
