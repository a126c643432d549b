// The encoder's inner loops. What bounds coding level by level is that nobody can foresee where a
// block's levels are and how long their codes: the AVX2 form does each thing for all levels of some
// macroblocks before it does the next, without a branch for what the levels are. Nanoseconds a
// block, film and noise: compaction 3.6 (by scanning the masks bit by bit 11 and 29), runs 0.4,
// look-up 3 and 9, packing 6 and 20.

#include "kernels/code_levels.h"

#include <bit>
#include <cstring>

#include "kernels/simd/intrinsics.h"
#include "kernels/simd/target.h"
#include "mpeg2/vlc.h"

namespace qivm::kernels {

namespace {

constexpr std::size_t kRuns = 64;

/// The escape of a run and a level (Table B-16).
constexpr std::uint32_t EscapeCode(std::size_t run, int level) {
  constexpr std::uint32_t kLevelMask = (1U << mpeg2::kEscapeLevelBits) - 1;
  const std::uint32_t bits = static_cast<std::uint32_t>(mpeg2::kEscape.bits)
                                 << (mpeg2::kEscapeRunBits + mpeg2::kEscapeLevelBits) |
                             static_cast<std::uint32_t>(run) << mpeg2::kEscapeLevelBits |
                             (static_cast<std::uint32_t>(level) & kLevelMask);
  return PackCode(bits, mpeg2::kEscapeTotalBits);
}

/// The code of each run and level, sign included, by run and the level's byte.
constexpr auto kCodes = [] {
  std::array<std::array<std::uint32_t, 256>, kRuns> codes = {};
  for (std::size_t run = 0; run < kRuns; ++run) {
    for (int level = -128; level < 128; ++level) {
      codes[run][static_cast<std::uint8_t>(level)] = EscapeCode(run, level);
    }
  }
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    const std::uint32_t bits = entry.code.bits * 2U;
    const unsigned count = entry.code.length + 1U;
    codes[entry.run][entry.level] = PackCode(bits, count);
    codes[entry.run][static_cast<std::uint8_t>(-entry.level)] = PackCode(bits + 1, count);
  }
  return codes;
}();

}  // namespace

namespace plain {

namespace {

/// As much of a mask as one instruction can scan.
using Mask = std::size_t;
constexpr unsigned kMaskBits = sizeof(Mask) * 8;

/// A bit writer that keeps its state in registers: an accumulator as wide as one of them, stored
/// whole, without branches.
class BitSink {
 public:
  using Accumulator = std::size_t;
  static constexpr unsigned kBits = sizeof(Accumulator) * 8;

  explicit BitSink(const BitTail& tail)
      : next_(tail.next), accumulator_(tail.bits >> (8U - tail.count)), count_(tail.count) {}

  /// Appends a code of up to 25 bits and stores what there is. At most seven bits are left from the
  /// one before.
  void Put(std::uint32_t code) {
    static_assert(7 + 25 <= kBits);
    accumulator_ = accumulator_ << CodeCount(code) | CodeBits(code);
    count_ += CodeCount(code);
    Accumulator bigEndian = accumulator_ << (kBits - count_);
    if constexpr (kBits == 64) {
      bigEndian = __builtin_bswap64(bigEndian);
    } else {
      bigEndian = __builtin_bswap32(bigEndian);
    }
    std::memcpy(next_, &bigEndian, sizeof(bigEndian));
    next_ += count_ / 8;
    count_ %= 8;
  }

  /// Appends a code of any length.
  void PutLong(std::uint32_t code) {
    if constexpr (kBits == 64) {
      Put(code);
    } else {
      const unsigned count = CodeCount(code);
      const unsigned lower = count / 2;
      Put(PackCode(CodeBits(code) >> lower, count - lower));
      Put(PackCode(CodeBits(code) & ((1U << lower) - 1), lower));
    }
  }

  BitTail Tail() const {
    const auto left = static_cast<std::uint8_t>(accumulator_ << (8 - count_));
    return {next_, static_cast<std::uint8_t>(count_ == 0 ? 0 : left),
            static_cast<std::uint8_t>(count_)};
  }

 private:
  std::uint8_t* next_;
  Accumulator accumulator_;  // what lies above the lowest `count_` bits is stored already
  unsigned count_;
};

}  // namespace

void CodeLevels(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes,
                CodeLists& /*lists*/, BitTail& tail) {
  BitSink sink(tail);
  const LevelBatch::Large* large = batch.large.data();
  for (std::size_t block = 0; block < dcCodes.size(); ++block) {
    sink.PutLong(dcCodes[block]);
    unsigned next = 1;  // the position behind the last level
    for (unsigned base = 0; base < 64; base += kMaskBits) {
      for (auto mask = static_cast<Mask>(batch.masks[block] >> base); mask != 0; mask &= mask - 1) {
        const unsigned position = base + static_cast<unsigned>(std::countr_zero(mask));
        const unsigned run = position - next;
        const std::int8_t level = batch.levels[block][position];
        next = position + 1;
        if (level > LevelBatch::kLargestSmallLevel || level < -LevelBatch::kLargestSmallLevel)
            [[unlikely]] {
          sink.Put(EscapeCode(run, (large++)->level));
        } else {
          sink.Put(kCodes[run][static_cast<std::uint8_t>(level)]);
        }
      }
    }
  }
  tail = sink.Tail();
}

}  // namespace plain

QIVM_BEGIN_TARGET("avx2,popcnt")

namespace avx2 {

namespace {

using V = __m256i;

constexpr unsigned kPositionShift = 8;
constexpr std::uint64_t kDcBit = 1;  // of a mask: the DC coefficient is in the list in any case

/// For each mask of eight, the shuffle that brings the marked ones of eight 16-bit values together.
struct Compactions {
  static constexpr std::size_t kBytes = 16;

  alignas(kBytes) std::array<std::uint8_t, 256 * kBytes> shuffles = {};

  constexpr Compactions() {
    for (std::size_t mask = 0; mask < 256; ++mask) {
      std::size_t to = kBytes * mask;
      for (std::size_t from = 0; from < 8; ++from) {
        if ((mask >> from & 1) != 0) {
          shuffles[to++] = static_cast<std::uint8_t>(2 * from);
          shuffles[to++] = static_cast<std::uint8_t>(2 * from + 1);
        }
      }
    }
  }
};
constexpr Compactions kCompactions;

alignas(16) constexpr auto kPositions = [] {
  std::array<std::uint8_t, LevelBatch::kLevels> positions = {};
  for (std::size_t i = 0; i < positions.size(); ++i) {
    positions[i] = static_cast<std::uint8_t>(i);
  }
  return positions;
}();

/// Stores the marked ones of eight values one behind another. The marks are eight bits of the mask
/// from kFirst on. Returns where the next value goes.
template <unsigned kFirst>
[[gnu::always_inline]] inline std::uint16_t* PutMarked(std::uint16_t* out, __m128i values,
                                                       std::uint32_t mask) {
  constexpr unsigned kShuffleBytesLog2 = 4;
  // The marks as the offset of their shuffle.
  const std::uint32_t offset =
      (kFirst == 0 ? mask << kShuffleBytesLog2 : mask >> (kFirst - kShuffleBytesLog2)) &
      0xFFU << kShuffleBytesLog2;
  const auto* const shuffle =
      reinterpret_cast<const __m128i*>(kCompactions.shuffles.data() + offset);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_shuffle_epi8(values, _mm_load_si128(shuffle)));
  return out + std::popcount(offset);
}

/// The same for half of a block's levels, by the half of its mask.
template <std::size_t kHalf>
[[gnu::always_inline]] inline std::uint16_t* PutHalf(std::uint16_t* out, const std::int8_t* levels,
                                                     std::uint32_t mask) {
  const auto at = [](const auto* bytes, std::size_t quarter) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(bytes) + 2 * kHalf + quarter);
  };
  const __m128i levels0 = at(levels, 0);
  const __m128i levels1 = at(levels, 1);
  const __m128i positions0 = at(kPositions.data(), 0);
  const __m128i positions1 = at(kPositions.data(), 1);
  out = PutMarked<0>(out, _mm_unpacklo_epi8(levels0, positions0), mask);
  out = PutMarked<8>(out, _mm_unpackhi_epi8(levels0, positions0), mask);
  out = PutMarked<16>(out, _mm_unpacklo_epi8(levels1, positions1), mask);
  return PutMarked<24>(out, _mm_unpackhi_epi8(levels1, positions1), mask);
}

/// Fills the list of levels. Returns its length.
std::size_t Compact(const LevelBatch& batch, std::size_t blocks, CodeLists& lists) {
  std::uint16_t* out = lists.levels.data();
  for (std::size_t block = 0; block < blocks; ++block) {
    lists.blocks[block] = static_cast<std::uint32_t>(out - lists.levels.data());
    const std::uint64_t mask = batch.masks[block] | kDcBit;
    const auto upper = static_cast<std::uint32_t>(mask >> 32);
    const std::int8_t* const levels = batch.levels[block].data();
    out = PutHalf<0>(out, levels, static_cast<std::uint32_t>(mask));
    if (upper != 0) {
      out = PutHalf<1>(out, levels, upper);
    }
  }
  return static_cast<std::size_t>(out - lists.levels.data());
}

/// Turns the positions of the list into runs. Those of DC coefficients become anything.
void FindRuns(CodeLists& lists, std::size_t length) {
  const V positions = _mm256_set1_epi16(static_cast<std::int16_t>(0xFF00));
  const V one = _mm256_set1_epi16(1 << kPositionShift);
  const V runAndLevel = _mm256_set1_epi16((kRuns << kPositionShift) - 1);
  // The first element has no neighbour before it; it is a DC coefficient.
  V before = _mm256_setzero_si256();
  for (std::size_t i = 0; i < length; i += 16) {
    auto* const place = reinterpret_cast<V*>(lists.levels.data() + i);
    const V values = _mm256_load_si256(place);
    // The values one element earlier.
    const V middle = _mm256_permute2x128_si256(before, values, 0x21);
    const V earlier = _mm256_alignr_epi8(values, middle, 14);
    const V runs =
        _mm256_sub_epi16(_mm256_sub_epi16(values, _mm256_and_si256(earlier, positions)), one);
    _mm256_store_si256(place, _mm256_and_si256(runs, runAndLevel));
    before = values;
  }
}

/// Fills the list of codes.
void LookUp(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes, CodeLists& lists,
            std::size_t length) {
  const std::uint32_t* const codes = kCodes.front().data();
  for (std::size_t i = 0; i < length; i += 8) {
#pragma GCC unroll 8
    for (std::size_t j = i; j < i + 8; ++j) {
      lists.codes[j] = codes[lists.levels[j]];
    }
  }
  for (std::size_t block = 0; block < dcCodes.size(); ++block) {
    lists.codes[lists.blocks[block]] = dcCodes[block];
  }
  for (std::size_t i = 0; i < batch.largeCount; ++i) {
    const LevelBatch::Large& large = batch.large[i];
    const std::uint64_t before =
        (batch.masks[large.block] | kDcBit) & ((std::uint64_t{1} << large.position) - 1);
    const auto last = static_cast<unsigned>(std::bit_width(before)) - 1;
    const auto place = lists.blocks[large.block] + static_cast<unsigned>(std::popcount(before));
    lists.codes[place] = EscapeCode(large.position - last - 1, large.level);
  }
}

/// Bits at the top of the low 64 of a vector register, so that 32-bit code has them in one register
/// too, and how many they are.
struct Bits {
  __m128i value;
  __m128i count;
};

/// The stream's end in vector registers.
class VectorSink {
 public:
  /// What fits behind up to seven bits that are there already.
  static constexpr std::int64_t kMostBits = 57;

  explicit VectorSink(const BitTail& tail)
      : next_(tail.next),
        pending_(_mm_slli_epi64(_mm_cvtsi32_si128(tail.bits), 56)),
        count_(_mm_cvtsi32_si128(tail.count)) {}

  [[gnu::always_inline]] void Put(const Bits& bits) {
    const __m128i joined = _mm_or_si128(pending_, _mm_srlv_epi64(bits.value, count_));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(next_),
                     _mm_shuffle_epi8(joined, _mm_set_epi64x(0, 0x0001020304050607)));
    const __m128i total = _mm_add_epi64(count_, bits.count);
    const __m128i rest = _mm_set_epi64x(0, 7);
    next_ += static_cast<unsigned>(_mm_cvtsi128_si32(total)) / 8;
    pending_ = _mm_sllv_epi64(joined, _mm_andnot_si128(rest, total));
    count_ = _mm_and_si128(total, rest);
  }

  BitTail Tail() const {
    return {next_, static_cast<std::uint8_t>(_mm_cvtsi128_si32(_mm_srli_epi64(pending_, 56))),
            static_cast<std::uint8_t>(_mm_cvtsi128_si32(count_))};
  }

 private:
  std::uint8_t* next_;
  __m128i pending_;
  __m128i count_;
};

/// Codes in the low bits of 64-bit lanes.
struct Lanes64 {
  V bits;
  V counts;
};

/// Eight codes joined two by two.
[[gnu::always_inline]] inline Lanes64 JoinPairs(const std::uint32_t* codes) {
  const V zero = _mm256_setzero_si256();
  const V packed = _mm256_load_si256(reinterpret_cast<const V*>(codes));
  const V counts = _mm256_and_si256(packed, _mm256_set1_epi32(31));
  const V bits = _mm256_srli_epi32(packed, 5);
  const V secondCounts = _mm256_srli_epi64(counts, 32);
  const V firstBits = _mm256_blend_epi32(bits, zero, 0xAA);
  const V firstCounts = _mm256_blend_epi32(counts, zero, 0xAA);
  return {_mm256_or_si256(_mm256_sllv_epi64(firstBits, secondCounts), _mm256_srli_epi64(bits, 32)),
          _mm256_add_epi64(firstCounts, secondCounts)};
}

[[gnu::always_inline]] inline void PutLower(VectorSink& sink, __m128i bits, __m128i counts) {
  sink.Put({bits, counts});
}
[[gnu::always_inline]] inline void PutUpper(VectorSink& sink, __m128i bits, __m128i counts) {
  sink.Put({_mm_unpackhi_epi64(bits, bits), _mm_unpackhi_epi64(counts, counts)});
}

/// Puts the four lanes, in their order or, when they come from two vectors in turn, in the order 0,
/// 2, 1, 3.
template <bool kInTurn>
[[gnu::always_inline]] inline void PutLanes(VectorSink& sink, const Lanes64& lanes) {
  const V top =
      _mm256_sllv_epi64(lanes.bits, _mm256_sub_epi64(_mm256_set1_epi64x(64), lanes.counts));
  const __m128i bits[2] = {_mm256_castsi256_si128(top), _mm256_extracti128_si256(top, 1)};
  const __m128i counts[2] = {_mm256_castsi256_si128(lanes.counts),
                             _mm256_extracti128_si256(lanes.counts, 1)};
  PutLower(sink, bits[0], counts[0]);
  if constexpr (kInTurn) {
    PutLower(sink, bits[1], counts[1]);
    PutUpper(sink, bits[0], counts[0]);
  } else {
    PutUpper(sink, bits[0], counts[0]);
    PutLower(sink, bits[1], counts[1]);
  }
  PutUpper(sink, bits[1], counts[1]);
}

/// Writes the list of codes.
void Pack(CodeLists& lists, std::size_t length, BitTail& tail) {
  constexpr std::size_t kStep = 16;
  std::memset(lists.codes.data() + length, 0, kStep * sizeof(lists.codes[0]));
  VectorSink sink(tail);
  for (std::size_t i = 0; i < length; i += kStep) {
    const Lanes64 first = JoinPairs(lists.codes.data() + i);
    const Lanes64 second = JoinPairs(lists.codes.data() + i + 8);
    const V laterCounts = _mm256_unpackhi_epi64(first.counts, second.counts);
    const Lanes64 fours = {
        _mm256_or_si256(
            _mm256_sllv_epi64(_mm256_unpacklo_epi64(first.bits, second.bits), laterCounts),
            _mm256_unpackhi_epi64(first.bits, second.bits)),
        _mm256_add_epi64(_mm256_unpacklo_epi64(first.counts, second.counts), laterCounts)};
    const V tooLong = _mm256_cmpgt_epi64(fours.counts, _mm256_set1_epi64x(VectorSink::kMostBits));
    if (_mm256_testz_si256(tooLong, tooLong) != 0) [[likely]] {
      // Unpacking has put the second eight's codes into the upper lanes of each half.
      PutLanes<true>(sink, fours);
    } else {
      PutLanes<false>(sink, first);
      PutLanes<false>(sink, second);
    }
  }
  tail = sink.Tail();
}

}  // namespace

void CodeLevels(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes, CodeLists& lists,
                BitTail& tail) {
  const std::size_t length = Compact(batch, dcCodes.size(), lists);
  FindRuns(lists, length);
  LookUp(batch, dcCodes, lists, length);
  Pack(lists, length, tail);
}

}  // namespace avx2

QIVM_END_TARGET

}  // namespace qivm::kernels
