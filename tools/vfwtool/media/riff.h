#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <vector>

#include "tools/vfwtool/media/bytes.h"

/// RIFF: what AVI and WAV files are made of.
namespace vfwtool {

inline constexpr std::uint32_t kChunkHeaderBytes = 8;
inline constexpr std::uint32_t kListTypeBytes = 4;
inline constexpr std::uint32_t kListHeaderBytes = kChunkHeaderBytes + kListTypeBytes;

/// Chunks begin at even positions.
constexpr std::uint64_t PaddedBytes(std::uint64_t bytes) { return (bytes + 1) / 2 * 2; }

/// A chunk in memory.
struct RiffData {
  FourCc code = 0;
  Bytes contents;

  bool operator==(const RiffData&) const = default;
};

// Chunks put together in memory.

void AppendChunk(Bytes& bytes, FourCc code, std::span<const std::uint8_t> contents);
void AppendList(Bytes& bytes, FourCc type, std::span<const std::uint8_t> contents);

/// The beginning of a list whose contents come later; `listBytes` has its type counted in.
void AppendListHeader(Bytes& bytes, FourCc code, std::uint32_t listBytes, FourCc type);

/// Room for a chunk of that size, its header included.
void AppendSpace(Bytes& bytes, std::size_t space);

/// A chunk found in a file. What it states beyond the end of the file is cut off, and a list whose
/// size was never filled in reaches to the end.
struct RiffChunk {
  FourCc code = 0;
  FourCc listType = 0;      ///< Of "RIFF" and "LIST" chunks.
  std::uint64_t begin = 0;  ///< Of the contents; those of a list begin behind its type.
  std::uint64_t end = 0;
  std::uint32_t stated = 0;  ///< The size that its header states.

  std::uint64_t Size() const { return end - begin; }
};

bool IsList(FourCc code);

/// Finds chunks in a RIFF file of any size.
class RiffFile {
 public:
  /// `file`, of `fileBytes`, must outlive the object.
  RiffFile(std::istream& file, std::uint64_t fileBytes) : file_(file), fileBytes_(fileBytes) {}

  /// The chunk at `position`, which must end before `limit`; empty when none begins there.
  std::optional<RiffChunk> ChunkAt(std::uint64_t position, std::uint64_t limit) const;

  /// The chunks between two positions, one after another.
  std::vector<RiffChunk> ChunksIn(std::uint64_t begin, std::uint64_t end) const;
  std::vector<RiffChunk> ChunksIn(const RiffChunk& list) const {
    return ChunksIn(list.begin, list.end);
  }

  /// Whether the file has that many bytes at a position. Both may be what a damaged file states.
  bool Holds(std::uint64_t position, std::uint64_t bytes) const {
    return position <= fileBytes_ && bytes <= fileBytes_ - position;
  }

  /// Reads bytes at a position; false when the file ends before or cannot be read.
  bool Read(std::uint64_t position, std::span<std::uint8_t> bytes) const;

  /// The contents of a chunk, as far as the file has them.
  Bytes Contents(const RiffChunk& chunk) const;

  std::uint64_t Size() const { return fileBytes_; }

 private:
  std::istream& file_;
  std::uint64_t fileBytes_;
};

}  // namespace vfwtool
