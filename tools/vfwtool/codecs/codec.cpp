#include "tools/vfwtool/codecs/codec.h"

#include <algorithm>
#include <utility>

#include "settings/codec_settings.h"
#include "tools/vfwtool/base/error.h"

namespace vfwtool {
namespace {

[[noreturn]] void Fail(const std::string& what, const std::string& why,
                       const std::string& advice = {}) {
  throw ToolError(ExitCode::kCodec, Concat(what, ": ", why, advice.empty() ? "" : ". ", advice));
}

/// The pixel formats that `isTaken` holds for, such as "yuy2, uyvy".
template <typename Predicate>
std::string FormatNames(const Predicate& isTaken) {
  std::string names;
  for (const PixelFormat format : kPixelFormats) {
    if (isTaken(format)) {
      names += Concat(names.empty() ? "" : ", ", PixelFormatName(format));
    }
  }
  return names;
}

Refusal AskForInput(const Codec& codec, const FrameLayout& layout) {
  return codec.QueryCompression(MakeBitmapFormat(layout), nullptr);
}

/// The largest odd multiple of `step` up to `side`: a size that is a multiple of nothing more.
std::uint32_t OddMultiple(std::uint32_t side, std::uint32_t step) {
  const std::uint32_t quotient = side / step;
  return (quotient - (quotient % 2 == 0 ? 1 : 0)) * step;
}

/// What the codec would take instead of `layout`: other formats, else a smaller size.
std::string InputAdvice(const Codec& codec, const FrameLayout& layout) {
  const std::string formats = FormatNames([&](PixelFormat format) {
    return !AskForInput(codec, {format, layout.width, layout.height});
  });
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
    if (!AskForInput(codec, probe) && !AskForInput(codec, smaller)) {
      return Concat("It takes widths and heights that are multiples of ", step,
                    ": crop or scale the clip, for instance to ", smaller.width, 'x',
                    smaller.height);
    }
  }
  return {};
}

FrameLayout LayoutOfStream(const Bytes& format, PixelFormat pixelFormat) {
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

std::string CodecDescription::Text() const {
  const std::string& title = description.empty() ? name : description;
  std::string details = title;
  if (!title.empty() && !driver.empty()) {
    details += ", ";
  }
  details += driver;
  const std::string text = FourCcText(code);
  return details.empty() ? text : text + " (" + details + ")";
}

JsonObject CodecDescription::Json() const {
  JsonObject json;
  json.Text("code", FourCcText(code))
      .Text("name", name)
      .Text("description", description)
      .Text("driver", driver);
  return json;
}

std::string CodecCodes() {
  std::string codes;
  for (const CodecDescription& codec : ListCodecs()) {
    codes += Concat(codes.empty() ? "" : ", ", FourCcText(codec.code));
  }
  return codes.empty() ? "none" : codes;
}

void FailWithoutCodec(const std::string& what) {
  throw ToolError(ExitCode::kCodec,
                  Concat(what, " (installed: ", CodecCodes(), "). ", CodecScope()));
}

Compressor::Compressor(std::unique_ptr<Codec> codec, const FrameLayout& layout,
                       std::optional<std::uint32_t> quality)
    : codec_(std::move(codec)),
      description_(codec_->Describe()),
      input_(MakeBitmapFormat(layout)),
      quality_(quality ? quality : codec_->DefaultQuality()) {
  AskForFormat(layout);
  if (const Refusal refusal = codec_->BeginCompression(input_, format_)) {
    Fail(Concat(description_.Text(), " cannot begin to compress"), *refusal);
  }
}

Compressor::~Compressor() { codec_->EndCompression(); }

void Compressor::AskForFormat(const FrameLayout& layout) {
  const std::string name = description_.Text();
  if (const Refusal refusal = AskForInput(*codec_, layout)) {
    Fail(Concat(name, " does not compress pictures of ", layout.width, 'x', layout.height, ' ',
                PixelFormatName(layout.format)),
         *refusal, InputAdvice(*codec_, layout));
  }
  if (const Refusal refusal = codec_->GetCompressedFormat(input_, format_)) {
    Fail(Concat(name, " does not tell its format"), *refusal);
  }
  if (const Refusal refusal = codec_->QueryCompression(input_, &format_)) {
    Fail(Concat(name, " refuses the format that it gave itself"), *refusal);
  }
  frame_.resize(codec_->LargestFrame(input_, format_));
  if (frame_.empty()) {
    throw ToolError(ExitCode::kCodec, Concat(name, " does not tell the size of its frames"));
  }
}

Compressor::Frame Compressor::Compress(std::span<std::uint8_t> picture) {
  Codec::CompressedFrame result;
  Refusal refusal;
  {
    const TimedSection timed(inCodec_);
    refusal = codec_->Compress(picture, framesDone_, quality_, frame_, result);
  }
  if (refusal) {
    Fail(Concat(description_.Text(), " cannot compress frame ", framesDone_ + 1), *refusal);
  }
  if (result.bytes > frame_.size()) {
    throw ToolError(
        ExitCode::kCodec,
        Concat(description_.Text(), " wrote frame ", framesDone_ + 1, " with ", result.bytes,
               " bytes where it had announced ", frame_.size(), " at most"));
  }
  ++framesDone_;
  return {std::span(frame_).first(result.bytes), result.isKeyFrame};
}

Decompressor::Decompressor(std::unique_ptr<Codec> codec, Bytes format, PixelFormat pixelFormat)
    : codec_(std::move(codec)),
      description_(codec_->Describe()),
      format_(std::move(format)),
      layout_(LayoutOfStream(format_, pixelFormat)) {
  const auto query = [&](PixelFormat candidate) {
    return codec_->QueryDecompression(format_,
                                      MakeBitmapFormat({candidate, layout_.width, layout_.height}));
  };
  if (const Refusal refusal = query(pixelFormat)) {
    const std::string names = FormatNames([&](PixelFormat other) { return !query(other); });
    Fail(Concat(description_.Text(), " does not decompress frames of ", layout_.width, 'x',
                layout_.height, " to ", PixelFormatName(layout_.format)),
         *refusal, names.empty() ? "" : Concat("It gives ", names, " (--format)"));
  }
  if (const Refusal refusal = codec_->BeginDecompression(format_, MakeBitmapFormat(layout_))) {
    Fail(Concat(description_.Text(), " cannot begin to decompress"), *refusal);
  }
}

Decompressor::~Decompressor() { codec_->EndDecompression(); }

Refusal Decompressor::Decompress(std::span<std::uint8_t> frame, bool isKeyFrame,
                                 std::span<std::uint8_t> picture) {
  const TimedSection timed(inCodec_);
  return codec_->Decompress(frame, isKeyFrame, picture);
}

}  // namespace vfwtool
