#include "tools/vfwtool/media/avi_writer.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {

namespace {

// Where the chunks begin, as in the AVIs that Windows' own functions write.
constexpr std::size_t kMovieAlignment = 2048;

// AVIF_HASINDEX and AVIF_ISINTERLEAVED. With AVIF_TRUSTCKTYPE, frames marked "dc" would never count
// as key frames.
constexpr std::uint32_t kInterleavedFlag = 0x100;
// The list "odml" with its one chunk, "dmlh", of one number.
constexpr std::size_t kOpenDmlListBytes = kListHeaderBytes + kChunkHeaderBytes + 4;

/// A header field of 32 bits that cannot hold more.
std::uint32_t Saturated(std::uint64_t value) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(value, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

void AviWriter::Share::Add(std::uint64_t chunkUnits, std::uint32_t bytes) {
  ++chunks;
  units += chunkUnits;
  largestChunk = std::max(largestChunk, bytes);
}

AviWriter::AviWriter(std::string name, AviHeaders headers, const AviLimits& limits)
    : file_(std::move(name)),
      headers_(std::move(headers)),
      limits_(limits),
      segments_(1),
      totals_(headers_.streams.size()) {
  const auto video = std::ranges::find_if(headers_.streams, &AviStreamHeaders::IsVideo);
  video_ = static_cast<std::size_t>(video - headers_.streams.begin());
  segments_.front().shares.resize(headers_.streams.size());
  const Bytes start = FileHeaders();
  segments_.front().movie = start.size() - kListTypeBytes;
  file_.Write(start);
}

FourCc AviWriter::CodeOf(std::size_t stream) const {
  return ChunkCode(stream, headers_.streams[stream].chunkKind);
}

std::uint64_t AviWriter::IndexBytes(std::uint64_t entries, bool isOpenDml) const {
  std::uint64_t size = 0;
  if (isOpenDml) {
    size += headers_.streams.size() * (kChunkHeaderBytes + kStandardIndexHeaderBytes) +
            entries * kStandardIndexEntryBytes;
  }
  if (segments_.size() == 1) {
    size += kChunkHeaderBytes + entries * kIndexEntryBytes;
  }
  return size;
}

bool AviWriter::HasRoomFor(std::uint64_t bytes) const {
  const Segment& segment = segments_.back();
  return segment.ChunksEnd() - segment.begin + kChunkHeaderBytes + PaddedBytes(bytes) +
             IndexBytes(index_.size() + 1, limits_.segments > 1) <=
         (segments_.size() == 1 ? limits_.firstSegmentBytes : limits_.nextSegmentBytes);
}

void AviWriter::Write(std::size_t stream, std::span<const std::uint8_t> chunk, bool isKeyFrame) {
  if (!HasRoomFor(chunk.size())) {
    if (segments_.size() < limits_.segments && !index_.empty()) {
      BeginNextSegment();
    }
    if (!HasRoomFor(chunk.size())) {
      throw ToolError(ExitCode::kSizeLimit, Concat(file_.Name(), ": an AVI cannot grow beyond ",
                                                   ByteCountText(limits_.Total()),
                                                   "; put the rest of the clip into another file"));
    }
  }
  Bytes whole;
  AppendChunk(whole, CodeOf(stream), chunk);
  file_.Write(whole);
  Segment& segment = segments_.back();
  const auto bytes = static_cast<std::uint32_t>(chunk.size());
  index_.push_back(
      {kListTypeBytes + segment.chunkBytes, bytes, static_cast<std::uint8_t>(stream), isKeyFrame});
  segment.chunkBytes += static_cast<std::uint32_t>(whole.size());
  const std::uint64_t units = headers_.streams[stream].UnitsOf(bytes);
  segment.shares[stream].Add(units, bytes);
  totals_[stream].Add(units, bytes);
}

void AviWriter::DropLastChunk() {
  const IndexEntry& last = index_.back();
  const std::uint64_t units = headers_.streams[last.stream].UnitsOf(last.bytes);
  Segment& segment = segments_.back();
  for (Share* const share : {&segment.shares[last.stream], &totals_[last.stream]}) {
    --share->chunks;
    share->units -= units;
  }
  segment.chunkBytes = last.offset - kListTypeBytes;
  index_.pop_back();
}

Bytes AviWriter::IndexHeader(std::uint8_t type, std::uint32_t entryBytes, std::size_t entries,
                             std::size_t stream, std::uint64_t base) const {
  Bytes index;
  AppendLittleEndian16(index, entryBytes / 4);
  index.push_back(0);  // No index of fields.
  index.push_back(type);
  AppendLittleEndian32(index, static_cast<std::uint32_t>(entries));
  AppendLittleEndian32(index, CodeOf(stream));
  AppendLittleEndian64(index, base);
  index.resize(kStandardIndexHeaderBytes);  // Reserved.
  return index;
}

Bytes AviWriter::SuperIndex(std::size_t stream) const {
  Bytes entries;
  for (const Segment& segment : segments_) {
    const Share& share = segment.shares[stream];
    if (share.indexBytes != 0) {
      AppendLittleEndian64(entries, share.indexPosition);
      AppendLittleEndian32(entries, share.indexBytes);
      AppendLittleEndian32(entries, Saturated(share.units));
    }
  }
  Bytes index = IndexHeader(kIndexOfIndexes, kSuperIndexEntryBytes,
                            entries.size() / kSuperIndexEntryBytes, stream, 0);
  AppendBytes(index, entries);
  // Room for all segments that there may be.
  index.resize(kStandardIndexHeaderBytes + limits_.segments * kSuperIndexEntryBytes);
  return index;
}

Bytes AviWriter::StandardIndex(std::size_t stream) const {
  const Segment& segment = segments_.back();
  Bytes index = IndexHeader(kIndexOfChunks, kStandardIndexEntryBytes, segment.shares[stream].chunks,
                            stream, segment.movie);
  for (const IndexEntry& entry : index_) {
    if (entry.stream == stream) {
      AppendLittleEndian32(index, entry.offset + kChunkHeaderBytes);
      AppendLittleEndian32(index, entry.bytes | (entry.isKeyFrame ? 0 : kDeltaFrameBit));
    }
  }
  return index;
}

Bytes AviWriter::FirstIndex() const {
  Bytes index;
  for (const IndexEntry& entry : index_) {
    AppendLittleEndian32(index, CodeOf(entry.stream));
    AppendLittleEndian32(index, entry.isKeyFrame ? kKeyFrameFlag : 0);
    AppendLittleEndian32(index, entry.offset);
    AppendLittleEndian32(index, entry.bytes);
  }
  return index;
}

Bytes AviWriter::StreamList(std::size_t stream) const {
  AviStreamHeaders headers = headers_.streams[stream];
  const Share& total = totals_[stream];
  headers.SetField(StreamField::kLength, Saturated(total.units));
  headers.SetField(StreamField::kLargestChunk,
                   std::max(headers.Field(StreamField::kLargestChunk), total.largestChunk));
  Bytes list;
  AppendChunk(list, "strh"_fourcc, headers.header);
  AppendChunk(list, "strf"_fourcc, headers.format);
  for (const RiffData& other : headers.others) {
    AppendChunk(list, other.code, other.contents);
  }
  const Bytes superIndex = SuperIndex(stream);
  if (isOpenDml_) {
    AppendChunk(list, "indx"_fourcc, superIndex);
  } else {
    AppendSpace(list, kChunkHeaderBytes + superIndex.size());
  }
  return list;
}

Bytes AviWriter::MainHeader() const {
  constexpr std::uint64_t kMicroseconds = 1000000;
  const AviStreamHeaders& video = headers_.streams[video_];
  const BitmapFormat bitmap = ReadBitmapFormat(video.format);
  std::uint64_t bytesPerSecond = 0;
  std::uint32_t largestChunk = 0;
  for (std::size_t i = 0; i < totals_.size(); ++i) {
    const AviStreamHeaders& stream = headers_.streams[i];
    largestChunk = std::max(largestChunk, totals_[i].largestChunk);
    if (stream.IsSound()) {
      bytesPerSecond += ReadSoundFormat(stream.format).bytesPerSecond;
    } else if (stream.Rate().IsValid()) {
      bytesPerSecond += stream.Rate().Times(totals_[i].largestChunk + kChunkHeaderBytes);
    }
  }
  Bytes main;
  AppendLittleEndian32(main, Saturated(video.Rate().Inverse().Times(kMicroseconds)));
  AppendLittleEndian32(main, Saturated(bytesPerSecond));
  AppendLittleEndian32(main, 0);  // Padding.
  AppendLittleEndian32(main, kHasIndexFlag | (totals_.size() > 1 ? kInterleavedFlag : 0));
  // What a reader of one segment finds.
  AppendLittleEndian32(main, segments_.front().shares[video_].chunks);
  AppendLittleEndian32(main, 0);  // Frames before the sound.
  AppendLittleEndian32(main, static_cast<std::uint32_t>(totals_.size()));
  AppendLittleEndian32(main, largestChunk + kChunkHeaderBytes);
  AppendLittleEndian32(main, static_cast<std::uint32_t>(bitmap.width));
  AppendLittleEndian32(main, static_cast<std::uint32_t>(std::abs(std::int64_t{bitmap.height})));
  main.resize(main.size() + 16);  // Reserved.
  return main;
}

/// All that stands before the chunks. Its size depends on the streams and the limits alone.
Bytes AviWriter::FileHeaders() const {
  Bytes headerList;
  AppendChunk(headerList, "avih"_fourcc, MainHeader());
  for (std::size_t i = 0; i < totals_.size(); ++i) {
    AppendList(headerList, "strl"_fourcc, StreamList(i));
  }
  for (const RiffData& other : headers_.others) {
    AppendChunk(headerList, other.code, other.contents);
  }
  if (isOpenDml_) {
    Bytes frameCount;
    AppendLittleEndian32(frameCount, totals_[video_].chunks);
    Bytes openDml;
    AppendChunk(openDml, "dmlh"_fourcc, frameCount);
    AppendList(headerList, "odml"_fourcc, openDml);
  } else {
    AppendSpace(headerList, kOpenDmlListBytes);
  }

  const Segment& first = segments_.front();
  Bytes headers;
  AppendListHeader(headers, "RIFF"_fourcc, first.riffBytes, "AVI "_fourcc);
  AppendList(headers, "hdrl"_fourcc, headerList);
  for (const RiffData& list : headers_.lists) {
    AppendList(headers, list.code, list.contents);
    headers.resize(static_cast<std::size_t>(PaddedBytes(headers.size())));
  }
  const std::size_t used = headers.size() + kChunkHeaderBytes + kListHeaderBytes;
  const std::size_t padding = (kMovieAlignment - used % kMovieAlignment) % kMovieAlignment;
  AppendSpace(headers, kChunkHeaderBytes + padding);
  AppendListHeader(headers, "LIST"_fourcc, first.MovieBytes(), "movi"_fourcc);
  return headers;
}

/// Writes the indexes of the open segment, over what a chunk that did not fit on the disk may have
/// left there.
void AviWriter::CompleteSegment() {
  Segment& segment = segments_.back();
  Bytes indexes;
  if (isOpenDml_) {
    for (std::size_t i = 0; i < totals_.size(); ++i) {
      Share& share = segment.shares[i];
      if (share.chunks != 0) {
        share.indexPosition = segment.ChunksEnd() + indexes.size();
        AppendChunk(indexes, IndexCode(i), StandardIndex(i));
        share.indexBytes =
            static_cast<std::uint32_t>(segment.ChunksEnd() + indexes.size() - share.indexPosition);
      }
    }
  }
  segment.indexBytes = static_cast<std::uint32_t>(indexes.size());
  if (segments_.size() == 1) {
    AppendChunk(indexes, "idx1"_fourcc, FirstIndex());
  }
  segment.riffBytes = static_cast<std::uint32_t>(segment.ChunksEnd() + indexes.size() -
                                                 segment.begin - kChunkHeaderBytes);
  file_.WriteAt(segment.ChunksEnd(), indexes);
  if (segments_.size() > 1) {
    Bytes header;
    AppendListHeader(header, "RIFF"_fourcc, segment.riffBytes, "AVIX"_fourcc);
    AppendListHeader(header, "LIST"_fourcc, segment.MovieBytes(), "movi"_fourcc);
    file_.WriteAt(segment.begin, header);
  }
  file_.Cut(segment.End());
  isSegmentOpen_ = false;
}

void AviWriter::BeginNextSegment() {
  isOpenDml_ = true;
  CompleteSegment();
  const std::uint64_t begin = segments_.back().End();
  Bytes header;
  AppendListHeader(header, "RIFF"_fourcc, 0, "AVIX"_fourcc);
  AppendListHeader(header, "LIST"_fourcc, 0, "movi"_fourcc);
  file_.Write(header);
  segments_.push_back({.begin = begin,
                       .movie = begin + header.size() - kListTypeBytes,
                       .shares = std::vector<Share>(totals_.size())});
  index_.clear();
  isSegmentOpen_ = true;
}

void AviWriter::Finish() {
  if (isSegmentOpen_) {
    CompleteSegment();
  }
  file_.WriteAt(0, FileHeaders());
  file_.Close();
  isFinished_ = true;
}

/// Drops the last chunks until the open segment's indexes fit into what the disk has given to the
/// file, or the segment itself.
void AviWriter::MakeRoomForIndex() {
  const std::uint64_t room = FileBytes(file_.Name()).value_or(0);
  while (!index_.empty() &&
         segments_.back().ChunksEnd() + IndexBytes(index_.size(), isOpenDml_) > room) {
    DropLastChunk();
  }
  if (index_.empty() && segments_.size() > 1) {
    segments_.pop_back();
    file_.Cut(segments_.back().End());
    isSegmentOpen_ = false;
  }
}

void AviWriter::FinishEarly() noexcept {
  if (isFinished_) {
    return;
  }
  isFinished_ = true;
  const auto tryToFinish = [&] {
    if (totals_[video_].chunks == 0) {
      file_.Cut(0);  // Which removes the file.
      file_.Close();
      return;
    }
    Finish();
  };
  try {
    tryToFinish();
  } catch (const std::exception&) {
    try {
      MakeRoomForIndex();
      tryToFinish();
    } catch (const std::exception&) {
      // What ended the work early is reported; the file stays as far as it came.
    }
  }
}

namespace {

AviHeaders HeadersOf(const AviStreamHeaders& video, const AviCompanions& companions) {
  AviHeaders headers{.streams = {}, .others = companions.others, .lists = companions.lists};
  for (const std::unique_ptr<PacketSource>& stream : companions.streams) {
    headers.streams.push_back(stream != nullptr ? stream->Headers() : video);
  }
  return headers;
}

}  // namespace

std::uint64_t AviCompanions::CountSound() const {
  return static_cast<std::uint64_t>(std::ranges::count_if(streams, [](const auto& stream) {
    return stream != nullptr && stream->Headers().IsSound();
  }));
}

AviCompanions CompanionsOf(std::unique_ptr<PacketSource> sound) {
  AviCompanions companions;
  companions.streams.push_back(nullptr);
  if (sound != nullptr) {
    companions.streams.push_back(std::move(sound));
  }
  return companions;
}

AviCompanions CompanionsOf(const AviReader& reader, const PacketDamage& damage) {
  AviCompanions companions{
      .streams = {}, .others = reader.Headers().others, .lists = reader.Headers().lists};
  for (std::size_t i = 0; i < reader.Headers().streams.size(); ++i) {
    companions.streams.push_back(
        i == reader.VideoStream()
            ? nullptr
            : std::make_unique<AviPackets>(reader, i, AviPackets::Part{}, damage));
  }
  return companions;
}

AviMuxer::AviMuxer(std::string name, const AviStreamHeaders& video, AviCompanions companions,
                   const AviLimits& limits)
    : video_(static_cast<std::size_t>(
          std::find(companions.streams.begin(), companions.streams.end(), nullptr) -
          companions.streams.begin())),
      writer_(std::move(name), HeadersOf(video, companions), limits) {
  others_ = std::move(companions.streams);
}

void AviMuxer::WritePackets(std::size_t stream, std::uint64_t until) {
  PacketSource& source = *others_[stream];
  for (std::optional<std::uint64_t> begin = source.NextBegin(); begin && *begin < until;
       begin = source.NextBegin()) {
    source.Read(packet_);
    writer_.Write(stream, packet_.bytes, packet_.isKeyFrame);
  }
}

void AviMuxer::WriteFrame(std::span<const std::uint8_t> frame, bool isKeyFrame) {
  const AviStreamHeaders& video = writer_.Headers().streams[video_];
  const std::uint64_t end = std::uint64_t{video.Field(StreamField::kStart)} + Frames() + 1;
  for (std::size_t i = 0; i < others_.size(); ++i) {
    if (others_[i] != nullptr) {
      const FrameRate rate = others_[i]->Headers().Rate();
      WritePackets(i, rate.IsValid() ? video.Rate().MomentIn(rate, end)
                                     : std::numeric_limits<std::uint64_t>::max());
    }
  }
  writer_.Write(video_, frame, isKeyFrame);
}

void AviMuxer::Finish() {
  for (std::size_t i = 0; i < others_.size(); ++i) {
    if (others_[i] != nullptr) {
      WritePackets(i, std::numeric_limits<std::uint64_t>::max());
    }
  }
  writer_.Finish();
}

AviSink::AviSink(std::string name, const ClipFormat& format, AviCompanions companions)
    : muxer_(std::move(name),
             MakeVideoHeaders(MakeBitmapFormat(format.layout),
                              IsRgb(format.layout.format)
                                  ? "DIB "_fourcc
                                  : PixelFormatCompression(format.layout.format),
                              format.rate, false, format.start),
             std::move(companions)) {}

std::uint64_t AviSink::FinishEarly() noexcept {
  muxer_.FinishEarly();
  return muxer_.Frames();
}

}  // namespace vfwtool
