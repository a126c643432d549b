#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/media/avi_format.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {

/// How large an AVI gets.
struct AviLimits {
  /// What AVIFile reads: it holds file positions in signed 32-bit numbers.
  std::uint64_t firstSegmentBytes = 0x7FFFFFFF;
  /// What OpenDML recommends for all further segments.
  std::uint64_t nextSegmentBytes = 0x40000000;
  std::size_t segments = 120;

  std::uint64_t Total() const { return firstSegmentBytes + (segments - 1) * nextSegmentBytes; }
};

/// Writes an AVI of any number of streams, among them a video, with an index. One that outgrows the
/// first segment goes on in further ones and becomes an OpenDML AVI; any other is an ordinary AVI.
///
/// This is the tool's own rather than AVIFile's so that the headers are right wherever it runs
/// (wine's AVIFile states the frame duration upside down), a full disk is noticed on closing, of
/// which AVIFile says nothing, and files get larger than 2 GB.
class AviWriter {
 public:
  /// Creates the file, or empties it; throws ToolError (kOutput). Of the streams' headers, length
  /// and largest chunk are filled in.
  AviWriter(std::string name, AviHeaders headers, const AviLimits& limits = {});
  AviWriter(const AviWriter&) = delete;
  AviWriter& operator=(const AviWriter&) = delete;
  /// Completes the file as far as it goes when Finish was not called.
  ~AviWriter() { FinishEarly(); }

  const AviHeaders& Headers() const { return headers_; }

  /// Appends a chunk to a stream. Throws ToolError (kOutput), or ToolError (kSizeLimit) when the
  /// file would become too large; it then has all chunks so far.
  void Write(std::size_t stream, std::span<const std::uint8_t> chunk, bool isKeyFrame);

  /// Writes the index and the final headers and closes the file; throws ToolError (kOutput).
  void Finish();

  /// Completes the file after a failure. Where the disk has no room for the index, the last chunks
  /// make place for it; a file without video frames is removed. Does nothing after Finish.
  void FinishEarly() noexcept;

  /// The number of chunks of a stream that the file has.
  std::uint32_t Chunks(std::size_t stream) const { return totals_[stream].chunks; }

  /// The number of segments so far; more than one in an OpenDML AVI.
  std::size_t Segments() const { return segments_.size(); }

  std::uint64_t FileSize() const { return file_.Size(); }

 private:
  struct IndexEntry {
    std::uint32_t offset = 0;  ///< Of the chunk, from the word "movi".
    std::uint32_t bytes = 0;
    std::uint8_t stream = 0;
    bool isKeyFrame = true;
  };
  /// What a stream has, in a segment or altogether.
  struct Share {
    std::uint32_t chunks = 0;
    std::uint64_t units = 0;
    std::uint32_t largestChunk = 0;
    // Of a segment that is complete:
    std::uint64_t indexPosition = 0;  ///< Of its OpenDML index, if it has one.
    std::uint32_t indexBytes = 0;     ///< With the header.

    void Add(std::uint64_t chunkUnits, std::uint32_t bytes);
  };
  struct Segment {
    std::uint64_t begin = 0;  ///< Of the segment in the file.
    std::uint64_t movie = 0;  ///< Of the word "movi".
    std::uint32_t chunkBytes = 0;
    std::uint32_t indexBytes = 0;  ///< The OpenDML indexes behind the chunks.
    std::uint32_t riffBytes = 0;   ///< What the segment's header states.
    std::vector<Share> shares;

    std::uint64_t ChunksEnd() const { return movie + kListTypeBytes + chunkBytes; }
    std::uint32_t MovieBytes() const { return kListTypeBytes + chunkBytes + indexBytes; }
    std::uint64_t End() const { return begin + kChunkHeaderBytes + riffBytes; }
  };

  FourCc CodeOf(std::size_t stream) const;
  /// The bytes of all indexes of the open segment, if it has that many chunks.
  std::uint64_t IndexBytes(std::uint64_t entries, bool isOpenDml) const;
  /// Whether a chunk of `bytes` and all indexes fit into the open segment.
  bool HasRoomFor(std::uint64_t bytes) const;
  void DropLastChunk();
  void CompleteSegment();
  void BeginNextSegment();
  void MakeRoomForIndex();

  Bytes FileHeaders() const;
  Bytes MainHeader() const;
  Bytes StreamList(std::size_t stream) const;
  /// What both indexes of OpenDML begin with; `base` is what a standard index counts from.
  Bytes IndexHeader(std::uint8_t type, std::uint32_t entryBytes, std::size_t entries,
                    std::size_t stream, std::uint64_t base) const;
  Bytes SuperIndex(std::size_t stream) const;
  Bytes StandardIndex(std::size_t stream) const;
  Bytes FirstIndex() const;

  Output file_;
  AviHeaders headers_;
  AviLimits limits_;
  std::size_t video_ = 0;
  std::vector<Segment> segments_;
  bool isSegmentOpen_ = true;
  bool isOpenDml_ = false;
  bool isFinished_ = false;
  std::vector<IndexEntry> index_;  ///< Of the open segment.
  std::vector<Share> totals_;
};

/// What goes with a video into an AVI.
struct AviCompanions {
  /// The other streams in the order of the file, with a null in the video's place.
  std::vector<std::unique_ptr<PacketSource>> streams;
  std::vector<RiffData> others;  ///< As in AviHeaders.
  std::vector<RiffData> lists;

  std::uint64_t CountSound() const;
};

/// No other stream but one, which may be missing.
AviCompanions CompanionsOf(std::unique_ptr<PacketSource> sound);

/// All that an AVI has besides its video. `reader` must outlive it; `damage` as of AviPackets.
AviCompanions CompanionsOf(const AviReader& reader, const PacketDamage& damage = nullptr);

/// Writes an AVI of a video and what goes with it, side by side: a packet stands before the frame
/// during which it begins.
class AviMuxer {
 public:
  /// Creates the file; throws ToolError (kOutput).
  AviMuxer(std::string name, const AviStreamHeaders& video, AviCompanions companions,
           const AviLimits& limits = {});

  /// Appends a frame of the video, after the packets that go before it. Throws ToolError.
  void WriteFrame(std::span<const std::uint8_t> frame, bool isKeyFrame);

  /// Appends what is left of the other streams and completes the file. Throws ToolError.
  void Finish();

  /// Completes the file with what was written. Throws ToolError.
  void Stop() { writer_.Finish(); }

  /// The same after a failure, as far as it can be done.
  void FinishEarly() noexcept { writer_.FinishEarly(); }

  std::uint32_t Frames() const { return writer_.Chunks(video_); }
  const AviWriter& Writer() const { return writer_; }

 private:
  void WritePackets(std::size_t stream, std::uint64_t until);

  std::vector<std::unique_ptr<PacketSource>> others_;
  std::size_t video_;
  AviWriter writer_;
  PacketSource::Packet packet_;
};

/// Writes an uncompressed AVI.
class AviSink final : public FrameSink {
 public:
  AviSink(std::string name, const ClipFormat& format, AviCompanions companions);

  void Write(std::span<const std::uint8_t> frame) override { muxer_.WriteFrame(frame, true); }
  void Finish() override { muxer_.Finish(); }
  void Stop() override { muxer_.Stop(); }
  std::uint64_t FinishEarly() noexcept override;

 private:
  AviMuxer muxer_;
};

}  // namespace vfwtool
