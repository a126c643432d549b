#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/tools/clips.h"

namespace vfwtool {

/// A video stream as AVIFile reads it.
struct ReadAvi {
  std::vector<std::uint8_t> format;
  std::uint32_t handler = 0;
  FrameRate rate;
  std::vector<Picture> frames;
  std::vector<bool> areKeyFrames;
};
ReadAvi LoadAvi(const std::string& name);

}  // namespace vfwtool
