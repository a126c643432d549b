#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/stopwatch.h"

namespace qivm {

/// Decompresses the frames of one stream.
class Decompressor {
 public:
  /// Begins decompression of frames of `format` (a bitmap header with all that follows it) into
  /// pictures of the same width and height. Throws ToolError (kCodec) when the codec refuses.
  Decompressor(Codec codec, std::vector<std::uint8_t> format, PixelFormat pixelFormat);
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
  ~Decompressor();

  const FrameLayout& Layout() const { return layout_; }
  const CodecDescription& Description() const { return description_; }

  /// Decompresses a frame. `picture` holds Layout().FrameBytes() bytes and still has the previous
  /// picture in it, which frames that are no key frames build upon.
  void Decompress(std::span<std::uint8_t> frame, bool isKeyFrame, std::span<std::uint8_t> picture);

  /// The time spent decompressing frames so far, inside the codec alone.
  double CodecSeconds() const { return inCodec_.Seconds(); }

 private:
  Codec codec_;
  CodecDescription description_;
  std::vector<std::uint8_t> format_;
  FrameLayout layout_;
  std::vector<std::uint8_t> output_;
  std::uint64_t framesDone_ = 0;
  Stopwatch inCodec_;
};

}  // namespace qivm
