#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/interop/bytes.h"

namespace qivm::interop {

/// The largest difference between the samples of two pictures and where it is.
struct SampleDifference {
  int largest = 0;
  std::string place;  ///< empty when the pictures are equal
};

/// Compares packed YUY2 with planar 4:2:2 (Y, Cb, Cr one after another) of the same size. Throws
/// std::runtime_error when either does not have the size's number of bytes.
SampleDifference Compare(std::span<const std::uint8_t> yuy2, std::span<const std::uint8_t> planar,
                         Size size);

}  // namespace qivm::interop
