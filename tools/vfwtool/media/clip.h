#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/media/picture.h"

namespace vfwtool {

/// Frames, or other units of time, a second as a fraction.
struct FrameRate {
  std::uint32_t numerator = 0;
  std::uint32_t denominator = 0;

  /// Both parts are positive and below 2^31; so they are in every clip.
  bool IsValid() const;

  // Of a valid rate:
  double PerSecond() const;
  /// "25", or "30000/1001 (29.97)".
  std::string Text() const;
  FrameRate Inverse() const { return {denominator, numerator}; }
  /// The product with a number, rounded to the nearest.
  std::uint64_t Times(std::uint64_t factor) const;
  /// The moment at which `unit` of this rate begins, in units of another rate, rounded to the
  /// nearest. The same wherever it is computed.
  std::uint64_t MomentIn(const FrameRate& other, std::uint64_t unit) const;
  /// The same in milliseconds.
  std::uint64_t MillisecondsAt(std::uint64_t unit) const { return MomentIn({1000, 1}, unit); }

  bool operator==(const FrameRate&) const = default;
};

/// Which of a picture's two fields was taken first.
enum class FieldOrder { kUnknown, kProgressive, kTopFirst, kBottomFirst, kMixed };

/// What all frames of a clip have in common.
struct ClipFormat {
  FrameLayout layout;
  FrameRate rate;
  FieldOrder fields = FieldOrder::kUnknown;
  std::uint32_t start = 0;  ///< When the first frame is due, in frames: dwStart of an AVI's video.
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

  // One of these is to be called at the end:

  /// Completes the clip after its last frame. Throws ToolError when what was written did not reach
  /// its place.
  virtual void Finish() = 0;

  /// Completes the clip though more was to come. Throws ToolError likewise.
  virtual void Stop() { Finish(); }

  /// Completes the clip as far as it can be done after a failure; the number of its frames.
  virtual std::uint64_t FinishEarly() noexcept = 0;
};

/// A clip whose frames are handed out in another pixel format of the same kind.
class RepackingSource final : public FrameSource {
 public:
  /// Throws ToolError (kUsage) when CanRepack does not hold. `name` is used in messages.
  RepackingSource(std::unique_ptr<FrameSource> source, PixelFormat format, const std::string& name);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return source_->FrameCount(); }
  bool Read(std::span<std::uint8_t> frame) override;

 private:
  std::unique_ptr<FrameSource> source_;
  ClipFormat format_;
  std::vector<std::uint8_t> sourceFrame_;
};

}  // namespace vfwtool
