#pragma once

#include <array>
#include <cstddef>

namespace qivm {

constexpr std::size_t kMaxDefectiveApps = 16;
constexpr std::size_t kDefectiveNameBytes = 261;

/// Upper-case file names of host programs that handle YUV output wrongly and get RGB only,
/// NUL-terminated. The list ends at the first empty entry.
using DefectiveAppList = std::array<std::array<char, kDefectiveNameBytes>, kMaxDefectiveApps>;

}  // namespace qivm
