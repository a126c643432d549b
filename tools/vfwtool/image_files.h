#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/vfwtool/clip.h"

namespace qivm {

/// The name of one of many files: "dir/name.png" and 12 make "dir/name-000012.png".
std::string NumberedName(const std::string& name, std::uint64_t number);

/// Writes every frame of an RGB clip into a file of its own, numbered from 1.
class ImageSink : public FrameSink {
 public:
  ImageSink(std::string name, const FrameLayout& layout);

  void Write(std::span<const std::uint8_t> frame) final;
  void Finish() override {}

 protected:
  const FrameLayout& Layout() const { return layout_; }

 private:
  /// Writes a picture into the file `name`, replacing it; throws ToolError (kOutput).
  virtual void WriteImage(const std::string& name, std::span<const std::uint8_t> picture) = 0;

  std::string name_;
  FrameLayout layout_;
  std::uint64_t written_ = 0;
};

/// Writes Windows bitmap files.
class BmpSink final : public ImageSink {
 public:
  using ImageSink::ImageSink;

 private:
  void WriteImage(const std::string& name, std::span<const std::uint8_t> picture) override;
};

}  // namespace qivm
