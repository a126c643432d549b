#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/media/clip.h"

namespace vfwtool {

/// What the tool takes from the first line of a Y4M clip. Pixel aspect and comments have no place
/// in an AVI and are passed over.
struct Y4mHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;
  FieldOrder fields = FieldOrder::kUnknown;
};

/// Reads the first line of a Y4M clip (without its line end). Throws ToolError, naming the clip
/// `name`, unless the clip is 4:2:2 with 8 bits a sample and states a size and a frame rate.
Y4mHeader ParseY4mHeader(std::string_view line, const std::string& name);

/// The same line for a clip to be written, without its line end.
std::string Y4mHeaderLine(const Y4mHeader& header);

/// Reads a Y4M clip as YUY2 frames. Takes no more memory than the clip has bytes, whatever its
/// header states.
class Y4mSource final : public FrameSource {
 public:
  /// Reads the header and the first frame from `stream`, which must outlive the source. `name` is
  /// used in messages. `streamBytes`, where known, is the size of the whole clip and tells the
  /// number of frames.
  Y4mSource(std::istream& stream, std::string name, std::optional<std::uint64_t> streamBytes);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return frameCount_; }
  bool Read(std::span<std::uint8_t> frame) override;

 private:
  bool ReadFrame();

  std::istream& stream_;
  std::string name_;
  ClipFormat format_;
  std::optional<std::uint64_t> frameCount_;
  std::uint64_t framesRead_ = 0;
  Bytes planeBytes_;
  bool hasFrame_ = false;  ///< The planes are those of the next frame.
};

/// Writes YUY2 or UYVY frames as a 4:2:2 Y4M clip.
class Y4mSink final : public FrameSink {
 public:
  /// Writes the header to `output`, which must outlive the sink.
  Y4mSink(Output& output, const ClipFormat& format);

  void Write(std::span<const std::uint8_t> frame) override;
  void Finish() override { output_.Close(); }
  std::uint64_t FinishEarly() noexcept override { return frames_; }

 private:
  Output& output_;
  FrameLayout layout_;
  Bytes packed_;
  Bytes planeBytes_;
  std::uint64_t frames_ = 0;
};

}  // namespace vfwtool
