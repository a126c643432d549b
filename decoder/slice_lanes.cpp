// The inner loop of decoding. What bounds it is the number of instructions: 14 a step and lane, two
// a step for refills; a step takes 1.3 codes. Tried and slower, for the same coefficients:
//
// * one lane with branches for the end of a block and for long codes: two branches that nobody can
//   foresee cost as much as the rest of a block;
// * levels put straight into raster order, 16 bits each: a look-up and a store for each level
//   instead of one store for all of a step's (20 instructions a step);
// * escapes and long DC codes out of line, which are 4 steps in 100: 20 ns a block;
// * one code a step: fewer instructions a step, but a third more steps;
// * the lanes one after the other, a refill's worth of steps each, for the processor to overlap:
//   it does not look far enough ahead;
// * 12-bit tables, which drive other things out of the first-level cache;
// * gathers, eight slices in the lanes of a vector: three times as fast where gathers are, three
//   times as slow on the many processors whose microcode had to make them slow, and a picture has
//   too few slices for several threads of eight lanes.
//
// Instructions beyond the common ones gain 5 to 10 % here, so there is one form for all processors.

#include "decoder/slice_lanes.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace qivm {

namespace {

/// Steps for which a refill yields bits.
constexpr int kSteps = kLaneWordBits == 64 ? 5 : 2;

}  // namespace

LaneWord SliceLanes::Load(const std::uint8_t* bytes) {
  LaneWord word = 0;
  std::memcpy(&word, bytes, sizeof(word));
  if constexpr (kLaneWordBits == 64) {
    return __builtin_bswap64(word);
  } else {
    return __builtin_bswap32(word);
  }
}

/// Loads a whole window and marks its end, as far as it goes in whole bytes, with a 1. Reads no
/// further than the frame; what is read instead is found out at the macroblock's end.
[[gnu::always_inline]] inline void SliceLanes::Refill(Machine& machine, const std::uint8_t* last) {
  const auto consumed = static_cast<unsigned>(std::countr_zero(machine.window));
  const std::uint8_t* const next = machine.next + consumed / 8;
  machine.next = next < last ? next : last;
  machine.window = (Load(machine.next) | 1) << (consumed % 8);
}

[[gnu::always_inline]] inline void SliceLanes::Step(Machine& machine) {
  const auto& entry = *reinterpret_cast<const LaneEntry*>(
      machine.state + (machine.window >> (machine.state % kLaneWordBits)) * sizeof(LaneEntry));
  machine.window <<= entry.bits % kLaneWordBits;
  std::memcpy(reinterpret_cast<void*>(machine.place + entry.offset), entry.stored.data(),
              entry.stored.size());
  const LaneNode::Edge& edge = machine.node->edges[entry.next];
  machine.place = (machine.place + entry.advance) & edge.placeMask;
  machine.state = edge.state;
  machine.node = edge.node;
}

template <std::size_t... kLane>
[[gnu::always_inline]] inline void SliceLanes::ReadLanes(std::index_sequence<kLane...>) {
  // In registers: what is stored through the places could change anything else.
  Machine machines[] = {lanes_[kLane].machine...};
  const std::uint8_t* const last = last_;
  do {
    (Refill(machines[kLane], last), ...);
#pragma GCC unroll 8
    for (int step = 0; step < kSteps; ++step) {
      (Step(machines[kLane]), ...);
    }
  } while (((machines[kLane].place | ...) & kEndBit) == 0);
  ((lanes_[kLane].machine = machines[kLane]), ...);
}

void SliceLanes::Read(std::size_t lanes) {
  static_assert(kLanes == 4);
  switch (lanes) {
    case 1:
      return ReadLanes(std::make_index_sequence<1>());
    case 2:
      return ReadLanes(std::make_index_sequence<2>());
    case 3:
      return ReadLanes(std::make_index_sequence<3>());
    default:
      return ReadLanes(std::make_index_sequence<4>());
  }
}

void SliceLanes::Attach(std::span<const std::uint8_t> frame, const PictureParameters& parameters) {
  parameters_ = &parameters;
  last_ = frame.data() + frame.size() - sizeof(LaneWord);
  for (std::size_t i = 0; i < kLanes; ++i) {
    lanes_[i].memory = i;
  }
}

void SliceLanes::StartSlice(std::size_t index, std::span<const std::uint8_t> slice) {
  Lane& lane = lanes_[index];
  lane.slice = slice;
  BitReader reader;
  reader.Attach(slice);
  lane.before = ReadSliceHeader(reader, *parameters_);
  StartMacroblock(lane, reader.BitPosition());
}

bool SliceLanes::AtMacroblocksEnd(std::size_t lane) const {
  return (lanes_[lane].machine.place & kEndBit) != 0;
}

/// The place of the next bit in the slice. Right only while the machine has read inside the frame.
std::uint64_t SliceLanes::Position(const Lane& lane) const {
  const Machine& machine = lane.machine;
  return static_cast<std::uint64_t>(machine.next - lane.slice.data()) * 8 +
         static_cast<unsigned>(std::countr_zero(machine.window));
}

bool SliceLanes::ReadRegularly(std::size_t index) const {
  const Lane& lane = lanes_[index];
  const Machine& machine = lane.machine;
  // Each end of block has found the place in its own block, and nothing was read that is not of the
  // slice.
  return machine.place == MemoryOf(lane) + kEndBit &&
         machine.node == &nodes_.nodes[LaneNodes::kDone] && machine.next < last_ &&
         Position(lane) <= std::uint64_t{lane.slice.size()} * 8;
}

void SliceLanes::ReadAgain(std::size_t index) {
  Lane& lane = lanes_[index];
  for (LevelBlock& block : Levels(index)) {
    block = LevelBlock();
  }
  BitReader reader;
  reader.Attach(lane.slice);
  reader.SeekBit(lane.macroblock);
  lane.state = lane.before;
  ReadMacroblock(reader, *parameters_, lane.state, Levels(index));
  lane.macroblock = reader.BitPosition();
  lane.readAgain = true;
}

void SliceLanes::NextMacroblock(std::size_t index) {
  Lane& lane = lanes_[index];
  lane.before = lane.state;
  StartMacroblock(lane, lane.readAgain ? lane.macroblock : Position(lane));
}

void SliceLanes::StartMacroblock(Lane& lane, std::uint64_t position) {
  lane.macroblock = position;
  lane.readAgain = false;
  lane.state = lane.before;
  Machine& machine = lane.machine;
  const auto byte =
      static_cast<std::size_t>(std::min<std::uint64_t>(position / 8, lane.slice.size()));
  machine.next = std::min(lane.slice.data() + byte, last_);
  machine.window = (Load(machine.next) | 1) << (position % 8);
  machine.node = nodes_.nodes.data();
  machine.state = nodes_.firstState;
  machine.place = MemoryOf(lane);

  lane.state.TakeMacroblockHeader(*parameters_, [&machine](unsigned bits) {
    const LaneWord value = machine.window >> (kLaneWordBits - bits);
    machine.window <<= bits;
    return static_cast<unsigned>(value);
  });
}

void SliceLanes::Clear() {
  for (Memory& memory : memory_) {
    memory.levels.fill({});
  }
}

}  // namespace qivm
