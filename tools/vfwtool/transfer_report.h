#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/codec_description.h"
#include "tools/vfwtool/size_statistics.h"

namespace qivm {

/// What came of recording or playing a clip.
struct TransferReport {
  std::string action;  ///< "recorded" or "played".
  std::string input;
  std::string output;
  CodecDescription codec;
  ClipFormat format;  ///< Of the uncompressed side.
  /// Recording only: the quality asked for, 0 to 10000; empty when it was left to the codec.
  std::optional<std::uint32_t> quality{};
  SizeStatistics compressed{};  ///< Sizes of the compressed frames.
  /// The size of the output, where it is a file.
  std::optional<std::uint64_t> outputBytes{};
  double codecSeconds = 0;  ///< Spent inside the codec's frame calls.
  double totalSeconds = 0;  ///< Spent on the frames altogether, reading and writing included.

  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

}  // namespace qivm
