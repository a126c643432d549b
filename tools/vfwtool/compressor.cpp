#include "tools/vfwtool/compressor.h"

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

LRESULT AskForInput(HIC codec, const FrameLayout& layout) {
  std::vector<std::uint8_t> format = MakeBitmapFormat(layout);
  return ICCompressQuery(codec, HeaderOf(format), nullptr);
}

/// The largest odd multiple of `step` up to `side`: a size that is a multiple of nothing more.
std::uint32_t OddMultiple(std::uint32_t side, std::uint32_t step) {
  const std::uint32_t quotient = side / step;
  return (quotient - (quotient % 2 == 0 ? 1 : 0)) * step;
}

/// What the codec would take instead of `layout`: other formats, else a smaller size.
std::string Advice(HIC codec, const FrameLayout& layout) {
  std::string formats;
  for (const PixelFormat format : kAllFormats) {
    if (AskForInput(codec, {format, layout.width, layout.height}) == ICERR_OK) {
      formats += Concat(formats.empty() ? "" : ", ", PixelFormatName(format));
    }
  }
  if (!formats.empty()) {
    return Concat("Of pictures of this size it takes ", formats);
  }
  for (const std::uint32_t step : {2U, 4U, 8U, 16U, 32U}) {
    if (layout.width < step || layout.height < step) {
      break;
    }
    const FrameLayout probe{layout.format, OddMultiple(layout.width, step),
                            OddMultiple(layout.height, step)};
    const FrameLayout smaller{layout.format, layout.width / step * step,
                              layout.height / step * step};
    if (AskForInput(codec, probe) == ICERR_OK && AskForInput(codec, smaller) == ICERR_OK) {
      return Concat("It takes widths and heights that are multiples of ", step,
                    ": crop or scale the clip, for instance to ", smaller.width, 'x',
                    smaller.height);
    }
  }
  return {};
}

std::optional<std::uint32_t> DefaultQuality(HIC codec) {
  DWORD quality = 0;
  const LRESULT result = ICSendMessage(codec, ICM_GETDEFAULTQUALITY,
                                       reinterpret_cast<DWORD_PTR>(&quality), sizeof(quality));
  if (result != ICERR_OK) {
    return std::nullopt;
  }
  return quality;
}

}  // namespace

Compressor::Compressor(Codec codec, const FrameLayout& layout, std::optional<std::uint32_t> quality)
    : codec_(std::move(codec)),
      description_(codec_.Describe()),
      layout_(layout),
      input_(MakeBitmapFormat(layout)),
      quality_(quality ? quality : DefaultQuality(codec_.Handle())) {
  RequireInput();
  AskForFormat();
  const LRESULT result = ICCompressBegin(codec_.Handle(), HeaderOf(input_), HeaderOf(frameFormat_));
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " cannot begin to compress"), result);
  }
}

Compressor::~Compressor() { ICCompressEnd(codec_.Handle()); }

void Compressor::RequireInput() {
  const LRESULT result = AskForInput(codec_.Handle(), layout_);
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " does not compress pictures of ", layout_.width,
                           'x', layout_.height, ' ', PixelFormatName(layout_.format)),
                    result, Advice(codec_.Handle(), layout_));
  }
}

void Compressor::AskForFormat() {
  const HIC handle = codec_.Handle();
  const LRESULT formatBytes = ICCompressGetFormat(handle, HeaderOf(input_), nullptr);
  if (formatBytes < static_cast<LRESULT>(kBitmapHeaderBytes)) {
    ThrowCodecError(Concat(description_.Text(), " does not tell the size of its format"),
                    formatBytes);
  }
  format_.resize(static_cast<std::size_t>(formatBytes));
  LRESULT result = ICCompressGetFormat(handle, HeaderOf(input_), HeaderOf(format_));
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " does not tell its format"), result);
  }
  frameFormat_ = format_;
  result = ICCompressQuery(handle, HeaderOf(input_), HeaderOf(frameFormat_));
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " refuses the format that it gave itself"), result);
  }
  const auto frameBytes =
      static_cast<LONG>(ICCompressGetSize(handle, HeaderOf(input_), HeaderOf(frameFormat_)));
  if (frameBytes <= 0) {
    ThrowCodecError(Concat(description_.Text(), " does not tell the size of its frames"),
                    frameBytes);
  }
  frame_.resize(static_cast<std::size_t>(frameBytes));
}

Compressor::Frame Compressor::Compress(std::span<std::uint8_t> picture) {
  frameFormat_ = format_;
  BITMAPINFOHEADER* const output = HeaderOf(frameFormat_);
  DWORD chunkId = 0;
  DWORD flags = 0;
  DWORD result = 0;
  {
    const TimedSection timed(inCodec_);
    result = ICCompress(codec_.Handle(), ICCOMPRESS_KEYFRAME, output, frame_.data(),
                        HeaderOf(input_), picture.data(), &chunkId, &flags, framesDone_, 0,
                        quality_.value_or(static_cast<DWORD>(ICQUALITY_DEFAULT)), nullptr, nullptr);
  }
  if (result != ICERR_OK) {
    ThrowCodecError(Concat(description_.Text(), " cannot compress frame ", framesDone_ + 1),
                    static_cast<LONG>(result));
  }
  if (output->biSizeImage > frame_.size()) {
    throw ToolError(
        ExitCode::kCodec,
        Concat(description_.Text(), " wrote frame ", framesDone_ + 1, " with ", output->biSizeImage,
               " bytes where it had announced ", frame_.size(), " at most"));
  }
  ++framesDone_;
  return {std::span(frame_).first(output->biSizeImage), (flags & AVIIF_KEYFRAME) != 0};
}

}  // namespace qivm
