#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/vfwtool/riff_file.h"

namespace qivm {

/// Where a frame of an AVI is.
struct AviFrame {
  std::uint64_t position = 0;  ///< Of its first byte.
  std::uint32_t bytes = 0;
  bool isKeyFrame = true;

  bool operator==(const AviFrame&) const = default;
};

/// Finds the frames of one stream of an AVI by its OpenDML index, `superIndex` (the contents of its
/// "indx"; empty where it has none), else by the index of the one segment, else by going through
/// all chunks, which finds the frames of a file that was not completed.
std::vector<AviFrame> FindAviFrames(const RiffFile& file, std::size_t streamNumber,
                                    std::span<const std::uint8_t> superIndex);

}  // namespace qivm
