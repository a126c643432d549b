#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mpeg2/level_batch.h"

namespace qivm {

/// The end of a stream of bits: where its next byte goes, and the bits of that byte that are there.
struct BitTail {
  std::uint8_t* next = nullptr;
  std::uint8_t bits = 0;   ///< at the top, zeros below
  std::uint8_t count = 0;  ///< 0 to 7
};

/// A code as a number: its bits above five that say how many they are, at most 27.
constexpr std::uint32_t PackCode(std::uint32_t bits, unsigned count) { return bits << 5 | count; }
constexpr std::uint32_t CodeBits(std::uint32_t code) { return code >> 5; }
constexpr unsigned CodeCount(std::uint32_t code) { return code & 31; }

/// What a batch's levels become on the way to the stream.
struct CodeLists {
  /// What the passes over the lists may read and write behind their end.
  static constexpr std::size_t kSlack = 16;
  static constexpr std::size_t kSize = LevelBatch::kBlocks * LevelBatch::kLevels + kSlack;

  /// A block's DC coefficient and each level that is not zero: the level's byte, its position
  /// above.
  alignas(64) std::array<std::uint16_t, kSize> levels;
  alignas(64) std::array<std::uint32_t, kSize> codes;
  /// Where a block's DC coefficient is in the lists.
  std::array<std::uint32_t, LevelBatch::kBlocks> blocks;
};

namespace kernels {

/// Codes the levels of the batch's first blocks, as many as there are DC codes (7.2.2, Table B-15):
/// for each block its DC code, which carries the end of the block before it, then its levels.
/// Writes whole bytes, up to eight of no meaning behind the tail among them.
namespace plain {
void CodeLevels(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes, CodeLists& lists,
                BitTail& tail);
}
namespace avx2 {
void CodeLevels(const LevelBatch& batch, std::span<const std::uint32_t> dcCodes, CodeLists& lists,
                BitTail& tail);
}

}  // namespace kernels

}  // namespace qivm
