#include "decoder/lane_tables.h"

#include <bit>
#include <type_traits>

#include "decoder/ac_tables.h"
#include "decoder/dc_size_tables.h"
#include "mpeg2/vlc.h"

namespace qivm {

namespace {

/// Bits that a step may look at: so many that five steps take no more than a refill of 64 bits
/// yields, and two no more than one of 32.
constexpr unsigned kIndexBits = 11;

/// Past the end of the blocks: an entry that advances the place by this leaves no doubt that there
/// is no going on.
constexpr std::uint8_t kFar = 255;

constexpr std::uint8_t kHighOffset = offsetof(LevelBlock, high);
constexpr std::uint8_t kDcOffset = offsetof(LevelBlock, dcDifferential);

/// A table that is indexed by `kBits` bits, placed so that its state is an address plus a shift.
template <unsigned kBits>
struct alignas(kLaneWordBits) LaneTable {
  static constexpr std::size_t kShift = kLaneWordBits - kBits;

  std::array<std::uint8_t, kShift> gap = {};
  std::array<LaneEntry, std::size_t{1} << kBits> entries = {};

  LaneState State() const { return reinterpret_cast<LaneWord>(this) + kShift; }
};

constexpr std::uint8_t Next(LaneTransition transition) {
  return static_cast<std::uint8_t>(transition);
}

constexpr std::uint8_t Byte(int value) { return static_cast<std::uint8_t>(value); }

/// Consumes bits, stores nothing of meaning.
constexpr LaneEntry Skip(unsigned bits, LaneTransition next, std::uint8_t advance = 0) {
  return {Byte(static_cast<int>(bits)), 0, advance, Next(next), {}};
}

constexpr LaneEntry kBadEntry = Skip(0, LaneTransition::bad, kFar);

/// All the codes that fit into an index and whose levels lie close enough to be stored at once;
/// consumes nothing when there is none.
constexpr LaneEntry ShortCodes(std::size_t index) {
  LaneEntry entry = {};
  std::size_t position = 0;
  bool first = true;
  for (;;) {
    const std::uint32_t bits = static_cast<std::uint32_t>(index) << (32 - kIndexBits) << entry.bits;
    const AcEntry code = LookUpAc(bits);
    if (entry.bits + code.length > static_cast<int>(kIndexBits)) {
      break;
    }
    if (code.advance == kEndsBlock.advance) {
      if (bits >> (32 - mpeg2::kEndOfBlock.length) != mpeg2::kEndOfBlock.bits) {
        break;
      }
      entry.bits = Byte(entry.bits + code.length);
      // Behind at least one position this, rounded down, is the next block.
      entry.advance = sizeof(LevelBlock) - 1;
      entry.next = Next(LaneTransition::endOfBlock);
      return entry;
    }
    if (first) {
      entry.offset = Byte(code.advance - 1);
      first = false;
    }
    const std::size_t place = position + code.advance - 1 - entry.offset;
    if (place >= entry.stored.size()) {
      break;
    }
    entry.stored[place] = Byte(code.level);
    position += code.advance;
    entry.bits = Byte(entry.bits + code.length);
  }
  entry.advance = static_cast<std::uint8_t>(position);
  return entry;
}

constexpr auto kAcTable = [] {
  LaneTable<kIndexBits> table;
  for (std::size_t index = 0; index < table.entries.size(); ++index) {
    constexpr unsigned kPrefix = mpeg2::kEscape.length;
    const bool escape = index >> (kIndexBits - kPrefix) == mpeg2::kEscape.bits;
    LaneEntry& entry = table.entries[index];
    entry = ShortCodes(index);
    if (entry.bits == 0) {
      entry = Skip(kPrefix, escape ? LaneTransition::escape : LaneTransition::acLong);
    }
  }
  return table;
}();

/// By the bits behind six zeros.
constexpr auto kAcLongLaneTable = [] {
  LaneTable<kIndexBits> table;
  static_assert(kAcLongTable.size() == table.entries.size());
  for (std::size_t index = 0; index < table.entries.size(); ++index) {
    const AcEntry& code = kAcLongTable[index];
    LaneEntry& entry = table.entries[index];
    if (code.advance == kEndsBlock.advance) {
      entry = kBadEntry;
    } else {
      entry = {Byte(code.length - mpeg2::kEscape.length),
               Byte(code.advance - 1),
               code.advance,
               Next(LaneTransition::ac),
               {Byte(code.level)}};
    }
  }
  return table;
}();

// The 12 bits of an escape's level are 4 upper ones, one that decides what the low byte's sign is,
// and 7 lower ones.
constexpr unsigned kLowerLevelBits = 7;

/// By an escape's run and the upper five bits of its level.
constexpr auto kEscapeTable = [] {
  LaneTable<kIndexBits> table;
  for (std::size_t index = 0; index < table.entries.size(); ++index) {
    const auto run = static_cast<int>(index >> 5);
    const int upper = static_cast<int>(index >> 1 & 0xF) - (index & 0x10 ? 16 : 0);
    const bool lowByteNegative = (index & 1) != 0;
    table.entries[index] = {
        kIndexBits,
        Byte(run + kHighOffset),
        Byte(run),
        Next(lowByteNegative ? LaneTransition::escapeLower : LaneTransition::escapeUpper),
        {Byte(upper + (lowByteNegative ? 1 : 0))}};
  }
  return table;
}();

/// By the lower bits, where the low byte is positive or negative.
template <bool kNegative>
constexpr auto kEscapeLevelTable = [] {
  LaneTable<kLowerLevelBits> table;
  for (std::size_t index = 0; index < table.entries.size(); ++index) {
    const auto level = static_cast<int>(index) - (kNegative ? 128 : 0);
    table.entries[index] = {kLowerLevelBits, 0, 1, Next(LaneTransition::ac), {Byte(level)}};
  }
  if (!kNegative) {
    // Zero, perhaps: an escape of level 0 past the last position would leave no trace there.
    table.entries[0] = kBadEntry;
  }
  return table;
}();

constexpr LaneEntry DcEntry(unsigned bits, int differential) {
  return {Byte(static_cast<int>(bits)),
          kDcOffset,
          1,
          Next(LaneTransition::ac),
          {Byte(differential & 0xFF), Byte(differential >> 8 & 0xFF)}};
}

/// Sizes of DC differentials that may be too long for the index, and the state that reads them.
constexpr unsigned kSmallestDcRest = 6;
constexpr LaneTransition DcRestOf(unsigned size) {
  return static_cast<LaneTransition>(Next(LaneTransition::dcRest) + size - kSmallestDcRest);
}

/// By the bits of a block's DC code.
template <bool kLuma>
constexpr auto kDcTable = [] {
  LaneTable<kIndexBits> table;
  const DcSizeTable& sizes = kLuma ? kDcSizeLumaTable : kDcSizeChromaTable;
  for (std::uint32_t index = 0; index < table.entries.size(); ++index) {
    const std::uint32_t bits = index << (32 - kIndexBits);
    const DcDifferential dc = LookUpDc(bits, sizes);
    const DcSizeEntry& size = sizes[bits >> (32 - kDcSizeIndexBits)];
    table.entries[index] = dc.length <= kIndexBits ? DcEntry(dc.length, dc.value)
                                                   : Skip(size.length, DcRestOf(size.size));
  }
  return table;
}();

/// By the bits of a DC differential.
template <unsigned kSize>
constexpr auto kDcRestTable = [] {
  LaneTable<kSize> table;
  for (int index = 0; index < 1 << kSize; ++index) {
    const bool negative = index < 1 << (kSize - 1);
    table.entries[static_cast<std::size_t>(index)] =
        DcEntry(kSize, negative ? index - (1 << kSize) + 1 : index);
  }
  return table;
}();

/// Whatever the bits are.
template <bool kBad>
constexpr auto kEndTable = [] {
  LaneTable<3> table;
  table.entries.fill(kBad ? kBadEntry : Skip(0, LaneTransition::ac));
  return table;
}();

}  // namespace

LaneNodes::LaneNodes() {
  constexpr LaneWord kSamePlace = ~LaneWord{0};
  constexpr LaneWord kNextBlock = ~LaneWord{sizeof(LevelBlock) - 1};
  const LaneState done = kEndTable<false>.State();
  const LaneState bad = kEndTable<true>.State();
  const auto dcOf = [done](std::size_t block) {
    if (block == kDone) {
      return done;
    }
    return block < 4 ? kDcTable<true>.State() : kDcTable<false>.State();
  };
  firstState = dcOf(0);
  for (std::size_t block = 0; block < kBlocks; ++block) {
    const LaneNode* const here = &nodes[block];
    nodes[block].edges = {{{kAcTable.State(), here, kSamePlace},
                           {kAcLongLaneTable.State(), here, kSamePlace},
                           {kEscapeTable.State(), here, kSamePlace},
                           {kEscapeLevelTable<false>.State(), here, kSamePlace},
                           {kEscapeLevelTable<true>.State(), here, kSamePlace},
                           {dcOf(block + 1), here + 1, kNextBlock},
                           {kDcRestTable<6>.State(), here, kSamePlace},
                           {kDcRestTable<7>.State(), here, kSamePlace},
                           {kDcRestTable<8>.State(), here, kSamePlace},
                           {kDcRestTable<9>.State(), here, kSamePlace},
                           {kDcRestTable<10>.State(), here, kSamePlace},
                           {kDcRestTable<11>.State(), here, kSamePlace},
                           {bad, &nodes[kBad], kSamePlace}}};
  }
  nodes[kDone].edges.fill({done, &nodes[kDone], kSamePlace});
  nodes[kBad].edges.fill({bad, &nodes[kBad], kSamePlace});
}

}  // namespace qivm
