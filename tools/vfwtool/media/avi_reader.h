#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/media/avi_index.h"

namespace vfwtool {

/// Reads all streams of an AVI of any size, whole or damaged. Its video is the first video stream.
///
/// This is the tool's own rather than AVIFile's, which reads the first segment of a file alone and
/// says nothing of the others.
class AviReader {
 public:
  /// Throws ToolError (kInput) when the file cannot be read or has no video.
  explicit AviReader(const std::string& name);

  /// The same for a file that may lack headers, or have some that cannot be used: those of
  /// `lender`, a file with the same streams, serve in their place.
  AviReader(const std::string& name, const AviReader& lender);

  /// Reads `file`, of `fileBytes`; `name` is used in messages.
  AviReader(std::unique_ptr<std::istream> file, std::uint64_t fileBytes, std::string name,
            const AviHeaders* lent);

  const std::string& Name() const { return name_; }
  std::uint64_t FileSize() const { return fileBytes_; }

  const AviHeaders& Headers() const { return headers_; }
  /// The streams whose headers are the lender's.
  const std::vector<std::size_t>& LentStreams() const { return lentStreams_; }
  const AviContents& Contents() const { return contents_; }
  /// The contents of the streams' "indx"; empty where there is none.
  const std::vector<Bytes>& SuperIndexes() const { return superIndexes_; }
  RiffFile File() const { return {*stream_, fileBytes_}; }

  /// The bytes of a chunk of any stream; false when the file cannot be read there.
  bool Read(const AviChunk& chunk, Bytes& bytes) const;

  /// The streams of sound, in the file's order.
  std::vector<std::size_t> SoundStreams() const;

  // Of the video:

  std::size_t VideoStream() const { return video_; }
  const AviStreamHeaders& Video() const { return headers_.streams[video_]; }
  /// A bitmap header with all that follows it.
  const Bytes& Format() const { return Video().format; }
  FourCc Handler() const { return Video().Field(StreamField::kHandler); }
  FrameRate Rate() const { return Video().Rate(); }

  std::uint32_t FrameCount() const { return static_cast<std::uint32_t>(Frames().size()); }
  const std::vector<AviChunk>& Frames() const { return contents_.streams[video_]; }
  /// `index` counts from 0. An empty frame repeats the one before.
  const AviChunk& Frame(std::uint32_t index) const { return Frames().at(index); }

  /// Every frame of this codec is a key frame unless it is empty, whatever an index says: how many
  /// there are that it does not mark so.
  std::uint32_t UnmarkedKeyFrames() const { return unmarkedKeyFrames_; }

  /// Reads a frame; valid until the next one. Throws ToolError (kInput).
  std::span<std::uint8_t> ReadFrame(std::uint32_t index);

 private:
  bool ReadHeaders(const RiffFile& file);
  void ReadHeaderList(const RiffFile& file, const RiffChunk& list);
  void ReadStream(const RiffFile& file, const RiffChunk& list);
  void Lend(const AviHeaders& lent);
  void RequireVideo();
  void KeepWholeSamples();
  void MarkKeyFrames();

  std::string name_;
  std::unique_ptr<std::istream> stream_;
  std::uint64_t fileBytes_;
  AviHeaders headers_;
  std::vector<Bytes> superIndexes_;
  std::vector<std::size_t> lentStreams_;
  AviContents contents_;
  std::size_t video_ = 0;
  std::uint32_t unmarkedKeyFrames_ = 0;
  Bytes frame_;
};

}  // namespace vfwtool
