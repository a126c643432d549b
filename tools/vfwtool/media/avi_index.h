#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/media/avi_format.h"

namespace vfwtool {

/// Where the contents of a chunk of an AVI are: a frame, or a packet of sound.
struct AviChunk {
  std::uint64_t position = 0;  ///< Of its first byte.
  std::uint32_t bytes = 0;
  bool isKeyFrame = true;

  bool operator==(const AviChunk&) const = default;
};

/// The chunks of a file, and how they were found.
struct AviContents {
  enum class FoundBy { kOpenDmlIndexes, kIndex, kChunks };

  std::vector<std::vector<AviChunk>> streams;
  /// Of each stream: the last characters of its chunks' codes; zeros where it has no chunks.
  std::vector<std::array<char, 2>> kinds;
  FoundBy foundBy = FoundBy::kChunks;
  /// Changes of a video's palette, which are no frames and which the tool leaves out.
  std::uint64_t paletteChanges = 0;
  /// Of the chunk in which the file breaks off, if there is one: its stream, and the bytes that
  /// there are of it. It is not among the stream's chunks, but for whole samples of PCM.
  struct BrokenChunk {
    std::size_t stream = 0;
    AviChunk chunk;
    std::uint32_t stated = 0;  ///< The bytes that it should have.
    std::uint32_t kept = 0;    ///< Those that are whole samples.
  };
  std::optional<BrokenChunk> broken;
  /// What the search for chunks passed over, in the order of the file; something may be lost there.
  struct Gap {
    enum class Why {
      kNoChunk,     ///< No chunk of a stream begins where one should.
      kUnreadable,  ///< Likewise, and the file cannot be read there.
      kWrongSize,   ///< What a chunk states of its size is not true; what is there is taken.
    };
    std::uint64_t position = 0;
    std::uint64_t bytes = 0;
    Why why = Why::kNoChunk;
  };
  std::vector<Gap> gaps;
  /// How many chunks there are of streams that have no headers, by the streams' numbers.
  std::map<std::size_t, std::uint64_t> strays;
};

/// The contents of an OpenDML index, of chunks ("ix00") or of indexes ("indx").
class OpenDmlIndex {
 public:
  explicit OpenDmlIndex(std::span<const std::uint8_t> index) : index_(index) {}

  bool IsIndexOfIndexes() const { return IsWhole() && index_[3] == kIndexOfIndexes; }
  bool IsIndexOfChunks() const {
    return IsWhole() && index_[3] == kIndexOfChunks && EntryBytes() >= kStandardIndexEntryBytes;
  }
  /// What the entries of an index of chunks count from.
  std::uint64_t Base() const { return ReadLittleEndian64(index_, 12); }
  /// The entries that it states and has room for.
  std::size_t Count() const {
    return std::min<std::size_t>(ReadLittleEndian32(index_, 4),
                                 (index_.size() - kStandardIndexHeaderBytes) / EntryBytes());
  }
  std::span<const std::uint8_t> Entry(std::size_t index) const {
    return index_.subspan(kStandardIndexHeaderBytes + index * EntryBytes(), EntryBytes());
  }

 private:
  bool IsWhole() const { return index_.size() >= kStandardIndexHeaderBytes && EntryBytes() != 0; }
  /// With fields, an entry has a third word.
  std::size_t EntryBytes() const {
    return IsIndexOfIndexesByType() ? kSuperIndexEntryBytes
                                    : 4 * std::size_t{ReadLittleEndian16(index_, 0)};
  }
  bool IsIndexOfIndexesByType() const { return index_[3] == kIndexOfIndexes; }

  std::span<const std::uint8_t> index_;
};

/// Goes through the chunks of streams that lie in a file, whatever its lists state of their sizes,
/// those of streams without headers included. Where no chunk begins, or none can be read, the next
/// one is searched for. It ends early where the user wants the work to end.
class AviChunkWalk {
 public:
  struct Found {
    FourCc code = 0;
    std::size_t stream = 0;
    std::uint64_t position = 0;  ///< Of its first byte.
    std::uint32_t stated = 0;    ///< The bytes that its header states.
    std::uint32_t bytes = 0;     ///< The bytes that there are.
  };

  /// Looks for chunks from `position` on; `streams` have headers. `file` must outlive the object.
  AviChunkWalk(const RiffFile& file, std::uint64_t position, std::size_t streams)
      : file_(file), position_(position), streams_(streams) {}

  std::optional<Found> Next();

  /// The first place from there on where a chunk begins; the file's end when there is none.
  std::uint64_t Search(std::uint64_t from);

  /// What was passed over so far.
  std::vector<AviContents::Gap>& Gaps() { return gaps_; }

 private:
  struct Header {
    FourCc code = 0;
    std::uint32_t bytes = 0;
    FourCc listType = 0;
  };

  static Header HeaderIn(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return {ReadLittleEndian32(bytes, offset), ReadLittleEndian32(bytes, offset + 4),
            ReadLittleEndian32(bytes, offset + kChunkHeaderBytes)};
  }
  std::optional<Header> HeaderAt(std::uint64_t position) const;
  bool IsChunkOfAvi(const Header& header) const;
  bool IsBegin(std::uint64_t position) const;
  bool IsChunkOfUnknownCode(std::uint64_t position) const;
  std::uint64_t BehindChunk(std::uint64_t end) const;
  bool IsFiller(FourCc code) const;
  void Note(std::uint64_t begin, std::uint64_t end);

  const RiffFile& file_;
  std::uint64_t position_;
  std::size_t streams_;
  /// Behind the index of a segment, whose entries look like chunks, only lists are looked for.
  bool isBehindIndex_ = false;
  /// Where chunks of streams are, any other is out of place.
  bool isInMovie_ = false;
  bool wasUnreadable_ = false;  ///< A part of what the last search passed over.
  std::vector<AviContents::Gap> gaps_;
};

/// Finds the chunks of all streams of an AVI by their OpenDML indexes (`superIndexes` are the
/// contents of the streams' "indx", empty where there is none), else by the index of the one
/// segment, else by going through all chunks. An index is taken only where it leads to chunks, and
/// to all of them. Together the indexes that are read take no more memory than the file has bytes.
AviContents FindAviChunks(const RiffFile& file, std::span<const Bytes> superIndexes);

}  // namespace vfwtool
