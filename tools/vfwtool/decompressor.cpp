#include "tools/vfwtool/decompressor.h"

#include <array>
#include <string>
#include <utility>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::array kAllFormats = {PixelFormat::kYuy2, PixelFormat::kUyvy, PixelFormat::kRgb24,
                                    PixelFormat::kRgb32};

LRESULT AskForOutput(HIC codec, std::span<std::uint8_t> format, const FrameLayout& layout) {
  std::vector<std::uint8_t> output = MakeBitmapFormat(layout);
  return ICDecompressQuery(codec, HeaderOf(format), HeaderOf(output));
}

/// The formats that the codec would give instead.
std::string Advice(HIC codec, std::span<std::uint8_t> format, const FrameLayout& layout) {
  std::string names;
  for (const PixelFormat candidate : kAllFormats) {
    if (AskForOutput(codec, format, {candidate, layout.width, layout.height}) == ICERR_OK) {
      names += Concat(names.empty() ? "" : ", ", PixelFormatName(candidate));
    }
  }
  return names.empty() ? "" : Concat("It gives ", names, " (--format)");
}

FrameLayout LayoutOfStream(std::span<const std::uint8_t> format, PixelFormat pixelFormat) {
  const BitmapFormat bitmap = ReadBitmapFormat(format);
  if (!IsPictureSide(bitmap.width) || !IsPictureSide(bitmap.height)) {
    throw ToolError(ExitCode::kInput,
                    Concat("the AVI has pictures of ", bitmap.width, 'x', bitmap.height,
                           "; each side must be from 1 to ", kMaxPictureSide));
  }
  return {pixelFormat, static_cast<std::uint32_t>(bitmap.width),
          static_cast<std::uint32_t>(bitmap.height)};
}

}  // namespace

Decompressor::Decompressor(Codec codec, std::vector<std::uint8_t> format, PixelFormat pixelFormat)
    : codec_(std::move(codec)),
      description_(codec_.Describe()),
      format_(std::move(format)),
      layout_(LayoutOfStream(format_, pixelFormat)),
      output_(MakeBitmapFormat(layout_)) {
  LRESULT result = AskForOutput(codec_.Handle(), format_, layout_);
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " does not decompress frames of ", layout_.width,
                           'x', layout_.height, " to ", PixelFormatName(layout_.format)),
                    result, Advice(codec_.Handle(), format_, layout_));
  }
  result = ICDecompressBegin(codec_.Handle(), HeaderOf(format_), HeaderOf(output_));
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " cannot begin to decompress"), result);
  }
}

Decompressor::~Decompressor() { ICDecompressEnd(codec_.Handle()); }

void Decompressor::Decompress(std::span<std::uint8_t> frame, bool isKeyFrame,
                              std::span<std::uint8_t> picture) {
  BITMAPINFOHEADER* const input = HeaderOf(format_);
  input->biSizeImage = static_cast<DWORD>(frame.size());
  const DWORD flags = isKeyFrame ? 0 : static_cast<DWORD>(ICDECOMPRESS_NOTKEYFRAME);
  DWORD result = 0;
  {
    const TimedSection timed(inCodec_);
    result = ICDecompress(codec_.Handle(), flags, input, frame.data(), HeaderOf(output_),
                          picture.data());
  }
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " cannot decompress frame ", framesDone_ + 1),
                    static_cast<LONG>(result));
  }
  ++framesDone_;
}

}  // namespace qivm
