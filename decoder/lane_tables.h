#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/level_block.h"

namespace qivm {

/// The tables with which SliceLanes reads macroblocks: a state machine that turns the next bits of
/// a slice into bytes of a LevelBlock, without a branch for what these bits are.
///
/// A state says how many of the next bits index which table of LaneEntry. The entry says how many
/// of them to consume, which bytes to store where, how far to move the place, and which of a node's
/// transitions leads to the next state. There is a node for each block of a macroblock, since what
/// follows an end of block depends on the block.

/// A register of the processor: of the bits ahead, of a state, of an address.
using LaneWord = std::uintptr_t;
constexpr unsigned kLaneWordBits = sizeof(LaneWord) * 8;

/// A state: the address of its table plus the shift that brings its index bits down to the bottom
/// of a word. Tables are aligned so that the sum keeps both.
using LaneState = LaneWord;

/// One step. All of it are bytes, so that tables may lie at odd addresses.
struct LaneEntry {
  std::uint8_t bits = 0;     ///< to consume, at most 11
  std::uint8_t offset = 0;   ///< of the stored bytes from the place
  std::uint8_t advance = 0;  ///< of the place
  std::uint8_t next = 0;     ///< LaneTransition
  /// Levels of successive positions, or the two bytes of a DC differential. Positions behind the
  /// last level are not written yet, so zeros may be stored there.
  std::array<std::uint8_t, 4> stored = {};
};
static_assert(sizeof(LaneEntry) == 8);

/// Where an entry leads.
enum class LaneTransition : std::uint8_t {
  ac,                ///< the next code of the block
  acLong,            ///< the rest of a code that is longer than the AC table's index
  escape,            ///< run and upper bits of an escape's level
  escapeUpper,       ///< the lower bits, the highest of them being 0
  escapeLower,       ///< the same, 1
  endOfBlock,        ///< the next block
  dcRest,            ///< a DC differential of 6 bits; the next ones are of 7, 8, 9, 10, 11
  bad = dcRest + 6,  ///< what only SliceReader reads
};
constexpr std::size_t kLaneTransitions = static_cast<std::size_t>(LaneTransition::bad) + 1;

struct LaneNode {
  struct Edge {
    LaneState state = 0;
    const LaneNode* node = nullptr;
    /// ANDed to the place: moves it to the beginning of a LevelBlock, or nowhere.
    LaneWord placeMask = 0;
  };
  std::array<Edge, kLaneTransitions> edges;
};

/// The nodes of a macroblock's blocks and the two that its last block leads to: one that consumes
/// nothing and stores nothing of meaning, one that moves the place on, where the machine cannot go
/// on.
struct LaneNodes {
  static constexpr std::size_t kBlocks = 8;
  static constexpr std::size_t kDone = kBlocks;
  static constexpr std::size_t kBad = kDone + 1;

  std::array<LaneNode, kBad + 1> nodes;
  /// The first block's DC coefficient.
  LaneState firstState;

  LaneNodes();
  LaneNodes(const LaneNodes&) = delete;
  LaneNodes& operator=(const LaneNodes&) = delete;
};

}  // namespace qivm
