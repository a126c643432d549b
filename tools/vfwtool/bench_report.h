#pragma once

#include <cstdint>
#include <string>

#include "tools/vfwtool/codec_description.h"
#include "tools/vfwtool/json.h"
#include "tools/vfwtool/pixel_format.h"
#include "tools/vfwtool/size_statistics.h"

namespace qivm {

/// The speed of a codec in one direction.
struct BenchSpeed {
  std::uint64_t frames = 0;
  double seconds = 0;  ///< Inside the codec.

  double FramesPerSecond() const { return static_cast<double>(frames) / seconds; }
};

/// What came of measuring a codec.
struct BenchReport {
  CodecDescription codec;
  FrameLayout layout;
  std::string source;           ///< What was compressed.
  std::uint64_t pictures = 0;   ///< Different ones.
  SizeStatistics compressed{};  ///< Of the different pictures.
  BenchSpeed compression{};
  BenchSpeed decompression{};

  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

}  // namespace qivm
