#pragma once

#include <cstdint>
#include <string>

#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/json.h"

namespace qivm {

/// What came of exporting or importing an MPEG-2 stream.
struct StreamReport {
  std::string action;  ///< "exported" or "imported".
  std::string input;
  std::string output;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;  ///< Of the output.
  std::uint64_t frames = 0;
  std::uint64_t outputBytes = 0;

  /// One line for people, ended.
  std::string Text() const;
  JsonObject Json() const;
};

}  // namespace qivm
