#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string_view>

#include "tools/vfwtool/arguments.h"
#include "tools/vfwtool/clip.h"
#include "tools/vfwtool/command.h"
#include "tools/vfwtool/four_cc.h"
#include "tools/vfwtool/json.h"
#include "tools/vfwtool/pixel_format.h"
#include "tools/vfwtool/progress.h"

namespace qivm {

// Options that mean the same in every command that has them.

inline constexpr OptionSpec kJsonOption = {.name = "--json",
                                           .help = "print the result as one JSON object"};
inline constexpr OptionSpec kQuietOption = {
    .name = "--quiet",
    .letter = "-q",
    .help = "print no progress, no remarks and, without --json, no result"};

/// The codec that a command works with unless it is told otherwise.
inline constexpr FourCc kDefaultCodec = MakeFourCc("QIVM");
inline constexpr OptionSpec kCodecOption = {
    .name = "--codec", .value = "CODE", .help = "the code of the codec (default: QIVM)"};

inline constexpr std::uint32_t kBestQuality = 10000;
inline constexpr OptionSpec kQualityOption = {
    .name = "--quality",
    .value = "NUMBER",
    .help = "0 (smallest frames) to 10000 (best pictures); default: the codec's own"};

/// The value of an option that takes a pixel format; throws ToolError (kUsage) when it is none.
std::optional<PixelFormat> PixelFormatArgument(const Arguments& arguments, std::string_view option);

/// The value of an option that takes a codec's code; throws ToolError (kUsage) when it is none.
std::optional<FourCc> FourCcArgument(const Arguments& arguments, std::string_view option);

/// The value of an option that takes frames a second, as "25" or "30000/1001"; throws ToolError
/// (kUsage) when it is none.
std::optional<FrameRate> FrameRateArgument(const Arguments& arguments, std::string_view option);

/// Width and height of a picture.
struct PictureSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool operator==(const PictureSize&) const = default;
};

/// The value of an option that takes a size such as 720x576, with an even width; throws ToolError
/// (kUsage) when it is none.
std::optional<PictureSize> SizeArgument(const Arguments& arguments, std::string_view option);

/// How a command with kQuietOption shows its progress.
Progress::Style ProgressStyle(const Arguments& arguments, const ToolStreams& streams);

/// Prints a result as kJsonOption and kQuietOption ask for: `report` has Text and Json.
template <typename Report>
void PrintReport(const Report& report, const Arguments& arguments, std::ostream& stream) {
  if (arguments.Has(kJsonOption.name)) {
    stream << report.Json().Print() << '\n';
  } else if (!arguments.Has(kQuietOption.name)) {
    stream << report.Text();
  }
}

}  // namespace qivm
