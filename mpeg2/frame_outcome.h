#pragma once

#include <cstdint>

namespace qivm {

/// What became of a frame that a context was given.
enum class FrameOutcome : std::uint8_t {
  done,        ///< coded, or decoded as far as there is something to decode
  refused,     ///< something is missing, or the frame is not of the begun format
  doesNotFit,  ///< larger than its output at the coarsest quantiser; compressing only
  faulted,     ///< a processor fault ended it: a buffer that is not there, or a stream to turn away
};

}  // namespace qivm
