#pragma once

#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/command.h"

namespace qivm {

/// A clip opened for reading, with the file behind it.
struct OpenedClip {
  std::unique_ptr<std::ifstream> file;  ///< Of a Y4M clip from a file.
  std::unique_ptr<FrameSource> source;
};

/// True when the file begins as an AVI does; throws ToolError (kInput) when it cannot be opened.
bool IsAviFile(const std::string& name);

/// Opens an uncompressed AVI or a Y4M clip, told apart by their first bytes; "-" is a Y4M clip on
/// the standard input. Its frames come in `format` where that is given. Throws ToolError.
OpenedClip OpenClip(const std::string& name, std::optional<PixelFormat> format,
                    const ToolStreams& streams);

/// How frames are stored in a file.
enum class ClipKind { kY4m, kAvi, kRaw, kBmp, kPng };

/// A clip opened for writing, with the file behind it.
struct CreatedClip {
  std::unique_ptr<std::ofstream> file;  ///< Of a Y4M or raw clip in a file.
  std::unique_ptr<FrameSink> sink;
};

/// Creates a clip of any kind but kPng, for which there is PngSink; "-" is the standard output, for
/// kY4m and kRaw. Throws ToolError.
CreatedClip CreateClip(const std::string& name, ClipKind kind, const ClipFormat& format,
                       const ToolStreams& streams);

}  // namespace qivm
