#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/vfwtool/clip.h"

namespace qivm {

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

}  // namespace qivm
