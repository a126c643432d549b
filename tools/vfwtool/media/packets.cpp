#include "tools/vfwtool/media/packets.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {
namespace {

/// The longest silence that fills a gap, six hours of common sound. Headers can claim any moment
/// and any rate; what lies further apart is no recording.
constexpr std::uint64_t kMostSilence = std::uint64_t{1} << 32;
/// The most of it at once, whatever the headers call a second.
constexpr std::uint64_t kMostSilenceInPacket = std::uint64_t{1} << 20;

/// The bytes of a unit of a stream whose chunks may be divided at any unit; 0 of any other.
std::uint32_t DivisibleUnit(const AviStreamHeaders& headers) {
  if (!headers.IsSound()) {
    return 0;
  }
  const std::uint32_t sampleBytes = headers.Field(StreamField::kSampleSize);
  const SoundFormat format = ReadSoundFormat(headers.format);
  return sampleBytes == 0 && format.IsPcm() ? format.blockBytes : sampleBytes;
}

/// A second in units of a stream, at least one.
std::uint64_t Second(const AviStreamHeaders& headers) {
  const FrameRate rate = headers.Rate();
  return rate.IsValid() ? std::max<std::uint64_t>(rate.Times(1), 1)
                        : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

bool IsCutAnywhere(const AviStreamHeaders& headers) {
  const SoundFormat format = ReadSoundFormat(headers.format);
  return headers.IsSound() && format.IsPcm() && DivisibleUnit(headers) == format.blockBytes;
}

std::uint64_t EndOf(const AviReader& reader, std::size_t stream) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  std::uint64_t end = headers.Field(StreamField::kStart);
  for (const AviChunk& chunk : reader.Contents().streams[stream]) {
    end += headers.UnitsOf(chunk.bytes);
  }
  return end;
}

Bytes Silence(const SoundFormat& format, std::uint64_t samples) {
  // Samples of 8 bits have no sign.
  constexpr std::uint8_t kMiddle = 0x80;
  return Bytes(static_cast<std::size_t>(samples * format.blockBytes),
               format.bits == 8 ? kMiddle : std::uint8_t{0});
}

AviPackets::AviPackets(const AviReader& reader, std::size_t stream, const Part& part,
                       PacketDamage damage)
    : reader_(reader),
      stream_(stream),
      headers_(reader.Headers().streams[stream]),
      part_(part),
      damage_(std::move(damage)),
      isCutAnywhere_(IsCutAnywhere(headers_)),
      begin_(headers_.Field(StreamField::kStart)) {
  SkipToBegin();
}

void AviPackets::SkipToBegin() {
  while (chunk_ < Chunks().size() && begin_ < part_.from) {
    const std::uint32_t left = Chunks()[chunk_].bytes - offset_;
    if (isCutAnywhere_ && begin_ + headers_.UnitsOf(left) > part_.from) {
      offset_ = static_cast<std::uint32_t>((part_.from - begin_) * DivisibleUnit(headers_));
      begin_ = part_.from;
      return;
    }
    // In the pieces in which the part before this one comes.
    Advance(isCutAnywhere_ ? left : PieceOf(left));
  }
}

/// Goes on behind that many bytes of the current chunk.
void AviPackets::Advance(std::uint32_t bytes) {
  begin_ += headers_.UnitsOf(bytes);
  offset_ += bytes;
  if (offset_ == Chunks()[chunk_].bytes) {
    ++chunk_;
    offset_ = 0;
  }
}

std::optional<std::uint64_t> AviPackets::NextBegin() const {
  return chunk_ < Chunks().size() && begin_ < part_.to ? std::optional(begin_) : std::nullopt;
}

/// How many of the bytes that are left of the current chunk make the next packet.
std::uint32_t AviPackets::PieceOf(std::uint32_t bytes) const {
  const std::uint64_t unitBytes = DivisibleUnit(headers_);
  if (unitBytes == 0) {
    return bytes;
  }
  std::uint64_t most = Second(headers_);
  if (isCutAnywhere_) {
    most = std::min(most, part_.to - begin_);
  } else {
    // Codings with larger blocks than samples are divided between their blocks.
    const std::uint64_t block =
        std::max<std::uint64_t>(ReadSoundFormat(headers_.format).blockBytes / unitBytes, 1);
    most = std::max(most / block, std::uint64_t{1}) * block;
  }
  return headers_.UnitsOf(bytes) > most ? static_cast<std::uint32_t>(most * unitBytes) : bytes;
}

void AviPackets::Read(Packet& packet) {
  const AviChunk& chunk = Chunks()[chunk_];
  const std::uint32_t bytes = PieceOf(chunk.bytes - offset_);
  const std::uint64_t position = chunk.position + offset_;
  if (!reader_.Read({position, bytes, chunk.isKeyFrame}, packet.bytes)) {
    if (!damage_) {
      RefuseInput(reader_.Name(), "stream ", stream_ + 1, " cannot be read at byte ", position);
    }
    damage_(reader_, {stream_, begin_, position});
    const SoundFormat format = ReadSoundFormat(headers_.format);
    if (headers_.IsSound() && format.IsPcm()) {
      packet.bytes = Silence(format, bytes / format.blockBytes);
    } else {
      packet.bytes.clear();
    }
    packet.bytes.resize(headers_.IsSound() ? bytes : 0);
  }
  packet.isKeyFrame = chunk.isKeyFrame;
  Advance(bytes);
}

std::uint64_t AviPackets::SkipToEnd() {
  while (NextBegin()) {
    Advance(PieceOf(Chunks()[chunk_].bytes - offset_));
  }
  return begin_;
}

void JoinedPackets::Add(std::unique_ptr<PacketSource> source, std::uint64_t from,
                        std::uint64_t at) {
  if (parts_.empty()) {
    headers_ = source->Headers();
    const std::uint64_t begin = source->NextBegin().value_or(from) - from + at;
    headers_.SetField(StreamField::kStart, static_cast<std::uint32_t>(begin));
  }
  parts_.push_back({std::move(source), from, at});
}

std::optional<std::uint64_t> JoinedPackets::NextOfParts() const {
  for (const Part& part : parts_) {
    if (const std::optional<std::uint64_t> begin = part.source->NextBegin()) {
      return *begin - part.from + part.at;
    }
  }
  return std::nullopt;
}

bool JoinedPackets::IsGap() const {
  const std::optional<std::uint64_t> next = NextOfParts();
  return next && done_ && *next > *done_ && IsCutAnywhere(headers_);
}

std::optional<std::uint64_t> JoinedPackets::NextBegin() const {
  return IsGap() ? done_ : NextOfParts();
}

void JoinedPackets::Read(Packet& packet) {
  const std::uint64_t begin = *NextBegin();
  if (IsGap()) {
    const SoundFormat format = ReadSoundFormat(headers_.format);
    const std::uint64_t gap = *NextOfParts() - begin;
    if (gap > kMostSilence / format.blockBytes) {
      RefuseInput("the sound", "a gap of ", gap, " samples is more than silence can fill");
    }
    const std::uint64_t units =
        std::min({gap, Second(headers_), kMostSilenceInPacket / format.blockBytes});
    packet = {Silence(format, units), true};
  } else {
    const auto part = std::ranges::find_if(
        parts_, [](const Part& entry) { return entry.source->NextBegin().has_value(); });
    part->source->Read(packet);
  }
  done_ = begin + headers_.UnitsOf(packet.bytes.size());
}

}  // namespace vfwtool
