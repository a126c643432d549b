#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <vector>

#include "tools/vfwtool/four_cc.h"

namespace qivm {

/// A chunk found in a RIFF file. What it states beyond the end of the file is cut off, and a list
/// whose size was never filled in reaches to the end.
struct RiffChunk {
  FourCc code = 0;
  FourCc listType = 0;      ///< Of "RIFF" and "LIST" chunks.
  std::uint64_t begin = 0;  ///< Of the contents; those of a list begin behind its type.
  std::uint64_t end = 0;

  std::uint64_t Bytes() const { return end - begin; }
};

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

  /// Reads bytes at a position; false when the file ends before.
  bool Read(std::uint64_t position, std::span<std::uint8_t> bytes) const;

  /// The contents of a chunk, as far as the file has them.
  std::vector<std::uint8_t> Contents(const RiffChunk& chunk) const;

  std::uint64_t Bytes() const { return fileBytes_; }

 private:
  std::istream& file_;
  std::uint64_t fileBytes_;
};

}  // namespace qivm
