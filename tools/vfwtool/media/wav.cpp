#include "tools/vfwtool/media/wav.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {
namespace {

/// What a 32-bit size states where the true one stands in the chunk "ds64", or was never filled in.
constexpr std::uint32_t kUnknownSize = 0xFFFFFFFF;
/// What some programs that write to a pipe state.
constexpr std::uint32_t kUnknownSizeOfPipe = 0x7FFFF000;
/// The sizes of "ds64": of the file, of the data, the number of blocks; then an empty table.
constexpr std::size_t kSizesBytes = 28;

/// More than any sound format takes.
constexpr std::uint64_t kMaxFormatBytes = 4096;

/// Whether chunks fill the file exactly from there on, as they hardly ever do where samples stand.
bool AreChunks(const RiffFile& riff, std::uint64_t begin) {
  std::uint64_t position = begin;
  while (const std::optional<RiffChunk> chunk = riff.ChunkAt(position, riff.Size())) {
    if (!IsWord(chunk->code) || (!IsList(chunk->code) && chunk->Size() != chunk->stated)) {
      return false;
    }
    position = PaddedBytes(chunk->end);
  }
  return position != begin && position >= riff.Size();
}

}  // namespace

WavPackets::WavPackets(const std::string& name)
    : WavPackets(std::make_unique<std::ifstream>(OpenInput(name)), FileBytes(name).value_or(0),
                 name) {}

WavPackets::WavPackets(std::unique_ptr<std::istream> file, std::uint64_t fileBytes,
                       std::string name)
    : name_(std::move(name)), stream_(std::move(file)), fileBytes_(fileBytes) {
  const RiffFile riff(*stream_, fileBytes_);
  std::array<std::uint8_t, kListHeaderBytes> start{};
  const bool isRead = riff.Read(0, start);
  const FourCc code = ReadLittleEndian32(start, 0);
  if (!isRead || (code != "RIFF"_fourcc && code != "RF64"_fourcc && code != "BW64"_fourcc) ||
      ReadLittleEndian32(start, kChunkHeaderBytes) != "WAVE"_fourcc) {
    RefuseInput(name_, "is not a WAV file");
  }
  Bytes format;
  std::uint64_t trueSize = 0;
  std::uint64_t position = kListHeaderBytes;
  while (const std::optional<RiffChunk> chunk = riff.ChunkAt(position, fileBytes_)) {
    if (chunk->code == "ds64"_fourcc && chunk->Size() >= kSizesBytes) {
      Bytes sizes(kSizesBytes);
      riff.Read(chunk->begin, sizes);
      trueSize = ReadLittleEndian64(sizes, 8);
    } else if (chunk->code == "fmt "_fourcc && chunk->Size() <= kMaxFormatBytes) {
      format = riff.Contents(*chunk);
    } else if (chunk->code == "data"_fourcc) {
      position_ = chunk->begin;
      // A writer that was ended early, or wrote to a pipe, knew no size: the sound reaches to the
      // end.
      const std::uint64_t rest = fileBytes_ - chunk->begin;
      const bool isUnknown = chunk->stated == kUnknownSize ||
                             (chunk->stated == kUnknownSizeOfPipe && rest < chunk->stated) ||
                             (chunk->stated == 0 && !AreChunks(riff, chunk->begin));
      const std::uint64_t bytes = !isUnknown ? chunk->stated : trueSize == 0 ? rest : trueSize;
      if (bytes > rest) {
        RefuseInput(name_, "breaks off: it states ", bytes, " bytes of sound and has ", rest);
      }
      end_ = chunk->begin + bytes;
      break;
    }
    position = PaddedBytes(chunk->end);
  }
  format_ = ReadSoundFormat(format);
  if (format.size() < kSoundFormatBytes || position_ == 0) {
    RefuseInput(name_, "has no sound");
  }
  headers_ = MakeSoundHeaders(format);
  if (!format_.IsPcm() || !headers_.Rate().IsValid()) {
    RefuseInput(name_, "has sound that is no PCM: ", format_.Text());
  }
  end_ -= (end_ - position_) % format_.blockBytes;
}

std::optional<std::uint64_t> WavPackets::NextBegin() const {
  return position_ < end_ ? std::optional(done_) : std::nullopt;
}

void WavPackets::Read(Packet& packet) {
  constexpr std::uint32_t kPacketsASecond = 8;
  const std::uint64_t blocks =
      std::min<std::uint64_t>(std::max(format_.samplesPerSecond / kPacketsASecond, 1U),
                              (end_ - position_) / format_.blockBytes);
  packet.bytes.resize(static_cast<std::size_t>(blocks * format_.blockBytes));
  packet.isKeyFrame = true;
  if (!RiffFile(*stream_, fileBytes_).Read(position_, packet.bytes)) {
    RefuseInput(name_, "cannot be read at byte ", position_);
  }
  position_ += packet.bytes.size();
  done_ += blocks;
}

WavWriter::WavWriter(std::string name, Bytes format, std::uint64_t largestRiff)
    : file_(std::move(name)), format_(std::move(format)), largestRiff_(largestRiff) {
  file_.Write(Header());
}

/// With room for the sizes of a file that becomes larger than a RIFF file can be.
Bytes WavWriter::Header() const {
  const std::uint64_t formatBytes = kChunkHeaderBytes + PaddedBytes(format_.size());
  const std::uint64_t riffBytes = kListTypeBytes + kChunkHeaderBytes + kSizesBytes + formatBytes +
                                  kChunkHeaderBytes + PaddedBytes(dataBytes_);
  const bool isLarge = riffBytes > largestRiff_;
  Bytes sizes;
  if (isLarge) {
    AppendLittleEndian64(sizes, riffBytes);
    AppendLittleEndian64(sizes, dataBytes_);
    AppendLittleEndian64(sizes, dataBytes_ / ReadSoundFormat(format_).blockBytes);
  }
  sizes.resize(kSizesBytes);
  Bytes header;
  AppendListHeader(header, isLarge ? "RF64"_fourcc : "RIFF"_fourcc,
                   isLarge ? kUnknownSize : static_cast<std::uint32_t>(riffBytes), "WAVE"_fourcc);
  AppendChunk(header, isLarge ? "ds64"_fourcc : "JUNK"_fourcc, sizes);
  AppendChunk(header, "fmt "_fourcc, format_);
  AppendLittleEndian32(header, "data"_fourcc);
  AppendLittleEndian32(header, isLarge ? kUnknownSize : static_cast<std::uint32_t>(dataBytes_));
  return header;
}

void WavWriter::Write(std::span<const std::uint8_t> samples) {
  file_.Write(samples);
  dataBytes_ += samples.size();
}

void WavWriter::Finish() {
  if (dataBytes_ % 2 != 0) {
    file_.Write(std::string_view("\0", 1));
  }
  file_.WriteAt(0, Header());
  file_.Close();
  isFinished_ = true;
}

WavWriter::~WavWriter() {
  if (isFinished_ || dataBytes_ == 0) {
    return;
  }
  try {
    Finish();
  } catch (const std::exception&) {
    // What ended the work early is reported; the file stays as far as it came.
    file_.Keep();
  }
}

WavTrack::WavTrack(std::string name, const AviReader& reader, std::size_t stream,
                   PacketDamage damage)
    : reader_(reader), wav_(std::move(name), reader.Headers().streams[stream].format) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  const std::uint64_t begin =
      headers.Rate().IsValid()
          ? reader.Rate().MomentIn(headers.Rate(), reader.Video().Field(StreamField::kStart))
          : 0;
  packets_.Add(std::make_unique<AviPackets>(reader, stream, AviPackets::Part{.from = begin},
                                            std::move(damage)),
               begin, 0);
}

void WavTrack::WritePackets(std::uint64_t until) {
  for (std::optional<std::uint64_t> begin = packets_.NextBegin(); begin && *begin < until;
       begin = packets_.NextBegin()) {
    packets_.Read(packet_);
    wav_.Write(packet_.bytes);
  }
}

void WavTrack::WriteUntil(std::uint64_t frame) {
  const FrameRate rate = packets_.Headers().Rate();
  WritePackets(rate.IsValid() ? reader_.Rate().MomentIn(rate, frame)
                              : std::numeric_limits<std::uint64_t>::max());
}

void WavTrack::Finish() {
  WritePackets(std::numeric_limits<std::uint64_t>::max());
  wav_.Finish();
}

}  // namespace vfwtool
