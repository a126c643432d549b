#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/stopwatch.h"

namespace qivm {

/// Compresses pictures of one layout, each into a key frame.
class Compressor {
 public:
  struct Frame {
    std::span<const std::uint8_t> bytes;  ///< Valid until the next frame.
    bool isKeyFrame;
  };

  /// Begins compression. `quality` is 0 to 10000, or empty for the codec's default.
  /// Throws ToolError (kCodec) when the codec refuses, with what it would take instead.
  Compressor(Codec codec, const FrameLayout& layout, std::optional<std::uint32_t> quality);
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor();

  /// The stream format of the frames: a bitmap header with all that the codec puts behind it.
  const std::vector<std::uint8_t>& Format() const { return format_; }

  const CodecDescription& Description() const { return description_; }

  /// The quality in use; empty when the codec names no default.
  std::optional<std::uint32_t> Quality() const { return quality_; }

  bool TakesQuality() const { return codec_.TakesQuality(); }

  /// Compresses the next picture, which the codec leaves as it is.
  Frame Compress(std::span<std::uint8_t> picture);

  /// The time spent compressing frames so far, inside the codec alone.
  double CodecSeconds() const { return inCodec_.Seconds(); }

 private:
  void RequireInput();
  void AskForFormat();

  Codec codec_;
  CodecDescription description_;
  FrameLayout layout_;
  std::vector<std::uint8_t> input_;
  std::vector<std::uint8_t> format_;
  /// The header that goes to the codec with each frame; the codec stores the frame's size in it.
  std::vector<std::uint8_t> frameFormat_;
  std::vector<std::uint8_t> frame_;
  std::optional<std::uint32_t> quality_;
  LONG framesDone_ = 0;
  Stopwatch inCodec_;
};

}  // namespace qivm
