#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/four_cc.h"

namespace qivm {

/// What the headers of an AVI of one video stream are made of.
struct AviStreamFormat {
  std::vector<std::uint8_t> bitmap{};  ///< A BITMAPINFOHEADER with all that follows it.
  FourCc handler = 0;                  ///< The code of the codec.
  FrameRate rate;
  bool isCompressed = true;
};

/// How large an AVI gets.
struct AviLimits {
  /// What AVIFile reads: it holds file positions in signed 32-bit numbers.
  std::uint64_t firstSegmentBytes = 0x7FFFFFFF;
  /// What OpenDML recommends for all further segments.
  std::uint64_t nextSegmentBytes = 0x40000000;
  std::size_t segments = 120;

  std::uint64_t Total() const { return firstSegmentBytes + (segments - 1) * nextSegmentBytes; }
};

/// Writes an AVI of one video stream with an index. One that outgrows the first segment goes on in
/// further ones and becomes an OpenDML AVI; any other is an ordinary AVI.
///
/// This is the tool's own rather than AVIFile's so that the headers are right wherever it runs
/// (wine's AVIFile states the frame duration upside down), a full disk is noticed on closing, of
/// which AVIFile says nothing, and files get larger than 2 GB.
class AviWriter {
 public:
  /// Creates the file, or empties it; throws ToolError (kOutput).
  AviWriter(std::string name, AviStreamFormat format, const AviLimits& limits = {});
  AviWriter(const AviWriter&) = delete;
  AviWriter& operator=(const AviWriter&) = delete;
  /// Completes the file as far as it goes when Finish was not called; one without frames is
  /// removed.
  ~AviWriter();

  /// Appends a frame. Throws ToolError (kOutput), or ToolError (kSizeLimit) when the file would
  /// become too large; it then has all frames so far.
  void Write(std::span<const std::uint8_t> frame, bool isKeyFrame);

  /// Writes the index and the final headers and closes the file; throws ToolError (kOutput).
  void Finish();

  /// The number of segments so far; more than one in an OpenDML AVI.
  std::size_t Segments() const { return segments_.size(); }

 private:
  struct IndexEntry {
    std::uint32_t offset = 0;  ///< Of the chunk, from the word "movi".
    std::uint32_t bytes = 0;
    bool isKeyFrame = true;
  };
  struct Segment {
    std::uint64_t begin = 0;  ///< Of the segment in the file.
    std::uint64_t movie = 0;  ///< Of the word "movi".
    std::uint32_t frames = 0;
    std::uint32_t frameBytes = 0;  ///< All frames as chunks.
    // Known when the segment is complete:
    std::uint32_t standardIndexBytes =
        0;                        ///< The OpenDML index behind the frames, if there is one.
    std::uint32_t riffBytes = 0;  ///< What the segment's header states.

    std::uint64_t FramesEnd() const { return movie + kListTypeBytes + frameBytes; }
    std::uint32_t MovieBytes() const { return kListTypeBytes + frameBytes + standardIndexBytes; }
  };

  FourCc FrameCode() const;
  /// The bytes of the current segment if frames of `chunkBytes` and `frames` entries were added.
  std::uint64_t SegmentBytes(std::uint64_t chunkBytes, std::uint64_t frames) const;
  std::vector<std::uint8_t> Headers() const;
  std::vector<std::uint8_t> StreamList() const;
  /// What both indexes of OpenDML begin with; `base` is what a standard index counts from.
  std::vector<std::uint8_t> IndexHeader(std::uint8_t type, std::uint32_t entryBytes,
                                        std::size_t entries, std::uint64_t base) const;
  std::vector<std::uint8_t> SuperIndex() const;
  std::vector<std::uint8_t> StandardIndex() const;
  std::vector<std::uint8_t> FirstIndex() const;
  void CompleteSegment(bool isOpenDml);
  void BeginNextSegment();

  std::string name_;
  AviStreamFormat format_;
  AviLimits limits_;
  std::ofstream file_;
  std::vector<Segment> segments_;
  std::vector<IndexEntry> index_;  ///< Of the current segment.
  std::uint32_t frames_ = 0;
  std::uint32_t largestFrame_ = 0;
};

/// Writes an uncompressed AVI.
class AviSink final : public FrameSink {
 public:
  AviSink(const std::string& name, const ClipFormat& format);

  void Write(std::span<const std::uint8_t> frame) override { writer_.Write(frame, true); }
  void Finish() override { writer_.Finish(); }

 private:
  AviWriter writer_;
};

}  // namespace qivm
