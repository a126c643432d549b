#include "tools/vfwtool/media/avi_check.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/vfwtool/base/text.h"

namespace vfwtool {
namespace {

/// The chunks of one stream as they lie in the file.
struct FoundStream {
  std::vector<AviChunk> chunks;
  std::size_t inFirstSegment = 0;
};

class StructureCheck {
 public:
  StructureCheck(const AviReader& reader, const AviFindings& report)
      : reader_(reader),
        file_(reader.File()),
        report_(report),
        streams_(reader.Headers().streams.size()) {}

  void Run() {
    CheckSegments();
    CheckFirstIndex();
    for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
      CheckOpenDmlIndex(stream);
    }
    CheckLengths();
    for (const auto& [stream, chunks] : reader_.Contents().strays) {
      report_({.what = Concat("stream ", stream + 1, ", of which there are ",
                              CountText(chunks, "chunk"), ", has no headers")});
    }
  }

 private:
  template <typename... Parts>
  void Tell(std::uint64_t offset, const Parts&... what) {
    report_({.offset = offset, .what = Concat(what...)});
  }
  /// About a chunk of a stream, counted from 0.
  template <typename... Parts>
  void TellOfChunk(std::size_t stream, std::size_t chunk, std::uint64_t offset,
                   const Parts&... what) {
    if (stream == reader_.VideoStream()) {
      report_(
          {.frame = static_cast<std::uint32_t>(chunk), .offset = offset, .what = Concat(what...)});
    } else {
      Tell(offset, "packet ", chunk + 1, " of stream ", stream + 1, ": ", what...);
    }
  }

  void CheckSegments();
  void CheckSegment(const RiffChunk& segment);
  void ReadLengths(const RiffChunk& list);
  void CheckMovie(const RiffChunk& movie);
  void CheckFirstIndex();
  void CheckOpenDmlIndex(std::size_t stream);
  void CheckLengths();
  void CheckSize(const RiffChunk& chunk, std::uint64_t position, std::uint64_t end);
  std::uint64_t GoOnBehind(std::uint64_t position);
  void CheckEntries();
  const std::vector<AviChunk>& ChunksOf(std::size_t stream) const;

  const AviReader& reader_;
  RiffFile file_;
  const AviFindings& report_;
  std::vector<FoundStream> streams_;
  /// Somewhere no chunk begins, so that not all are found one behind the other: what was found is
  /// no measure of indexes and lengths then.
  bool isBroken_ = false;
  bool areHeadersChecked_ = false;
  std::size_t segments_ = 0;
  std::vector<RiffChunk> movies_;  ///< Of the first segment.
  std::optional<RiffChunk> index_;
  std::optional<std::uint32_t> statedFrames_;
  std::optional<std::uint32_t> statedFramesOfAll_;
};

void StructureCheck::CheckSize(const RiffChunk& chunk, std::uint64_t position, std::uint64_t end) {
  if (const std::string wrong = WrongSizeText(chunk, position, end); !wrong.empty()) {
    Tell(position, wrong);
  }
}

/// Where the next chunk begins, when none does at `position`.
std::uint64_t StructureCheck::GoOnBehind(std::uint64_t position) {
  Tell(position, "no chunk begins where the one before ends");
  isBroken_ = true;
  return AviChunkWalk(file_, position, streams_.size()).Search(position + 1);
}

void StructureCheck::CheckSegments() {
  std::uint64_t position = 0;
  while (position < file_.Size()) {
    const std::optional<RiffChunk> segment = file_.ChunkAt(position, file_.Size());
    if (!segment || segment->code != "RIFF"_fourcc) {
      Tell(position, CountText(file_.Size() - position, "byte"),
           " behind the end of the last segment");
      isBroken_ |= AviChunkWalk(file_, position, streams_.size()).Search(position) < file_.Size();
      return;
    }
    ++segments_;
    CheckSize(*segment, position, file_.Size());
    CheckSegment(*segment);
    if (segments_ == 1) {
      for (FoundStream& stream : streams_) {
        stream.inFirstSegment = stream.chunks.size();
      }
    }
    position = PaddedBytes(segment->end);
  }
}

void StructureCheck::CheckSegment(const RiffChunk& segment) {
  bool isOutside = false;
  for (std::uint64_t position = segment.begin; position < segment.end;) {
    const std::optional<RiffChunk> chunk = file_.ChunkAt(position, segment.end);
    if (!chunk || !IsWord(chunk->code)) {
      position = GoOnBehind(position);
      continue;
    }
    CheckSize(*chunk, position, segment.end);
    if (chunk->listType == "hdrl"_fourcc) {
      ReadLengths(*chunk);
      if (!std::exchange(areHeadersChecked_, true)) {
        CheckHeaders(reader_, *chunk, report_);
      }
    } else if (chunk->listType == "movi"_fourcc) {
      if (segments_ == 1) {
        movies_.push_back(*chunk);
      }
      CheckMovie(*chunk);
    } else if (chunk->code == "idx1"_fourcc && segments_ == 1) {
      index_ = chunk;
    } else if (!isOutside && (chunk->code == "RIFF"_fourcc ||
                              StreamOfCode(chunk->code, streams_.size()).has_value())) {
      isOutside = true;
      isBroken_ = true;
      Tell(position, "the chunk ", FourCcText(chunk->code), " is out of place");
    }
    position = PaddedBytes(chunk->end);
  }
}

void StructureCheck::ReadLengths(const RiffChunk& list) {
  constexpr std::size_t kTotalFramesOffset = 16;
  for (const RiffChunk& chunk : file_.ChunksIn(list)) {
    if (chunk.code == "avih"_fourcc && chunk.Size() >= kTotalFramesOffset + 4) {
      statedFrames_ = ReadLittleEndian32(file_.Contents(chunk), kTotalFramesOffset);
    } else if (chunk.listType == "odml"_fourcc) {
      for (const RiffChunk& inner : file_.ChunksIn(chunk)) {
        if (inner.code == "dmlh"_fourcc && inner.Size() >= 4) {
          statedFramesOfAll_ = ReadLittleEndian32(file_.Contents(inner), 0);
        }
      }
    }
  }
}

void StructureCheck::CheckMovie(const RiffChunk& movie) {
  // Of the list and of the records that are open in it: a file may have them in any depth.
  std::vector<std::uint64_t> ends = {movie.end};
  std::uint64_t position = movie.begin;
  while (!ends.empty()) {
    if (position >= ends.back()) {
      position = std::max(position, PaddedBytes(ends.back()));
      ends.pop_back();
      continue;
    }
    const std::optional<RiffChunk> chunk = file_.ChunkAt(position, ends.back());
    if (!chunk || !IsWord(chunk->code)) {
      position = GoOnBehind(position);
      continue;
    }
    const std::optional<std::size_t> stream = StreamOfCode(chunk->code, streams_.size());
    if (!stream) {
      CheckSize(*chunk, position, ends.back());
    } else if (!IsPaletteChange(chunk->code)) {
      std::vector<AviChunk>& chunks = streams_[*stream].chunks;
      if (chunk->stated > chunk->Size()) {
        TellOfChunk(*stream, chunks.size(), position, "breaks off after ", chunk->Size(), " of ",
                    chunk->stated, " bytes");
      }
      chunks.push_back({chunk->begin, chunk->stated, true});
    }
    if (chunk->listType == "rec "_fourcc) {
      ends.push_back(chunk->end);
      position = chunk->begin;
    } else {
      position = PaddedBytes(chunk->end);
    }
  }
}

void StructureCheck::CheckFirstIndex() {
  if (!index_) {
    const bool isIndexed = std::ranges::any_of(reader_.SuperIndexes(),
                                               [](const Bytes& index) { return !index.empty(); });
    if (!isIndexed) {
      report_({.what = "there is no index"});
    }
    return;
  }
  if (const std::uint32_t frames = reader_.UnmarkedKeyFrames(); frames != 0) {
    Tell(index_->begin, "the index does not mark ", CountText(frames, "frame"),
         frames == 1 ? " as the key frame that it is" : " as the key frames that they are");
  }
  if (const std::uint64_t rest = index_->Size() % kIndexEntryBytes; rest != 0) {
    Tell(index_->end - rest, "the index has ", CountText(rest, "byte"),
         " behind its last whole entry");
  }
  if (!isBroken_) {
    CheckEntries();
  } else if (reader_.Contents().foundBy == AviContents::FoundBy::kChunks) {
    Tell(index_->begin, "the index does not lead to the chunks");
  }
}

void StructureCheck::CheckEntries() {
  const Bytes index = file_.Contents(*index_);
  std::vector<std::size_t> entries(streams_.size());
  std::vector<bool> isTold(streams_.size());
  std::optional<std::uint64_t> base;
  for (std::size_t i = 0; i + kIndexEntryBytes <= index.size(); i += kIndexEntryBytes) {
    const FourCc code = ReadLittleEndian32(index, i);
    const std::optional<std::size_t> stream = StreamOfCode(code, streams_.size());
    if (!stream || IsPaletteChange(code)) {
      continue;
    }
    const FoundStream& found = streams_[*stream];
    const std::size_t number = entries[*stream]++;
    if (number >= found.inFirstSegment || isTold[*stream]) {
      continue;
    }
    const std::uint64_t offset =
        std::uint64_t{ReadLittleEndian32(index, i + 8)} + kChunkHeaderBytes;
    const AviChunk& chunk = found.chunks[number];
    if (!base) {
      // Offsets count from a word "movi" or, as some programs write them, from the file's
      // beginning.
      const bool isFromMovie = std::ranges::any_of(movies_, [&](const RiffChunk& movie) {
        return movie.begin - kListTypeBytes + offset == chunk.position;
      });
      base = isFromMovie ? chunk.position - offset : 0;
    }
    const std::uint32_t bytes = ReadLittleEndian32(index, i + 12);
    if (*base + offset != chunk.position || bytes != chunk.bytes) {
      isTold[*stream] = true;
      TellOfChunk(*stream, number, index_->begin + i, "the index has it with ", bytes,
                  " bytes at byte ", *base + offset, ", it has ", chunk.bytes, " at byte ",
                  chunk.position);
    }
  }
  for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
    if (entries[stream] != streams_[stream].inFirstSegment) {
      Tell(index_->begin, "the index has ", entries[stream], " entries of stream ", stream + 1,
           ", of which there are ", CountText(streams_[stream].inFirstSegment, "chunk"));
    }
  }
}

void StructureCheck::CheckOpenDmlIndex(std::size_t stream) {
  const OpenDmlIndex super(reader_.SuperIndexes()[stream]);
  const std::vector<AviChunk>& chunks = streams_[stream].chunks;
  if (!super.IsIndexOfIndexes()) {
    if (segments_ > 1 && !super.IsIndexOfChunks() && !chunks.empty()) {
      report_({.what = Concat("stream ", stream + 1, " has no OpenDML index, though there are ",
                              segments_, " segments")});
    }
    return;
  }
  if (isBroken_) {
    return;
  }
  std::size_t number = 0;
  std::uint64_t bytesLeft = file_.Size();
  for (std::size_t i = 0; i < super.Count(); ++i) {
    const std::uint64_t position = ReadLittleEndian64(super.Entry(i), 0);
    const std::optional<RiffChunk> chunk = file_.ChunkAt(position, file_.Size());
    if (!chunk || chunk->code != IndexCode(stream) || chunk->Size() > bytesLeft) {
      Tell(position, "there is no OpenDML index of stream ", stream + 1, " where one should be");
      return;
    }
    bytesLeft -= chunk->Size();
    const Bytes contents = file_.Contents(*chunk);
    const OpenDmlIndex index(contents);
    for (std::size_t j = 0; index.IsIndexOfChunks() && j < index.Count(); ++j, ++number) {
      const std::uint64_t place = index.Base() + ReadLittleEndian32(index.Entry(j), 0);
      const std::uint32_t bytes = ReadLittleEndian32(index.Entry(j), 4) & ~kDeltaFrameBit;
      if (number < chunks.size() &&
          (chunks[number].position != place || chunks[number].bytes != bytes)) {
        TellOfChunk(stream, number, chunk->begin, "the OpenDML index has it with ", bytes,
                    " bytes at byte ", place, ", it has ", chunks[number].bytes, " at byte ",
                    chunks[number].position);
        return;
      }
    }
  }
  if (number != chunks.size()) {
    report_({.what = Concat("the OpenDML indexes have ", number, " entries of stream ", stream + 1,
                            ", of which there are ", CountText(chunks.size(), "chunk"))});
  }
}

/// The chunks of a stream, in a broken file those that all commands find.
const std::vector<AviChunk>& StructureCheck::ChunksOf(std::size_t stream) const {
  return isBroken_ ? reader_.Contents().streams[stream] : streams_[stream].chunks;
}

void StructureCheck::CheckLengths() {
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    const AviStreamHeaders& headers = reader_.Headers().streams[i];
    std::uint64_t units = 0;
    for (const AviChunk& chunk : ChunksOf(i)) {
      units += headers.UnitsOf(chunk.bytes);
    }
    if (const std::uint32_t stated = headers.Field(StreamField::kLength); stated != units) {
      report_({.what = Concat("the header of stream ", i + 1, " states a length of ", stated,
                              ", the stream has one of ", units)});
    }
  }
  const std::size_t frames = ChunksOf(reader_.VideoStream()).size();
  const std::size_t framesOfFirst = streams_[reader_.VideoStream()].inFirstSegment;
  // Where it is the number of the first segment's frames, a break hides whether it is right.
  const bool isKnown = !isBroken_ || segments_ == 1;
  if (isKnown && statedFrames_ && *statedFrames_ != framesOfFirst && *statedFrames_ != frames) {
    report_({.what = Concat("the header of the file states ", CountText(*statedFrames_, "frame"),
                            ", there are ", frames)});
  }
  if (statedFramesOfAll_ && *statedFramesOfAll_ != frames) {
    report_({.what = Concat("the OpenDML header states ", CountText(*statedFramesOfAll_, "frame"),
                            ", there are ", frames)});
  }
}

}  // namespace

std::string WrongSizeText(const RiffChunk& chunk, std::uint64_t position, std::uint64_t end) {
  const std::uint64_t statedEnd = position + kChunkHeaderBytes + chunk.stated;
  const std::string name =
      Concat(FourCcText(chunk.code),
             IsList(chunk.code) ? Concat(" \"", FourCcText(chunk.listType), '"') : "");
  if (IsList(chunk.code) && statedEnd < chunk.end) {
    return Concat("the size of the list ", name, " was never filled in");
  }
  return statedEnd > end ? Concat(name, " states ", statedEnd - end, " bytes more than there are")
                         : "";
}

void CheckStructure(const AviReader& reader, const AviFindings& report) {
  StructureCheck(reader, report).Run();
}

}  // namespace vfwtool
