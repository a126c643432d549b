#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/vlc.h"

namespace qivm {

constexpr std::size_t kRuns = 64;
constexpr int kMaxCodedLevel = 40;

/// The largest level that Table B-15 codes for each run; 0 where every level takes an escape.
constexpr std::array<std::uint8_t, kRuns> kMaxLevelOfRun = [] {
  std::array<std::uint8_t, kRuns> levels = {};
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    levels[entry.run] = entry.level;  // the codes of a run are listed by ascending level
  }
  return levels;
}();

/// Complete codes, sign bit included, by run and signed level (the centre of a row is level 0).
/// Only levels up to kMaxLevelOfRun have one; the length of the others is 0.
constexpr auto kAcCodes = [] {
  std::array<std::array<mpeg2::Code, 2 * kMaxCodedLevel + 1>, kRuns> rows = {};
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    const auto bits = static_cast<unsigned>(entry.code.bits) << 1;
    const auto length = static_cast<std::uint8_t>(entry.code.length + 1);
    auto& row = rows[entry.run];
    row[static_cast<std::size_t>(kMaxCodedLevel + entry.level)] = {static_cast<std::uint16_t>(bits),
                                                                   length};
    row[static_cast<std::size_t>(kMaxCodedLevel - entry.level)] = {
        static_cast<std::uint16_t>(bits | 1), length};
  }
  return rows;
}();

/// The escape of a run and a level (Table B-16), kEscapeTotalBits long. A level beyond 12 bits
/// keeps its low 12; no sample that the converters deliver leads to one.
constexpr std::uint32_t EscapeBits(std::size_t run, int level) {
  constexpr std::uint32_t kLevelMask = (1U << mpeg2::kEscapeLevelBits) - 1;
  return static_cast<std::uint32_t>(mpeg2::kEscape.bits)
             << (mpeg2::kEscapeRunBits + mpeg2::kEscapeLevelBits) |
         static_cast<std::uint32_t>(run) << mpeg2::kEscapeLevelBits |
         (static_cast<std::uint32_t>(level) & kLevelMask);
}

}  // namespace qivm
