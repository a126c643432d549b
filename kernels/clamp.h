#pragma once

#include <algorithm>
#include <cstdint>

namespace qivm::kernels {

/// A sample or colour component confined to a byte.
constexpr std::uint8_t ClampToByte(std::int32_t value) {
  return static_cast<std::uint8_t>(std::clamp<std::int32_t>(value, 0, 255));
}

}  // namespace qivm::kernels
