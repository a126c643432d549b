#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/vlc.h"

namespace qivm {

/// Up to two run/level codes of Table B-15 that begin one look at the stream, signs included. An
/// end of block advances past the block's last position.
struct alignas(8) PairEntry {
  std::int8_t level1 = 0;
  std::int8_t level2 = 0;
  std::uint8_t advance1 = 0;  // run + 1 of the first code
  std::uint8_t advance2 = 0;  // of the second; 0 when there is none
  std::uint8_t length = 0;    // bits of both; 0 when the first code is longer than the index
  std::uint8_t length1 = 0;   // bits of the first
  std::uint8_t bias1 = 0;     // DequantisationBias of each level
  std::uint8_t bias2 = 0;
};

/// What makes the division by 16 that ends dequantisation, a shift, round toward zero.
constexpr std::uint8_t DequantisationBias(int level) { return level < 0 ? 15 : 0; }

constexpr unsigned kPairIndexBits = 11;
using PairTable = std::array<PairEntry, 1U << kPairIndexBits>;

/// The advance of an end of block: it ends every block.
constexpr std::uint8_t kPastBlock = 64;

namespace pair_table_detail {

struct Symbol {
  std::int8_t level = 0;
  std::uint8_t advance = 0;
  std::uint8_t length = 0;  // 0: none
};
using SymbolTable = std::array<Symbol, 1U << kPairIndexBits>;

constexpr void Spread(SymbolTable& table, unsigned bits, Symbol symbol) {
  const unsigned spare = kPairIndexBits - symbol.length;
  for (std::size_t i = 0; i < std::size_t{1} << spare; ++i) {
    table[(static_cast<std::size_t>(bits) << spare) + i] = symbol;
  }
}

/// The one code that each index begins with, where it is short enough.
constexpr SymbolTable MakeSymbolTable() {
  SymbolTable table = {};
  Spread(table, mpeg2::kEndOfBlock.bits, {0, kPastBlock, mpeg2::kEndOfBlock.length});
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    if (entry.code.length + 1U > kPairIndexBits) {
      continue;
    }
    const auto length = static_cast<std::uint8_t>(entry.code.length + 1);
    const auto advance = static_cast<std::uint8_t>(entry.run + 1);
    const unsigned bits = static_cast<unsigned>(entry.code.bits) << 1;
    Spread(table, bits, {static_cast<std::int8_t>(entry.level), advance, length});
    Spread(table, bits | 1, {static_cast<std::int8_t>(-int{entry.level}), advance, length});
  }
  return table;
}

}  // namespace pair_table_detail

constexpr PairTable kPairTable = [] {
  constexpr auto kSymbols = pair_table_detail::MakeSymbolTable();
  PairTable table = {};
  for (std::size_t index = 0; index < table.size(); ++index) {
    const pair_table_detail::Symbol first = kSymbols[index];
    PairEntry& entry = table[index];
    entry = {.level1 = first.level,
             .advance1 = first.advance,
             .length = first.length,
             .length1 = first.length,
             .bias1 = DequantisationBias(first.level)};
    if (first.length == 0) {
      continue;
    }
    // The second code counts if all its bits are inside the index.
    const std::size_t rest = (index << first.length) & (table.size() - 1);
    const pair_table_detail::Symbol second = kSymbols[rest];
    if (first.advance < kPastBlock && second.length != 0 &&
        first.length + second.length <= static_cast<int>(kPairIndexBits)) {
      entry.level2 = second.level;
      entry.bias2 = DequantisationBias(second.level);
      entry.advance2 = second.advance;
      entry.length = static_cast<std::uint8_t>(first.length + second.length);
    }
  }
  return table;
}();

}  // namespace qivm
