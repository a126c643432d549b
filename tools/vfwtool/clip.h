#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/vfwtool/pixel_format.h"

namespace qivm {

/// Frames per second as a fraction; both parts are positive in every clip.
struct FrameRate {
  std::uint32_t numerator = 0;
  std::uint32_t denominator = 0;

  double PerSecond() const;
  /// "25", or "30000/1001 (29.97)".
  std::string Text() const;

  bool operator==(const FrameRate&) const = default;
};

/// What all frames of a clip have in common.
struct ClipFormat {
  FrameLayout layout;
  FrameRate rate;
};

/// A clip to be read once, from its first frame to its last.
class FrameSource {
 public:
  FrameSource() = default;
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;
  virtual ~FrameSource() = default;

  virtual const ClipFormat& Format() const = 0;

  /// The number of frames, where it is known beforehand.
  virtual std::optional<std::uint64_t> FrameCount() const = 0;

  /// Stores the next frame in `frame`, which holds Format().layout.FrameBytes() bytes.
  /// False at the end of the clip; throws ToolError when the clip is damaged or cannot be read.
  virtual bool Read(std::span<std::uint8_t> frame) = 0;
};

/// A clip to be written from its first frame to its last.
class FrameSink {
 public:
  FrameSink() = default;
  FrameSink(const FrameSink&) = delete;
  FrameSink& operator=(const FrameSink&) = delete;
  virtual ~FrameSink() = default;

  /// Appends one frame; throws ToolError when it cannot be written.
  virtual void Write(std::span<const std::uint8_t> frame) = 0;

  /// Completes the clip; to be called once, after the last frame. Throws ToolError when what was
  /// written did not reach its place. A sink that is destroyed without it leaves the frames
  /// written so far.
  virtual void Finish() = 0;
};

}  // namespace qivm
