#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "tools/vfwtool/media/avi_writer.h"
#include "tools/vfwtool/media/y4m.h"

namespace vfwtool {

using Picture = Bytes;

/// Pictures of that layout, each different, none of which asks the test codec for trouble.
inline std::vector<Picture> TestPictures(const FrameLayout& layout, std::size_t count) {
  std::mt19937 random(layout.width + static_cast<unsigned>(layout.format));
  std::vector<Picture> pictures(count, Picture(layout.FrameBytes()));
  for (Picture& picture : pictures) {
    for (std::uint8_t& byte : picture) {
      byte = static_cast<std::uint8_t>(random() % 200);
    }
  }
  return pictures;
}

inline void WriteAll(FrameSink& sink, const std::vector<Picture>& pictures) {
  for (const Picture& picture : pictures) {
    sink.Write(picture);
  }
  sink.Finish();
}

inline void StoreY4m(const std::string& name, const ClipFormat& format,
                     const std::vector<Picture>& pictures) {
  Output file(name);
  Y4mSink sink(file, format);
  WriteAll(sink, pictures);
}

inline void StoreAvi(const std::string& name, const ClipFormat& format,
                     const std::vector<Picture>& pictures,
                     std::unique_ptr<PacketSource> sound = nullptr) {
  AviSink sink(name, format, CompanionsOf(std::move(sound)));
  WriteAll(sink, pictures);
}

}  // namespace vfwtool
