#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "benchmarks/frame_task.h"

namespace qivm::bench {

/// A codec of single frames as the programs that time frames use it (frame_bench.cpp has their
/// main function). All functions throw std::runtime_error when the codec refuses.
class FrameCodec {
 public:
  FrameCodec() = default;
  virtual ~FrameCodec() = default;
  FrameCodec(const FrameCodec&) = delete;
  FrameCodec& operator=(const FrameCodec&) = delete;

  /// Decodes one frame into a bitmap of the task's format and size.
  virtual void Decode(std::span<const std::uint8_t> frame, std::span<std::uint8_t> bitmap) = 0;
  /// Codes one bitmap; the number of bytes written to `frame`, which has three for each pixel.
  virtual std::size_t Encode(std::span<const std::uint8_t> bitmap,
                             std::span<std::uint8_t> frame) = 0;
};

/// The program's codec, ready for the task. Each program brings its own.
std::unique_ptr<FrameCodec> MakeFrameCodec(const FrameTask& task);

}  // namespace qivm::bench
