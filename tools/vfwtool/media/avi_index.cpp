#include "tools/vfwtool/media/avi_index.h"

#include <algorithm>
#include <utility>

#include "tools/vfwtool/base/system.h"

namespace vfwtool {
namespace {

using View = std::span<const std::uint8_t>;

/// Adds a chunk to its stream.
void Add(FourCc code, std::size_t stream, const AviChunk& chunk, AviContents& contents) {
  if (IsPaletteChange(code)) {
    ++contents.paletteChanges;
    return;
  }
  contents.streams[stream].push_back(chunk);
  if (contents.kinds[stream][0] == 0) {
    contents.kinds[stream] = KindOfCode(code);
  }
}

/// Counts a chunk of a stream without headers, if it is one.
void CountStray(FourCc code, AviContents& contents) {
  const std::size_t streams = contents.streams.size();
  if (const auto stream = AnyStreamOfCode(code, streams); stream && *stream >= streams) {
    ++contents.strays[*stream];
  }
}

AviContents Nothing(std::size_t streams, AviContents::FoundBy foundBy) {
  AviContents contents;
  contents.streams.resize(streams);
  contents.kinds.resize(streams);
  contents.foundBy = foundBy;
  return contents;
}

/// The code of the chunk whose contents are there, if it is one of that stream and of that size.
std::optional<FourCc> CodeOfChunk(const RiffFile& file, const AviChunk& chunk, std::size_t stream,
                                  std::size_t streams) {
  std::array<std::uint8_t, kChunkHeaderBytes> header{};
  if (chunk.position < kChunkHeaderBytes ||
      !file.Read(chunk.position - kChunkHeaderBytes, header)) {
    return std::nullopt;
  }
  const FourCc code = ReadLittleEndian32(header, 0);
  const bool isRight =
      StreamOfCode(code, streams) == stream && ReadLittleEndian32(header, 4) == chunk.bytes;
  return isRight ? std::optional(code) : std::nullopt;
}

/// Appends the chunks of one index; false when it does not lead to chunks of the stream.
bool AppendIndex(const RiffFile& file, View bytes, std::size_t stream, AviContents& contents) {
  const OpenDmlIndex index(bytes);
  if (!index.IsIndexOfChunks()) {
    return false;
  }
  const std::size_t count = index.Count();
  const std::size_t streams = contents.streams.size();
  for (std::size_t i = 0; i < count; ++i) {
    const View entry = index.Entry(i);
    const std::uint32_t size = ReadLittleEndian32(entry, 4);
    const AviChunk chunk{.position = index.Base() + ReadLittleEndian32(entry, 0),
                         .bytes = size & ~kDeltaFrameBit,
                         .isKeyFrame = (size & kDeltaFrameBit) == 0};
    if (!file.Holds(chunk.position, chunk.bytes)) {
      return false;
    }
    // The first and the last one stand for those in between.
    if (i == 0 || i + 1 == count) {
      const std::optional<FourCc> code = CodeOfChunk(file, chunk, stream, streams);
      if (!code) {
        return false;
      }
      Add(*code, stream, chunk, contents);
    } else {
      contents.streams[stream].push_back(chunk);
    }
  }
  return true;
}

std::optional<AviContents> ByOpenDmlIndexes(const RiffFile& file,
                                            std::span<const Bytes> superIndexes) {
  AviContents contents = Nothing(superIndexes.size(), AviContents::FoundBy::kOpenDmlIndexes);
  // The indexes lie side by side: where they take more than the file, some are the same.
  std::uint64_t bytesLeft = file.Size();
  for (std::size_t stream = 0; stream < superIndexes.size(); ++stream) {
    const OpenDmlIndex super(superIndexes[stream]);
    if (super.IsIndexOfChunks()) {
      if (!AppendIndex(file, superIndexes[stream], stream, contents)) {
        return std::nullopt;
      }
      continue;
    }
    if (!super.IsIndexOfIndexes()) {
      return std::nullopt;
    }
    for (std::size_t i = 0; i < super.Count(); ++i) {
      const std::uint64_t position = ReadLittleEndian64(super.Entry(i), 0);
      const std::optional<RiffChunk> chunk = file.ChunkAt(position, file.Size());
      if (!chunk || chunk->Size() > bytesLeft ||
          !AppendIndex(file, file.Contents(*chunk), stream, contents)) {
        return std::nullopt;
      }
      bytesLeft -= chunk->Size();
    }
  }
  return contents;
}

/// The top level of the first segment: what the search by its index needs.
struct Segment {
  std::vector<RiffChunk> movies;  ///< The lists of chunks, in the order of the file.
  std::optional<RiffChunk> index;
  bool isOnly = true;
};

Segment FirstSegment(const RiffFile& file) {
  Segment segment;
  std::size_t count = 0;
  for (const RiffChunk& top : file.ChunksIn(0, file.Size())) {
    if (top.code != "RIFF"_fourcc) {
      continue;
    }
    if (++count > 1) {
      segment.isOnly = false;
      break;
    }
    for (const RiffChunk& chunk : file.ChunksIn(top)) {
      if (chunk.listType == "movi"_fourcc) {
        segment.movies.push_back(chunk);
      } else if (chunk.code == "idx1"_fourcc) {
        segment.index = chunk;
      }
    }
  }
  return segment;
}

/// What the offsets of an index count from: a word "movi", or, as some programs write it, the
/// beginning of the file. Empty when the first entry leads nowhere.
std::optional<std::uint64_t> IndexBase(const RiffFile& file, const Segment& segment, View index) {
  std::vector<std::uint64_t> bases;
  for (const RiffChunk& movie : segment.movies) {
    bases.push_back(movie.begin - kListTypeBytes);
  }
  bases.push_back(0);
  for (const std::uint64_t base : bases) {
    const std::optional<RiffChunk> chunk =
        file.ChunkAt(base + ReadLittleEndian32(index, 8), file.Size());
    if (chunk && chunk->code == ReadLittleEndian32(index, 0)) {
      return base;
    }
  }
  return std::nullopt;
}

std::optional<AviContents> ByIndex(const RiffFile& file, std::size_t streams) {
  const Segment segment = FirstSegment(file);
  if (!segment.isOnly || !segment.index) {
    return std::nullopt;
  }
  const Bytes bytes = file.Contents(*segment.index);
  const View index(bytes);
  if (index.size() < kIndexEntryBytes) {
    return std::nullopt;
  }
  const std::optional<std::uint64_t> base = IndexBase(file, segment, index);
  if (!base) {
    return std::nullopt;
  }
  AviContents contents = Nothing(streams, AviContents::FoundBy::kIndex);
  for (std::size_t i = 0; i + kIndexEntryBytes <= index.size(); i += kIndexEntryBytes) {
    const FourCc code = ReadLittleEndian32(index, i);
    const std::optional<std::size_t> stream = StreamOfCode(code, streams);
    if (!stream) {
      CountStray(code, contents);
      continue;
    }
    const AviChunk chunk{.position = *base + ReadLittleEndian32(index, i + 8) + kChunkHeaderBytes,
                         .bytes = ReadLittleEndian32(index, i + 12),
                         .isKeyFrame = (ReadLittleEndian32(index, i + 4) & kKeyFrameFlag) != 0};
    if (!file.Holds(chunk.position, chunk.bytes)) {
      return std::nullopt;
    }
    Add(code, *stream, chunk, contents);
  }
  return contents;
}

/// Finds streams without headers, which OpenDML indexes do not show, in the first segment's index.
void CountStrays(const RiffFile& file, AviContents& contents) {
  const std::optional<RiffChunk> chunk = FirstSegment(file).index;
  const Bytes index = chunk ? file.Contents(*chunk) : Bytes();
  for (std::size_t i = 0; i + kIndexEntryBytes <= index.size(); i += kIndexEntryBytes) {
    CountStray(ReadLittleEndian32(index, i), contents);
  }
}

/// Whether the chunks of an index are those of the file: not the same bytes many times, and none
/// behind the last one.
bool IsComplete(const RiffFile& file, const AviContents& contents) {
  std::uint64_t bytes = 0;
  std::uint64_t end = 0;
  for (const std::vector<AviChunk>& chunks : contents.streams) {
    for (const AviChunk& chunk : chunks) {
      bytes += chunk.bytes;
      end = std::max(end, chunk.position + chunk.bytes);
    }
  }
  if (bytes > file.Size() || end == 0) {
    return false;
  }
  AviChunkWalk walk(file, PaddedBytes(end), contents.streams.size());
  std::optional<AviChunkWalk::Found> found = walk.Next();
  while (found && found->stream >= contents.streams.size()) {
    found = walk.Next();
  }
  return !found;
}

/// Which frames are key frames stands nowhere but in an index; here all are taken for such, as
/// those of an intra-only codec are.
AviContents ByChunks(const RiffFile& file, std::size_t streams) {
  AviContents contents = Nothing(streams, AviContents::FoundBy::kChunks);
  AviChunkWalk walk(file, 0, streams);
  while (const std::optional<AviChunkWalk::Found> found = walk.Next()) {
    const AviChunk chunk{found->position, found->bytes, true};
    if (found->stream >= streams) {
      CountStray(found->code, contents);
    } else if (found->bytes == found->stated || chunk.position + chunk.bytes < file.Size()) {
      Add(found->code, found->stream, chunk, contents);
    } else {
      contents.broken = {found->stream, chunk, found->stated};
    }
  }
  contents.gaps = std::move(walk.Gaps());
  return contents;
}

}  // namespace

std::optional<AviChunkWalk::Header> AviChunkWalk::HeaderAt(std::uint64_t position) const {
  std::array<std::uint8_t, kListHeaderBytes> bytes{};
  const bool isRead = file_.Read(position, bytes) ||
                      file_.Read(position, std::span(bytes).first(kChunkHeaderBytes));
  return isRead ? std::optional(HeaderIn(bytes, 0)) : std::nullopt;
}

/// Whether these are the words that a chunk begins with.
bool AviChunkWalk::IsChunkOfAvi(const Header& header) const {
  if (IsList(header.code)) {
    return IsWord(header.listType);
  }
  if (StreamOfCode(header.code, kMaxAviStreams)) {
    return !isBehindIndex_ && IsKnownKind(KindOfCode(header.code));
  }
  return IsFiller(header.code) || header.code == "idx1"_fourcc;
}

/// Whether a chunk of that code belongs between the chunks of the streams.
bool AviChunkWalk::IsFiller(FourCc code) const {
  const bool isIndex = (code & 0xFFFF) == ("ix00"_fourcc & 0xFFFF) && IsWord(code);
  return isIndex || code == "JUNK"_fourcc;
}

/// Whether a chunk begins there, be its size what it may.
bool AviChunkWalk::IsBegin(std::uint64_t position) const {
  const std::optional<Header> header = HeaderAt(position);
  return header && IsChunkOfAvi(*header);
}

/// Whether a chunk of another code lies there, such as one whose code is damaged: from its end on
/// there are chunks again.
bool AviChunkWalk::IsChunkOfUnknownCode(std::uint64_t position) const {
  const std::optional<Header> header = HeaderAt(position);
  const std::uint64_t begin = position + kChunkHeaderBytes;
  if (!header || !IsWord(header->code) || !file_.Holds(begin, header->bytes)) {
    return false;
  }
  const std::uint64_t end = PaddedBytes(begin + header->bytes);
  return end >= file_.Size() || IsBegin(end);
}

/// Where the next chunk begins: not all programs fill up chunks of an odd size.
std::uint64_t AviChunkWalk::BehindChunk(std::uint64_t end) const {
  const std::uint64_t padded = PaddedBytes(end);
  return padded != end && !IsBegin(padded) && IsBegin(end) ? end : padded;
}

std::uint64_t AviChunkWalk::Search(std::uint64_t from) {
  // The next chunk is mostly near, and a file may have damage at every few bytes.
  constexpr std::size_t kFirstBlock = 64;
  constexpr std::size_t kLargestBlock = std::size_t{1} << 16;
  constexpr std::uint64_t kSectorBytes = 512;
  wasUnreadable_ = false;
  Bytes block;
  std::size_t size = kFirstBlock;
  for (std::uint64_t begin = from; begin < file_.Size() && !InterruptionWatch::IsRequested();
       begin += size, size = std::min(2 * size, kLargestBlock)) {
    block.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(size + kListHeaderBytes, file_.Size() - begin)));
    if (!file_.Read(begin, block)) {
      // A bad sector: only what cannot be read is passed over.
      size = static_cast<std::size_t>(
          std::min(kSectorBytes - begin % kSectorBytes, file_.Size() - begin));
      block.resize(size);
      if (!file_.Read(begin, block)) {
        wasUnreadable_ = true;
        continue;
      }
    }
    block.resize(size + kListHeaderBytes);  // No chunk begins among the zeros behind the end.
    for (std::size_t i = 0; i < size; ++i) {
      // So that chance does not make a chunk, it must fit into the file.
      const Header header = HeaderIn(block, i);
      if (IsWord(header.code) && IsChunkOfAvi(header) &&
          (IsList(header.code) || file_.Holds(begin + i + kChunkHeaderBytes, header.bytes))) {
        return begin + i;
      }
    }
  }
  return file_.Size();
}

/// Notes what lies between two places, unless it is too short for a chunk. Outside the lists of
/// chunks are headers and the like, in which a whole frame has no room.
void AviChunkWalk::Note(std::uint64_t begin, std::uint64_t end) {
  constexpr std::uint64_t kMostOfHeaders = std::uint64_t{1} << 16;
  if (end >= begin + (isInMovie_ || wasUnreadable_ ? kChunkHeaderBytes : kMostOfHeaders)) {
    gaps_.push_back(
        {begin, end - begin,
         wasUnreadable_ ? AviContents::Gap::Why::kUnreadable : AviContents::Gap::Why::kNoChunk});
  }
}

std::optional<AviChunkWalk::Found> AviChunkWalk::Next() {
  while (position_ < file_.Size() && !InterruptionWatch::IsRequested()) {
    const std::uint64_t at = position_;
    const std::optional<Header> header = HeaderAt(at);
    if (!header || !IsWord(header->code)) {
      position_ = Search(header ? at + 1 : at);
      Note(at, position_);
      continue;
    }
    const std::uint64_t begin = at + kChunkHeaderBytes;
    const std::uint64_t end = begin + header->bytes;
    const bool fits = file_.Holds(begin, header->bytes);
    const std::uint64_t next = fits ? BehindChunk(end) : file_.Size();
    const bool isFollowed =
        fits && (next >= file_.Size() || IsBegin(next) || IsChunkOfUnknownCode(next));
    if (IsList(header->code) && IsWord(header->listType)) {
      // Lists of chunks are entered, whatever they state of their sizes; all others are passed by.
      const FourCc type = header->listType;
      isInMovie_ = type == "movi"_fourcc || type == "rec "_fourcc;
      const bool isEntered = isInMovie_ || type == "AVI "_fourcc || type == "AVIX"_fourcc || !fits;
      isBehindIndex_ = false;
      position_ = isEntered ? begin + kListTypeBytes : next;
    } else if (header->code == "idx1"_fourcc) {
      isBehindIndex_ = true;
      isInMovie_ = false;
      position_ = isFollowed ? next : Search(begin);
    } else if (const auto stream = AnyStreamOfCode(header->code, streams_);
               stream && !isBehindIndex_) {
      Found found{header->code, *stream, begin, header->bytes, header->bytes};
      isInMovie_ = true;
      position_ = isFollowed ? next : Search(begin);
      if (position_ < end) {
        // The size is damaged, or the file breaks off here.
        found.bytes = static_cast<std::uint32_t>(position_ - begin);
        if (position_ < file_.Size()) {
          gaps_.push_back({at, position_ - at, AviContents::Gap::Why::kWrongSize});
        }
      } else if (!isFollowed) {
        Note(PaddedBytes(end), position_);
      }
      return found;
    } else if (isFollowed) {
      position_ = next;
      wasUnreadable_ = false;
      if (isInMovie_ && !IsFiller(header->code)) {
        Note(at, position_);
      }
    } else {
      const bool isWhole = fits && IsFiller(header->code);
      position_ = Search(isWhole ? begin : at + 1);
      Note(isWhole && position_ >= end ? PaddedBytes(end) : at, position_);
    }
  }
  return std::nullopt;
}

AviContents FindAviChunks(const RiffFile& file, std::span<const Bytes> superIndexes) {
  std::optional<AviContents> contents = ByOpenDmlIndexes(file, superIndexes);
  if (contents && IsComplete(file, *contents)) {
    CountStrays(file, *contents);
    return std::move(*contents);
  }
  contents = ByIndex(file, superIndexes.size());
  if (!contents || !IsComplete(file, *contents)) {
    contents = ByChunks(file, superIndexes.size());
  }
  return std::move(*contents);
}

}  // namespace vfwtool
