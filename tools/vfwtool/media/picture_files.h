#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/media/clip.h"

namespace vfwtool {

/// The name of one of many files: "dir/name.png" and 12 make "dir/name-000012.png".
std::string NumberedName(const std::string& name, std::uint64_t number);

/// Writes every frame of an RGB clip into a file of its own, numbered from 1.
class ImageSink : public FrameSink {
 public:
  ImageSink(std::string name, const FrameLayout& layout);

  void Write(std::span<const std::uint8_t> frame) final;
  void Finish() override {}
  std::uint64_t FinishEarly() noexcept override { return written_; }

 private:
  /// The contents of a file with that picture.
  virtual Bytes Image(const FrameLayout& layout, std::span<const std::uint8_t> picture) const = 0;

  std::string name_;
  FrameLayout layout_;
  std::uint64_t written_ = 0;
};

/// Writes Windows bitmap files.
class BmpSink final : public ImageSink {
 public:
  using ImageSink::ImageSink;

 private:
  Bytes Image(const FrameLayout& layout, std::span<const std::uint8_t> picture) const override;
};

/// Writes PNG files of 24 bits a pixel.
class PngSink final : public ImageSink {
 public:
  using ImageSink::ImageSink;

 private:
  Bytes Image(const FrameLayout& layout, std::span<const std::uint8_t> picture) const override;
};

/// Writes the pixels of the frames and nothing else: rows from the top down, without padding,
/// frame after frame.
class RawSink final : public FrameSink {
 public:
  /// `output` must outlive the sink.
  RawSink(Output& output, const FrameLayout& layout);

  void Write(std::span<const std::uint8_t> frame) override;
  void Finish() override { output_.Close(); }
  std::uint64_t FinishEarly() noexcept override { return frames_; }

 private:
  Output& output_;
  FrameLayout layout_;
  Bytes pixels_;
  std::uint64_t frames_ = 0;
};

}  // namespace vfwtool
