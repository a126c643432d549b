#include "tools/vfwtool/decoding_source.h"

#include <memory>
#include <utility>
#include <vector>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {

Codec FindDecoder(const AviReader& reader) {
  std::vector<std::uint8_t> format = reader.Format();
  std::optional<Codec> codec = Codec::ForDecompression(reader.Handler(), format);
  if (!codec) {
    throw ToolError(ExitCode::kCodec,
                    Concat("no codec that is installed (", InstalledCodecs(),
                           ") decompresses this AVI, which is of the code ",
                           FourCcText(ReadBitmapFormat(format).compression), ". ", BitnessHint()));
  }
  return std::move(*codec);
}

DecodingSource::DecodingSource(const std::string& name, PixelFormat format)
    : reader_(name),
      decompressor_(FindDecoder(reader_), reader_.Format(), format),
      format_{decompressor_.Layout(), reader_.Rate()} {}

bool DecodingSource::Read(std::span<std::uint8_t> frame) {
  if (framesRead_ == reader_.FrameCount()) {
    return false;
  }
  const std::span<std::uint8_t> compressed = reader_.ReadFrame(framesRead_);
  // An empty frame stands for the picture before it, which `frame` still holds.
  if (!compressed.empty()) {
    decompressor_.Decompress(compressed, reader_.IsKeyFrame(framesRead_), frame);
  }
  ++framesRead_;
  return true;
}

bool IsCompressedAvi(const std::string& name) {
  return name != kStandardStream && IsAviFile(name) && IsCompressed(AviReader(name).Format());
}

OpenedClip OpenAnyClip(const std::string& name, std::optional<PixelFormat> format,
                       const ToolStreams& streams) {
  if (IsCompressedAvi(name)) {
    return {nullptr, std::make_unique<DecodingSource>(name, format.value_or(PixelFormat::kYuy2))};
  }
  return OpenClip(name, format, streams);
}

}  // namespace qivm
