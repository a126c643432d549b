#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "decoder/lane_tables.h"
#include "decoder/slice_reader.h"
#include "mpeg2/level_block.h"
#include "mpeg2/picture_parameters.h"

namespace qivm {

/// Reads several slices at once on one thread, macroblock by macroblock. One slice is a chain of
/// look-ups each of which must wait for the one before; several chains side by side keep the
/// processor busy. The lanes know nothing of damage: a macroblock that is not wholly regular is
/// found out at its end and left to SliceReader.
class SliceLanes {
 public:
  /// Measured on 4:2:2 film and noise, 64-bit and 32-bit code, nanoseconds a block: one lane 66 and
  /// 80, two 37 and 48, three 29 and 39, four 25 and 35; more gain nothing.
  static constexpr std::size_t kLanes = 4;

  SliceLanes() = default;
  SliceLanes(const SliceLanes&) = delete;
  SliceLanes& operator=(const SliceLanes&) = delete;

  /// Prepares for the slices of a frame, whose bytes and parameters must stay in place. It has at
  /// least the bytes of a window; one with all headers always has.
  void Attach(std::span<const std::uint8_t> frame, const PictureParameters& parameters);

  /// Sets a lane to the first macroblock of a slice of the frame, given by its bytes behind the
  /// start code.
  void StartSlice(std::size_t lane, std::span<const std::uint8_t> slice);

  /// Reads on in the first `lanes` lanes until at least one of them is at the end of its
  /// macroblock.
  void Read(std::size_t lanes);
  bool AtMacroblocksEnd(std::size_t lane) const;

  /// The levels of the macroblock that a lane has read, or the machine has failed to read. They
  /// must be zero again before the next one is read.
  MacroblockLevels Levels(std::size_t lane) {
    return MacroblockLevels(memory_[lanes_[lane].memory].levels.data(), LaneNodes::kBlocks);
  }
  /// Whether the lane has read its macroblock as SliceReader would have, but for levels behind a
  /// block's last position, which Levels shows.
  bool ReadRegularly(std::size_t lane) const;
  /// Reads the macroblock once more, with SliceReader.
  void ReadAgain(std::size_t lane);

  /// What the header of the macroblock at hand says, with the DC predictors from before it.
  SliceState& State(std::size_t lane) { return lanes_[lane].state; }
  /// Goes on to the slice's next macroblock.
  void NextMacroblock(std::size_t lane);

  void Swap(std::size_t lane, std::size_t other) { std::swap(lanes_[lane], lanes_[other]); }

  /// Forgets what was read of macroblocks that nobody has taken.
  void Clear();

 private:
  /// A page, so that one bit of the place tells that a macroblock is over. Behind the blocks there
  /// is room for what a refill's worth of steps can still store.
  struct alignas(4096) Memory {
    std::array<LevelBlock, 16> levels;
  };
  static constexpr LaneWord kEndBit = LaneNodes::kBlocks * sizeof(LevelBlock);

  /// The state machine of a lane, as it lives in registers.
  struct Machine {
    LaneWord window = 0;  ///< the next bits at the top; the lowest 1 marks how many there are
    LaneState state = 0;
    LaneWord place = 0;  ///< address in the lane's memory
    const LaneNode* node = nullptr;
    const std::uint8_t* next = nullptr;  ///< the byte whose bits begin the window
  };

  struct Lane {
    Machine machine;
    std::size_t memory = 0;
    std::span<const std::uint8_t> slice;
    std::uint64_t macroblock = 0;  ///< where it begins in the slice, in bits; ends, when read again
    bool readAgain = false;
    SliceState before;  ///< of the macroblock at hand
    SliceState state;
  };

  template <std::size_t... kLane>
  void ReadLanes(std::index_sequence<kLane...> lanes);
  static void Refill(Machine& machine, const std::uint8_t* last);
  static void Step(Machine& machine);
  static LaneWord Load(const std::uint8_t* bytes);

  void StartMacroblock(Lane& lane, std::uint64_t position);
  std::uint64_t Position(const Lane& lane) const;
  LaneWord MemoryOf(const Lane& lane) const {
    return reinterpret_cast<LaneWord>(memory_[lane.memory].levels.data());
  }

  std::array<Memory, kLanes> memory_;  // first, for it begins with a page
  const LaneNodes nodes_;
  std::array<Lane, kLanes> lanes_;
  const PictureParameters* parameters_ = nullptr;
  const std::uint8_t* last_ = nullptr;  ///< the last place that a whole window can be loaded from
};

}  // namespace qivm
