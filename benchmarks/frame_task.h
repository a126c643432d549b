#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kernels/client_format.h"

namespace qivm::bench {

/// What a program that times whole frames is asked to do.
struct FrameTask {
  enum class Direction { decode, encode };

  Direction direction = Direction::decode;
  int width = 0;
  int height = 0;
  ClientFormat format = ClientFormat::yuy2;
  std::uint32_t quality = 8000;  ///< of the frames to encode, 0 to 10000
  std::string input;             ///< file of bitmaps (encode) or elementary stream (decode)
  std::string output;            ///< file for what comes of the input; empty for none
  double seconds = 1;            ///< for how long to repeat the input, at least
  unsigned threads = 1;          ///< for codecs that can be told
  std::string tier;              ///< of kernels, for codecs that can be told; empty: the machine's
  std::string driver;            ///< the driver's file, for the codec that is one

  std::size_t Pixels() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  std::size_t BitmapBytes() const;
  BitmapInfoHeader BitmapHeader() const;
};

/// Reads a command line (without the program's name): "decode" or "encode", the input, options as
/// pairs of name and value. Throws std::runtime_error, saying what is wrong.
FrameTask ParseFrameTask(const std::vector<std::string>& arguments);

/// "yuy2", "rgb24" or "rgb32".
std::string_view FormatName(ClientFormat format);

}  // namespace qivm::bench
