#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/clip.h"

namespace qivm {

/// Writes the pixels of the frames and nothing else: rows from the top down, without padding,
/// frame after frame.
class RawSink final : public FrameSink {
 public:
  /// `stream` must outlive the sink. `name` is used in messages.
  RawSink(std::ostream& stream, std::string name, const FrameLayout& layout);

  void Write(std::span<const std::uint8_t> frame) override;
  void Finish() override;

 private:
  std::ostream& stream_;
  std::string name_;
  FrameLayout layout_;
  std::vector<std::uint8_t> pixels_;
};

}  // namespace qivm
