#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace qivm {

/// Turns a frame of this codec into one that every MPEG-2 decoder reads: the first bit of its first
/// macroblock becomes 1 (docs/format.md). Nothing else is changed. False when the frame does not
/// begin with a sequence header or has no slice.
bool MakeStandard(std::span<std::uint8_t> frame);

/// Replaces frame_rate_code in the frame's sequence headers.
void SetFrameRateCode(std::span<std::uint8_t> frame, std::uint32_t code);

/// Writes frames as an MPEG-2 video elementary stream.
class MpegExporter {
 public:
  /// `stream` must outlive the object; `name` is used in messages. The frames state the frame rate
  /// of `frameRateCode` where that is given.
  MpegExporter(std::ostream& stream, std::string name, std::optional<std::uint32_t> frameRateCode);

  /// Appends a frame; an empty one repeats the frame before, if there is one. Throws ToolError
  /// (kInput) when it is none of MPEG-2, or (kOutput).
  void Write(std::span<const std::uint8_t> frame);

  /// Ends the stream with a sequence_end_code, if the last frame does not.
  void Finish();

  std::uint64_t Frames() const { return frames_; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  std::ostream& stream_;
  std::string name_;
  std::optional<std::uint32_t> frameRateCode_;
  std::vector<std::uint8_t> frame_;
  std::uint64_t frames_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace qivm
