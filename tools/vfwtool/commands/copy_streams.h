#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tools/vfwtool/commands/transfer.h"

namespace vfwtool {

/// What of an input goes into the output.
struct CopiedPart {
  std::unique_ptr<AviReader> reader;
  std::uint32_t begin = 0;   ///< The first frame,
  std::uint32_t end = 0;     ///< and the one behind the last.
  std::uint64_t before = 0;  ///< Frames that stand before it in the output.
  bool isCutAtEnd = false;   ///< Its other streams end with its last frame.

  std::uint32_t Frames() const { return end - begin; }
};

/// All that goes with the video of the parts, each stream cut and joined at the moments at which
/// the video is; says on the error stream where that cannot be done. `video` has the headers that
/// the output gets. The parts and `log` must outlive it.
AviCompanions JoinCompanions(const std::vector<CopiedPart>& parts, const AviStreamHeaders& video,
                             DamageLog& log, const ToolStreams& streams);

}  // namespace vfwtool
