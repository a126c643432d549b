#include "tools/vfwtool/avi_source.h"

#include <algorithm>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/repack.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why));
}

}  // namespace

AviSource::AviSource(const std::string& name) : name_(name), reader_(name) {
  const BitmapFormat bitmap = ReadBitmapFormat(reader_.Format());
  const std::optional<PixelFormat> pixelFormat = PixelFormatOf(bitmap.compression, bitmap.bits);
  if (!pixelFormat) {
    Refuse(name, Concat("has ", bitmap.bits, "-bit video of the format ",
                        bitmap.compression == 0 ? "RGB" : FourCcText(bitmap.compression),
                        "; of uncompressed AVIs, yuy2, uyvy, rgb24 and rgb32 are taken"));
  }
  const std::int64_t height = bitmap.height;
  const std::int64_t rows = height < 0 ? -height : height;
  if (!IsPictureSide(bitmap.width) || !IsPictureSide(rows)) {
    Refuse(name, Concat("has pictures of ", bitmap.width, 'x', height,
                        "; each side must be from 1 to ", kMaxPictureSide));
  }
  if (!IsRgb(*pixelFormat) && bitmap.width % 2 != 0) {
    Refuse(name, "has packed 4:2:2 pictures of an odd width");
  }
  isUpsideDown_ = IsRgb(*pixelFormat) && height < 0;
  format_ = {
      {*pixelFormat, static_cast<std::uint32_t>(bitmap.width), static_cast<std::uint32_t>(rows)},
      reader_.Rate()};
}

bool AviSource::Read(std::span<std::uint8_t> frame) {
  if (framesRead_ == reader_.FrameCount()) {
    return false;
  }
  const std::span<const std::uint8_t> stored = reader_.ReadFrame(framesRead_);
  ++framesRead_;
  if (stored.empty() && framesRead_ > 1) {
    return true;  // An empty frame repeats the one before, which `frame` still holds.
  }
  if (stored.size() < format_.layout.FrameBytes()) {
    Refuse(name_, Concat("frame ", framesRead_, " has ", stored.size(), " bytes where ",
                         format_.layout.FrameBytes(), " belong"));
  }
  std::ranges::copy(stored.first(format_.layout.FrameBytes()), frame.begin());
  if (isUpsideDown_) {
    FlipRows(format_.layout, frame);
  }
  return true;
}

}  // namespace qivm
