#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/repack.h"

namespace qivm {

/// The first word of every Y4M clip.
inline constexpr std::string_view kY4mSignature = "YUV4MPEG2";

/// What the tool takes from the first line of a Y4M clip. Interlacing, pixel aspect and comments
/// have no place in an AVI and are passed over.
struct Y4mHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;
};

/// Reads the first line of a Y4M clip (without its line end). Throws ToolError, naming the clip
/// `name`, unless the clip is 4:2:2 with 8 bits a sample and states a size and a frame rate.
Y4mHeader ParseY4mHeader(std::string_view line, const std::string& name);

/// The same line for a clip to be written, without its line end.
std::string Y4mHeaderLine(const Y4mHeader& header);

/// Reads a Y4M clip as YUY2 frames.
class Y4mSource final : public FrameSource {
 public:
  /// Reads the header from `stream`, which must outlive the source. `name` is used in messages.
  /// `streamBytes`, where known, is the size of the whole clip and tells the number of frames.
  Y4mSource(std::istream& stream, std::string name, std::optional<std::uint64_t> streamBytes);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return frameCount_; }
  bool Read(std::span<std::uint8_t> frame) override;

 private:
  bool ReadFrameHeader();

  std::istream& stream_;
  std::string name_;
  ClipFormat format_;
  std::optional<std::uint64_t> frameCount_;
  std::uint64_t framesRead_ = 0;
  std::vector<std::uint8_t> planeBytes_;
  Planes422 planes_;
};

/// Writes YUY2 or UYVY frames as a 4:2:2 Y4M clip.
class Y4mSink final : public FrameSink {
 public:
  /// Writes the header to `stream`, which must outlive the sink. `name` is used in messages.
  Y4mSink(std::ostream& stream, std::string name, const ClipFormat& format);

  void Write(std::span<const std::uint8_t> frame) override;
  void Finish() override;

 private:
  std::ostream& stream_;
  std::string name_;
  FrameLayout layout_;
  std::vector<std::uint8_t> packed_;
  std::vector<std::uint8_t> planeBytes_;
  Planes422 planes_;
};

}  // namespace qivm
