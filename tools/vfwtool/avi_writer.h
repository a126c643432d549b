#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_limits.h"
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

/// Writes an AVI of one video stream with an index.
///
/// This is the tool's own rather than AVIFile's so that the headers are right wherever it runs
/// (wine's AVIFile states the frame duration upside down) and a full disk is noticed on closing,
/// of which AVIFile says nothing.
class AviWriter {
 public:
  /// Creates the file, or empties it; throws ToolError (kOutput). The file takes `maxBytes` at
  /// most.
  AviWriter(std::string name, AviStreamFormat format, std::uint64_t maxBytes = kMaxAviBytes);
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

 private:
  std::vector<std::uint8_t> Headers() const;
  /// The position behind the last frame.
  std::uint64_t FramesEnd() const;

  std::string name_;
  AviStreamFormat format_;
  std::uint64_t maxBytes_;
  std::ofstream file_;
  std::vector<std::uint8_t> index_;
  std::uint32_t frames_ = 0;
  std::uint32_t largestFrame_ = 0;
  std::uint32_t headerBytes_ = 0;  ///< All that comes before the first frame.
  std::uint32_t movieBytes_ = 4;   ///< The list of frames, its type ("movi") included.
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
