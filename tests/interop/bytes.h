#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qivm::interop {

/// A file's or a frame's content.
using Bytes = std::vector<std::uint8_t>;

/// Width and height of a picture in samples.
struct Size {
  int width = 0;
  int height = 0;

  std::size_t Samples() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

}  // namespace qivm::interop
