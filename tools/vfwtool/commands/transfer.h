#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/codecs/avi_source.h"
#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/media/avi_writer.h"
#include "tools/vfwtool/media/wav.h"

namespace vfwtool {

/// The sizes of a clip's frames in bytes.
class SizeStatistics {
 public:
  void Add(std::uint64_t bytes);

  std::uint64_t Count() const { return count_; }
  std::uint64_t Total() const { return total_; }
  /// The extremes and the mean; 0 while nothing was added.
  std::uint64_t Smallest() const { return smallest_; }
  std::uint64_t Largest() const { return largest_; }
  double Mean() const;

  /// "2.02 Mbit a frame (smallest 0.20 MB, largest 0.26 MB)"
  std::string Text() const;
  JsonObject Json() const;

 private:
  std::uint64_t count_ = 0;
  std::uint64_t total_ = 0;
  std::uint64_t smallest_ = 0;
  std::uint64_t largest_ = 0;
};

/// What came of a command that writes. What is empty has no place in the report.
struct TransferReport {
  std::string action;  ///< "recorded", "played", ...
  std::string input;
  std::string output;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;  ///< Of the output.
  std::uint64_t frames = 0;
  std::optional<PixelFormat> pixelFormat{};  ///< Of the uncompressed side.
  std::optional<CodecDescription> codec{};
  std::optional<std::uint32_t> quality{};      ///< 0 to 10000.
  std::optional<SizeStatistics> compressed{};  ///< Sizes of the compressed frames.
  std::optional<double> codecSeconds{};        ///< Spent inside the codec's frame calls.
  std::uint64_t soundStreams = 0;              ///< In the output, or in the file of --sound.
  std::uint64_t damagedFrames = 0;
  std::uint64_t damagedPackets = 0;
  /// The size of the output, where it is a file.
  std::optional<std::uint64_t> outputBytes{};
  double totalSeconds = 0;  ///< Spent on the frames altogether, reading and writing included.

  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

/// The course of a command that writes: frame by frame until the input ends, the user stops it or
/// something fails; in every case the output is completed, and the user told what there is of it.
class Transfer {
 public:
  /// To be made before anything is opened: from then on Ctrl-C is noted and not the end.
  Transfer(const Arguments& arguments, const ToolStreams& streams)
      : arguments_(arguments), streams_(streams) {}

  /// Calls a function that opens the input; throws ToolError (kInterrupted) when the user stops it.
  void Open(const std::function<void()>& open) const;

  /// What is done for each frame, and at the end.
  struct Steps {
    std::function<bool()> read;   ///< The next frame; false at the end.
    std::function<void()> write;  ///< What was read.
    // One of these, in the sense of FrameSink:
    std::function<void()> finish;
    std::function<void()> stop;
    std::function<std::uint64_t()> finishEarly;
  };

  /// Goes through the frames; `total` is their number, where it is known. Fills in the report's
  /// frames and times. A failure is thrown with what there is of the output.
  void Run(const Steps& steps, std::optional<std::uint64_t> total, TransferReport& report) const;

  /// Prints the report, to the error stream where the output is the standard output, and throws
  /// ToolError when the user stopped the work or there was damage.
  void Conclude(TransferReport& report, const DamageLog& log) const;

 private:
  const Arguments& arguments_;
  const ToolStreams& streams_;
  InterruptionWatch watch_;
};

/// The log that --keep-going asks for.
DamageLog MakeDamageLog(const Arguments& arguments, const ToolStreams& streams);

/// A clip opened for reading, with the file behind it.
struct OpenedClip {
  std::unique_ptr<Input> file;       ///< Of a Y4M clip.
  std::unique_ptr<AviReader> avi;    ///< Of an AVI.
  const AviSource* video = nullptr;  ///< Likewise: what `source` reads.
  std::unique_ptr<FrameSource> source;
};

/// In which formats the frames of a clip are wanted.
struct WantedFormats {
  /// Those of a compressed AVI.
  PixelFormat decoded = PixelFormat::kYuy2;
  /// All others; their own where it is empty.
  std::optional<PixelFormat> uncompressed{};
};
inline WantedFormats AllIn(std::optional<PixelFormat> format) {
  return {format.value_or(PixelFormat::kYuy2), format};
}

/// Opens an AVI and names what of it is lost. `log` must outlive the clip. Throws ToolError.
OpenedClip OpenAviClip(const std::string& name, const WantedFormats& formats, DamageLog& log,
                       const ToolStreams& streams);

/// Opens a clip of any kind, told apart by its first byte: a Y4M clip, or an AVI; "-" is a Y4M clip
/// on the standard input. `log` must outlive the clip. Throws ToolError.
OpenedClip OpenClip(const std::string& name, const WantedFormats& formats, DamageLog& log,
                    const ToolStreams& streams);

/// How frames are stored in a file.
enum class ClipKind { kY4m, kAvi, kRaw, kBmp, kPng };

/// A clip opened for writing, with the file behind it.
struct CreatedClip {
  std::unique_ptr<Output> file;  ///< Of a Y4M or raw clip.
  std::unique_ptr<FrameSink> sink;
};

/// Creates a clip; "-" is the standard output, for kY4m and kRaw. `companions` go with the frames
/// of kAvi. Throws ToolError.
CreatedClip CreateClip(const std::string& name, ClipKind kind, const ClipFormat& format,
                       AviCompanions companions, const ToolStreams& streams);

/// Throws ToolError (kUsage) when the output is the standard output, which no AVI can go to, or is
/// one of the operands or the sound that goes into it.
void RequireAviOutput(const std::string& output, const Arguments& arguments);

/// Says on the error stream when a written AVI has more segments than all programs see.
void RemarkOnSegments(const AviWriter& writer, const std::string& output,
                      const Arguments& arguments, const ToolStreams& streams);

/// Says on the error stream, and notes in the log, what of a damaged file nothing comes of: bytes
/// among its chunks that are none, streams without headers, and what it breaks off in the middle
/// of.
void NameLosses(const AviReader& reader, DamageLog& log, const ToolStreams& streams);

/// What a stream of an AVI is, such as "sound stream 1 (PCM, 48000 Hz, 2 channels, 16 bits)".
std::string StreamText(const AviReader& reader, std::size_t stream);

/// The sound that --sound and --sound-stream of a command ask for, where its output has no place
/// for it; null where they do not. Every other stream that gets lost is named on the error stream.
/// Throws ToolError when there is no such sound, or a file of it cannot be written. `log` must
/// outlive the track.
std::unique_ptr<WavTrack> CreateSound(const AviReader& reader, const Arguments& arguments,
                                      DamageLog& log, const ToolStreams& streams);

}  // namespace vfwtool
