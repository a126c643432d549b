#include "tools/vfwtool/avi_index.h"

#include <algorithm>
#include <optional>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {
namespace {

using Frames = std::vector<AviFrame>;
using Bytes = std::span<const std::uint8_t>;

/// True for the code of a chunk with a frame of that stream, such as "00dc".
bool IsFrameOf(FourCc code, std::size_t streamNumber) {
  const auto number = static_cast<FourCc>('0' + streamNumber / 10 % 10) |
                      static_cast<FourCc>('0' + streamNumber % 10) << 8;
  const bool isPalette = code >> 16 == MakeFourCc("__pc") >> 16;
  return (code & 0xFFFF) == number && !isPalette;
}

/// The number of entries that an OpenDML index states and has room for; 0 when it is none.
std::size_t EntryCount(Bytes index, std::size_t entryBytes) {
  if (index.size() < kStandardIndexHeaderBytes || entryBytes == 0) {
    return 0;
  }
  return std::min<std::size_t>(ReadLittleEndian32(index, 4),
                               (index.size() - kStandardIndexHeaderBytes) / entryBytes);
}

/// The distance of the entries: with fields, each has a third word.
std::size_t EntryBytes(Bytes index) {
  return index.size() < 2 ? 0 : 4 * std::size_t{ReadLittleEndian16(index, 0)};
}

std::uint8_t IndexType(Bytes index) { return index.size() < 4 ? kIndexOfChunks : index[3]; }

/// Appends the frames of one standard index.
bool AppendStandardIndex(Bytes index, Frames& frames) {
  const std::size_t entryBytes = EntryBytes(index);
  if (index.size() < kStandardIndexHeaderBytes || IndexType(index) != kIndexOfChunks ||
      entryBytes < kStandardIndexEntryBytes) {
    return false;
  }
  const std::uint64_t base = ReadLittleEndian64(index, 12);
  const std::size_t count = EntryCount(index, entryBytes);
  for (std::size_t i = 0; i < count; ++i) {
    const Bytes entry = index.subspan(kStandardIndexHeaderBytes + i * entryBytes, entryBytes);
    const std::uint32_t size = ReadLittleEndian32(entry, 4);
    frames.push_back({.position = base + ReadLittleEndian32(entry, 0),
                      .bytes = size & ~kDeltaFrameBit,
                      .isKeyFrame = (size & kDeltaFrameBit) == 0});
  }
  return true;
}

std::optional<Frames> ByOpenDmlIndex(const RiffFile& file, Bytes superIndex) {
  Frames frames;
  if (superIndex.size() < kStandardIndexHeaderBytes) {
    return std::nullopt;
  }
  if (IndexType(superIndex) == kIndexOfChunks) {
    return AppendStandardIndex(superIndex, frames) ? std::optional(frames) : std::nullopt;
  }
  const std::size_t count = EntryCount(superIndex, kSuperIndexEntryBytes);
  // The indexes lie side by side: where they take more than the file, some are the same.
  std::uint64_t bytesLeft = file.Bytes();
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t position =
        ReadLittleEndian64(superIndex, kStandardIndexHeaderBytes + i * kSuperIndexEntryBytes);
    const std::optional<RiffChunk> chunk = file.ChunkAt(position, file.Bytes());
    if (!chunk || chunk->Bytes() > bytesLeft ||
        !AppendStandardIndex(file.Contents(*chunk), frames)) {
      return std::nullopt;
    }
    bytesLeft -= chunk->Bytes();
  }
  return count == 0 ? std::nullopt : std::optional(frames);
}

/// The top level of a file: what the searches below go through.
struct Segments {
  std::vector<RiffChunk> movies;  ///< The lists of frames, in the order of the file.
  std::optional<RiffChunk> index;
  std::size_t count = 0;
};

Segments FindSegments(const RiffFile& file) {
  Segments segments;
  for (const RiffChunk& segment : file.ChunksIn(0, file.Bytes())) {
    if (segment.code != MakeFourCc("RIFF")) {
      continue;
    }
    ++segments.count;
    for (const RiffChunk& chunk : file.ChunksIn(segment)) {
      if (chunk.listType == MakeFourCc("movi")) {
        segments.movies.push_back(chunk);
      } else if (chunk.code == MakeFourCc("idx1") && segments.count == 1) {
        segments.index = chunk;
      }
    }
  }
  return segments;
}

/// What the offsets of an index count from: the word "movi", or, as some programs write it, the
/// beginning of the file. Empty when the first entry leads nowhere.
std::optional<std::uint64_t> IndexBase(const RiffFile& file, const RiffChunk& movie, Bytes index) {
  const FourCc code = ReadLittleEndian32(index, 0);
  const std::uint32_t offset = ReadLittleEndian32(index, 8);
  for (const std::uint64_t base : {movie.begin - kListTypeBytes, std::uint64_t{0}}) {
    const std::optional<RiffChunk> chunk = file.ChunkAt(base + offset, file.Bytes());
    if (chunk && chunk->code == code) {
      return base;
    }
  }
  return std::nullopt;
}

std::optional<Frames> ByIndex(const RiffFile& file, const Segments& segments,
                              std::size_t streamNumber) {
  if (!segments.index || segments.count != 1 || segments.movies.size() != 1) {
    return std::nullopt;
  }
  const std::vector<std::uint8_t> contents = file.Contents(*segments.index);
  const Bytes index(contents);
  if (index.size() < kIndexEntryBytes) {
    return std::nullopt;
  }
  const std::optional<std::uint64_t> base = IndexBase(file, segments.movies.front(), index);
  if (!base) {
    return std::nullopt;
  }
  Frames frames;
  for (std::size_t i = 0; i + kIndexEntryBytes <= index.size(); i += kIndexEntryBytes) {
    if (IsFrameOf(ReadLittleEndian32(index, i), streamNumber)) {
      const std::uint32_t flags = ReadLittleEndian32(index, i + 4);
      frames.push_back({.position = *base + ReadLittleEndian32(index, i + 8) + kChunkHeaderBytes,
                        .bytes = ReadLittleEndian32(index, i + 12),
                        .isKeyFrame = (flags & kKeyFrameFlag) != 0});
    }
  }
  return frames;
}

/// Goes through a list of chunks. Which frames are key frames stands nowhere but in an index; here
/// all are taken for such, as those of an intra-only codec are.
void AppendByChunks(const RiffFile& file, const RiffChunk& list, std::size_t streamNumber,
                    Frames& frames) {
  for (const RiffChunk& chunk : file.ChunksIn(list)) {
    if (chunk.listType == MakeFourCc("rec ")) {
      for (const RiffChunk& inner : file.ChunksIn(chunk)) {
        if (IsFrameOf(inner.code, streamNumber)) {
          frames.push_back({inner.begin, static_cast<std::uint32_t>(inner.Bytes()), true});
        }
      }
    } else if (IsFrameOf(chunk.code, streamNumber)) {
      frames.push_back({chunk.begin, static_cast<std::uint32_t>(chunk.Bytes()), true});
    }
  }
}

}  // namespace

std::vector<AviFrame> FindAviFrames(const RiffFile& file, std::size_t streamNumber,
                                    std::span<const std::uint8_t> superIndex) {
  if (std::optional<Frames> frames = ByOpenDmlIndex(file, superIndex)) {
    return std::move(*frames);
  }
  const Segments segments = FindSegments(file);
  if (std::optional<Frames> frames = ByIndex(file, segments, streamNumber)) {
    return std::move(*frames);
  }
  Frames frames;
  for (const RiffChunk& movie : segments.movies) {
    AppendByChunks(file, movie, streamNumber, frames);
  }
  return frames;
}

}  // namespace qivm
