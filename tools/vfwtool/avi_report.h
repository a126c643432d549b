#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/codec_description.h"
#include "tools/vfwtool/mpeg_headers.h"
#include "tools/vfwtool/size_statistics.h"

namespace qivm {

/// The header of one stream of an AVI.
struct AviStreamReport {
  FourCc type = 0;     ///< "vids", "auds", ...
  FourCc handler = 0;  ///< Of a video stream: the code of the codec that wrote it.
  std::uint64_t length = 0;

  JsonObject Json() const;
};

/// One frame of an AVI.
struct AviFrameReport {
  std::uint64_t bytes = 0;
  bool isKeyFrame = false;
  std::optional<MpegHeaders> mpeg{};  ///< Of MPEG-2 frames.

  std::string Text() const;
  JsonObject Json() const;
};

/// What an AVI says about itself, and which codec would play it.
struct AviReport {
  std::string file;
  std::uint64_t fileBytes = 0;
  std::vector<AviStreamReport> streams;

  // Of the first video stream:
  std::int32_t width = 0;
  std::int32_t height = 0;  ///< As stored: negative where the rows run from the top down.
  std::uint16_t bits = 0;
  FourCc compression = 0;
  FourCc handler = 0;
  std::uint32_t formatBytes = 0;  ///< The bitmap header with all that follows it.
  FrameRate rate;
  SizeStatistics frames{};
  std::uint64_t keyFrames = 0;
  std::uint64_t emptyFrames = 0;
  /// The codec that plays the stream. Empty when none is installed, and for uncompressed streams.
  std::optional<CodecDescription> codec{};
  /// The headers of the first frame, if it is of MPEG-2.
  std::optional<MpegHeaders> mpeg{};
  /// All frames, where they are asked for.
  std::vector<AviFrameReport> frameList{};

  bool IsCompressed() const;
  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

}  // namespace qivm
