#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/vfwtool/clip.h"

namespace qivm {

using Picture = std::vector<std::uint8_t>;

/// Pictures of that layout, each different, none of which asks the test codec for trouble.
std::vector<Picture> TestPictures(const FrameLayout& layout, std::size_t count);

void StoreY4m(const std::string& name, const ClipFormat& format,
              const std::vector<Picture>& pictures);
void StoreAvi(const std::string& name, const ClipFormat& format,
              const std::vector<Picture>& pictures);

/// A video stream as AVIFile reads it.
struct ReadAvi {
  std::vector<std::uint8_t> format;
  std::uint32_t handler = 0;
  FrameRate rate;
  std::vector<Picture> frames;
  std::vector<bool> areKeyFrames;
};
ReadAvi LoadAvi(const std::string& name);

}  // namespace qivm
