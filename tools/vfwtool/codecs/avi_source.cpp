#include "tools/vfwtool/codecs/avi_source.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {

std::string FramePlace(const AviReader& reader, std::uint32_t frame) {
  return Concat("frame ", frame + 1, " (", TimeText(reader.Rate().MillisecondsAt(frame)), ")");
}

void DamageLog::Tell(const std::string& text, ExitCode code) {
  if (errors_ == nullptr) {
    throw ToolError(code, Concat(text, "; --keep-going goes on behind it"));
  }
  *errors_ << text << '\n';
}

void DamageLog::Note(const AviReader& reader, std::uint32_t frame, const std::string& what,
                     ExitCode code) {
  Tell(Concat(reader.Name(), ": ", FramePlace(reader, frame), ", at byte ",
              reader.Frame(frame).position, ", ", what),
       code);
  ++frames_;
}

PacketDamage DamageLog::OfPackets() {
  return [this](const AviReader& reader, const UnreadablePacket& packet) {
    const FrameRate rate = reader.Headers().streams[packet.stream].Rate();
    Tell(Concat(reader.Name(), ": stream ", packet.stream + 1,
                rate.IsValid() ? Concat(" at ", TimeText(rate.MillisecondsAt(packet.begin))) : "",
                ", at byte ", packet.position, ", cannot be read"),
         ExitCode::kInput);
    ++packets_;
  };
}

void DamageLog::RequireNone(const std::string& input) const {
  if (errors_ == nullptr) {
    return;
  }
  std::string text;
  const auto add = [&](std::uint64_t count, const std::string& noun, const std::string& state) {
    if (count != 0) {
      text += Concat(text.empty() ? "" : ", ", CountText(count, noun), " of ", input,
                     count == 1 ? " is " : " are ", state);
    }
  };
  add(frames_, "frame", "damaged");
  add(packets_, "packet", "damaged");
  add(losses_, "place", "lost");
  if (!text.empty()) {
    throw ToolError(ExitCode::kDamage, text);
  }
}

bool ReadWholeFrame(const AviReader& reader, std::uint32_t index, DamageLog& log, Bytes& frame) {
  if (!reader.Read(reader.Frame(index), frame)) {
    log.Note(reader, index, "cannot be read");
    return false;
  }
  const BitmapFormat bitmap = ReadBitmapFormat(reader.Format());
  if (frame.empty() || !IsOwnCode(bitmap.compression)) {
    return true;
  }
  const std::vector<FrameDamage> damages = FindDamage(frame, bitmap.width, bitmap.height);
  if (damages.empty()) {
    return true;
  }
  log.Note(reader, index, damages.front().what);
  return false;
}

std::unique_ptr<Codec> FindDecoder(const AviReader& reader) {
  std::unique_ptr<Codec> codec = FindDecompressor(reader.Handler(), reader.Format());
  if (codec == nullptr) {
    FailWithoutCodec(Concat("no codec decompresses this AVI, which is of the code ",
                            FourCcText(ReadBitmapFormat(reader.Format()).compression)));
  }
  return codec;
}

AviSource::AviSource(const AviReader& reader, PixelFormat format, DamageLog& log)
    : reader_(reader), log_(log) {
  if (reader.FrameCount() == 0) {
    RefuseInput(reader.Name(), "has no frames");
  }
  format_.rate = reader.Rate();
  format_.start = reader.Video().Field(StreamField::kStart);
  if (ReadBitmapFormat(reader.Format()).NeedsCodec()) {
    decompressor_.emplace(FindDecoder(reader), reader.Format(), format);
    format_.layout = decompressor_->Layout();
    format_.fields = FieldsOfFirstFrame();
  } else {
    format_.layout = UncompressedLayout();
  }
  RequirePlausible();
}

FrameLayout AviSource::UncompressedLayout() {
  const BitmapFormat bitmap = ReadBitmapFormat(reader_.Format());
  const std::optional<PixelFormat> pixelFormat = PixelFormatOf(bitmap.compression, bitmap.bits);
  if (!pixelFormat) {
    RefuseInput(reader_.Name(), "has ", bitmap.bits, "-bit video of the format ",
                bitmap.compression == 0 ? "RGB" : FourCcText(bitmap.compression),
                "; of uncompressed AVIs, yuy2, uyvy, rgb24 and rgb32 are taken");
  }
  const std::int64_t rows = std::abs(std::int64_t{bitmap.height});
  if (!IsPictureSide(bitmap.width) || !IsPictureSide(rows)) {
    RefuseInput(reader_.Name(), "has pictures of ", bitmap.width, 'x', bitmap.height,
                "; each side must be from 1 to ", kMaxPictureSide);
  }
  if (!IsRgb(*pixelFormat) && bitmap.width % 2 != 0) {
    RefuseInput(reader_.Name(), "has packed 4:2:2 pictures of an odd width");
  }
  isUpsideDown_ = IsRgb(*pixelFormat) && bitmap.height < 0;
  return {*pixelFormat, static_cast<std::uint32_t>(bitmap.width), static_cast<std::uint32_t>(rows)};
}

/// A few bytes may state pictures that would take all memory.
void AviSource::RequirePlausible() const {
  constexpr std::uint64_t kSmallPicture = std::uint64_t{64} << 20;
  constexpr std::uint64_t kLargestExpansion = 1024;
  const std::uint64_t most = reader_.FileSize() * (decompressor_ ? kLargestExpansion : 1);
  if (format_.layout.FrameBytes() > std::max(most, decompressor_ ? kSmallPicture : 0)) {
    RefuseInput(reader_.Name(), "states pictures of ", format_.layout.width, 'x',
                format_.layout.height, ", for which the file is too small");
  }
}

FieldOrder AviSource::FieldsOfFirstFrame() {
  const auto first = std::ranges::find_if(reader_.Frames(),
                                          [](const AviChunk& chunk) { return chunk.bytes != 0; });
  if (first == reader_.Frames().end() ||
      !IsOwnCode(ReadBitmapFormat(reader_.Format()).compression) || !reader_.Read(*first, frame_)) {
    return FieldOrder::kUnknown;
  }
  const MpegHeaders headers = ReadMpegHeaders(frame_);
  if (!headers.hasPictureExtension) {
    return FieldOrder::kUnknown;
  }
  if (headers.isProgressive) {
    return FieldOrder::kProgressive;
  }
  return headers.isTopFieldFirst ? FieldOrder::kTopFirst : FieldOrder::kBottomFirst;
}

std::optional<CodecDescription> AviSource::Description() const {
  return decompressor_ ? std::optional(decompressor_->Description()) : std::nullopt;
}

/// Stores the picture of a frame; false when there is none, so that the one before stays.
bool AviSource::ReadPicture(std::uint32_t index, std::span<std::uint8_t> picture) {
  if (!ReadWholeFrame(reader_, index, log_, frame_) || frame_.empty()) {
    return false;
  }
  if (decompressor_) {
    if (const Refusal refusal =
            decompressor_->Decompress(frame_, reader_.Frame(index).isKeyFrame, picture)) {
      log_.Note(
          reader_, index,
          Concat("cannot be decompressed by ", decompressor_->Description().Text(), ": ", *refusal),
          ExitCode::kCodec);
      return false;
    }
    return true;
  }
  const std::size_t bytes = format_.layout.FrameBytes();
  if (frame_.size() < bytes) {
    log_.Note(reader_, index, Concat("has ", frame_.size(), " bytes where ", bytes, " belong"));
    return false;
  }
  std::ranges::copy(std::span(frame_).first(bytes), picture.begin());
  if (isUpsideDown_) {
    FlipRows(format_.layout, picture);
  }
  return true;
}

bool AviSource::Read(std::span<std::uint8_t> frame) {
  if (framesRead_ == reader_.FrameCount()) {
    return false;
  }
  hasPicture_ |= ReadPicture(framesRead_, frame);
  if (!hasPicture_) {
    FillBlack(format_.layout, frame);
  }
  ++framesRead_;
  return true;
}

}  // namespace vfwtool
