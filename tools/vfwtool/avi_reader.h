#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_index.h"
#include "tools/vfwtool/avi_report.h"
#include "tools/vfwtool/clip.h"

namespace qivm {

/// Reads the first video stream of an AVI of any size.
///
/// This is the tool's own rather than AVIFile's, which reads the first segment of a file alone and
/// says nothing of the others.
class AviReader {
 public:
  /// Throws ToolError (kInput) when the file cannot be read or has no video.
  explicit AviReader(const std::string& name);

  /// The stream's format: a bitmap header with all that follows it.
  const std::vector<std::uint8_t>& Format() const { return format_; }

  FourCc Handler() const { return handler_; }
  FrameRate Rate() const { return rate_; }
  std::uint32_t FrameCount() const { return static_cast<std::uint32_t>(frames_.size()); }

  /// The headers of all streams of the file.
  const std::vector<AviStreamReport>& Streams() const { return streams_; }

  /// The size of the frame in bytes; `index` counts from 0. An empty frame repeats the one before.
  std::uint32_t FrameBytes(std::uint32_t index) const { return frames_.at(index).bytes; }

  bool IsKeyFrame(std::uint32_t index) const { return frames_.at(index).isKeyFrame; }

  /// Reads a frame; valid until the next one.
  std::span<std::uint8_t> ReadFrame(std::uint32_t index);

 private:
  void ReadHeaders(const RiffFile& file);
  void ReadStream(const RiffFile& file, const RiffChunk& list);

  std::string name_;
  std::ifstream stream_;
  std::uint64_t fileBytes_ = 0;
  std::vector<AviStreamReport> streams_;
  std::optional<std::size_t> videoStream_;
  FourCc handler_ = 0;
  FrameRate rate_;
  std::vector<std::uint8_t> format_;
  std::vector<std::uint8_t> superIndex_;
  std::vector<AviFrame> frames_;
  std::vector<std::uint8_t> frame_;
};

}  // namespace qivm
