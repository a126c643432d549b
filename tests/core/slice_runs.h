#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "decoder/slice_lanes.h"
#include "tests/core/lenient_parser.h"
#include "tests/support/client_pictures.h"

/// Slices through the two forms of reading: SliceReader, bit by bit, and SliceLanes, several at
/// once.
namespace qivm::test {

/// The parameters that a picture's headers yield.
PictureParameters ParametersOf(const ModelPicture& picture);

/// The first `macroblocks` macroblocks of a slice, which is given by its bytes behind the start
/// code.
std::vector<LenientMacroblock> ReadCarefully(std::span<const std::uint8_t> slice,
                                             const PictureParameters& parameters, int macroblocks);

/// Slices in a frame that ends where memory ends.
struct LaneRun {
  /// Of each slice.
  std::vector<std::vector<LenientMacroblock>> macroblocks;
  /// How many of them were not regular and had to be read again.
  int readAgain = 0;
};

/// Reads up to SliceLanes::kLanes slices side by side. They must lie in the frame.
LaneRun ReadInLanes(std::span<const std::uint8_t> frame,
                    const std::vector<std::span<const std::uint8_t>>& slices,
                    const PictureParameters& parameters, int macroblocks);

}  // namespace qivm::test
