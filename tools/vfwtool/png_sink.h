#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/vfwtool/image_files.h"

namespace qivm {

/// Writes PNG files, by the imaging component of Windows.
class PngSink final : public ImageSink {
 public:
  /// Throws ToolError (kOutput) when the component is not there.
  PngSink(const std::string& name, const FrameLayout& layout);
  PngSink(const PngSink&) = delete;
  PngSink& operator=(const PngSink&) = delete;
  ~PngSink() override;

 private:
  class Encoder;

  void WriteImage(const std::string& name, std::span<const std::uint8_t> picture) override;

  std::unique_ptr<Encoder> encoder_;
};

}  // namespace qivm
