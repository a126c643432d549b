#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_file.h"
#include "tools/vfwtool/avi_report.h"
#include "tools/vfwtool/clip.h"

namespace qivm {

/// Reads the first video stream of an AVI.
class AviReader {
 public:
  /// Throws ToolError (kInput) when the file cannot be read whole or has no video.
  explicit AviReader(const std::string& name);

  /// The stream's format: a bitmap header with all that follows it.
  const std::vector<std::uint8_t>& Format() const { return format_; }

  FourCc Handler() const { return info_.fccHandler; }
  FrameRate Rate() const { return {info_.dwRate, info_.dwScale}; }
  std::uint32_t FrameCount() const { return info_.dwLength; }

  /// The headers of all streams of the file.
  std::vector<AviStreamReport> Streams() const;

  /// The size of the frame in bytes; `index` counts from 0. An empty frame repeats the one before.
  std::uint32_t FrameBytes(std::uint32_t index) const;

  bool IsKeyFrame(std::uint32_t index) const;

  /// Reads a frame; valid until the next one.
  std::span<std::uint8_t> ReadFrame(std::uint32_t index);

 private:
  LONG Position(std::uint32_t index) const;

  std::string name_;
  AviFileLibrary library_;
  AviFileHandle file_;
  AviStreamHandle stream_;
  AVISTREAMINFOW info_{};
  std::vector<std::uint8_t> format_;
  std::vector<std::uint8_t> frame_;
};

/// Reads an uncompressed AVI as a clip.
class AviSource final : public FrameSource {
 public:
  /// Throws ToolError (kInput) unless the file is an AVI of one of the formats of PixelFormat.
  explicit AviSource(const std::string& name);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return reader_.FrameCount(); }
  bool Read(std::span<std::uint8_t> frame) override;

 private:
  std::string name_;
  AviReader reader_;
  ClipFormat format_;
  bool isUpsideDown_ = false;  ///< RGB with its rows from the top down.
  std::uint32_t framesRead_ = 0;
};

}  // namespace qivm
