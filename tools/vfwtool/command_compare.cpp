#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "tools/vfwtool/clip_comparison.h"
#include "tools/vfwtool/clip_files.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/decoding_source.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr const char* kClipHelp =
    "a Y4M clip (4:2:2 with 8 bits a sample), or an AVI, compressed or not";

constexpr std::array kOperands = {
    OperandSpec{"FIRST", kClipHelp},
    OperandSpec{"SECOND", "likewise, of the same size"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "to what compressed AVIs are decompressed: yuy2 (the default), uyvy,\n"
                       "rgb24 or rgb32"},
    OptionSpec{.name = "--frames",
               .value = "NUMBER",
               .help = "compare that many frames from the beginning (default: all)"},
    kJsonOption,
};

OpenedClip OpenToCompare(const std::string& name, PixelFormat format, const ToolStreams& streams) {
  return IsCompressedAvi(name) ? OpenAnyClip(name, format, streams)
                               : OpenClip(name, std::nullopt, streams);
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& first = arguments.Operand(0);
  const std::string& second = arguments.Operand(1);
  const PixelFormat format =
      PixelFormatArgument(arguments, "--format").value_or(PixelFormat::kYuy2);
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  const std::uint32_t frames = arguments.Number("--frames", 1, kMost).value_or(kMost);
  if (first == kStandardStream && second == kStandardStream) {
    throw ToolError(ExitCode::kUsage, "only one clip can come from the standard input");
  }
  const OpenedClip a = OpenToCompare(first, format, streams);
  const OpenedClip b = OpenToCompare(second, format, streams);
  ComparisonReport report = CompareClips(*a.source, *b.source, frames);
  report.first = first;
  report.second = second;
  PrintReport(report, arguments, streams.output);
}

}  // namespace

constinit const Command kCompareCommand = {
    .name = "compare",
    .summary = "measure how far two clips are apart (PSNR, SSIM)",
    .usage = "FIRST SECOND [options]",
    .description =
        "Compares two clips of the same size and length frame by frame and prints the PSNR of\n"
        "every component and of all samples together, the worst frame, and the SSIM: that of the\n"
        "luminance, for RGB clips the mean of the three colours.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool compare source.y4m clip.avi\n"
        "  vfwtool compare raw.avi clip.avi --format rgb24 --json",
    .run = Run,
};

}  // namespace qivm
