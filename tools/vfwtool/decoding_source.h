#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/decompressor.h"

namespace qivm {

/// An installed codec that decompresses the video of an AVI; throws ToolError (kCodec) when there
/// is none.
Codec FindDecoder(const AviReader& reader);

/// Reads a compressed AVI as a clip, by an installed codec.
class DecodingSource final : public FrameSource {
 public:
  /// Throws ToolError when the file is no AVI or no codec gives its pictures in `format`.
  DecodingSource(const std::string& name, PixelFormat format);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return reader_.FrameCount(); }
  bool Read(std::span<std::uint8_t> frame) override;

 private:
  AviReader reader_;
  Decompressor decompressor_;
  ClipFormat format_;
  std::uint32_t framesRead_ = 0;
};

}  // namespace qivm
