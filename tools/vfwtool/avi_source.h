#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/clip.h"

namespace qivm {

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
