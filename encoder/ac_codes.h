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
/// Only levels up to kMaxLevelOfRun have one.
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

}  // namespace qivm
