#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/clip_files.h"
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

/// True for an AVI whose video only a codec reads; "-", the standard input, is none.
bool IsCompressedAvi(const std::string& name);

/// Opens a clip of any kind: a compressed AVI is decompressed, to YUY2 unless `format` is given,
/// and everything else is opened by OpenClip. Throws ToolError.
OpenedClip OpenAnyClip(const std::string& name, std::optional<PixelFormat> format,
                       const ToolStreams& streams);

}  // namespace qivm
