#pragma once

#include <string>
#include <vector>

#include "tests/interop/bytes.h"

namespace qivm::interop {

using Arguments = std::vector<std::string>;

/// Arguments one after another.
Arguments operator+(Arguments first, const Arguments& second);

/// What ffmpeg wrote.
struct FfmpegOutput {
  Bytes data;            ///< on standard output
  std::string messages;  ///< warnings and errors
};

/// Runs the installed ffmpeg with `-v warning`, `input` on its standard input and its output to
/// "pipe:1" if the arguments say so. Throws std::runtime_error, with ffmpeg's messages, when it
/// cannot be started or does not end with 0.
FfmpegOutput RunFfmpeg(const Arguments& arguments, const Bytes& input = {});

/// `frames` pictures that ffmpeg generates by a filter graph (no input files), encoded as
/// intra-only 4:2:2 MPEG-2 with intra_vlc_format 1 and the given further encoder options.
Bytes EncodeWithFfmpeg(const std::string& graph, int frames, const Arguments& options);

/// `frames` pictures of a filter graph, uncompressed, in one of ffmpeg's pixel formats.
Bytes GenerateWithFfmpeg(const std::string& graph, int frames, const std::string& pixelFormat);

/// A filter graph's text with a size put in: each "SIZE" becomes WIDTHxHEIGHT.
std::string GraphOfSize(std::string graph, Size size);

/// All pictures of an MPEG-2 elementary stream as planar 4:2:2, one after another: Y, Cb, Cr.
FfmpegOutput DecodeWithFfmpeg(const Bytes& stream);

}  // namespace qivm::interop
