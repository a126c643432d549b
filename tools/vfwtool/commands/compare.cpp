#include <array>
#include <limits>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"
#include "tools/vfwtool/media/comparison.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"FIRST", "a Y4M clip (4:2:2 with 8 bits a sample), or an\nAVI, compressed or not"},
    OperandSpec{"SECOND", "likewise, of the same size"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "to what compressed AVIs are decompressed: yuy2\n(the default), uyvy, rgb24 "
                       "or rgb32"},
    OptionSpec{.name = "--frames",
               .value = "NUMBER",
               .help = "compare that many frames from the beginning\n(default: all)"},
    kKeepGoingOption,
    kJsonOption,
};

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& first = arguments.Operand(0);
  const std::string& second = arguments.Operand(1);
  const PixelFormat format = arguments.Format("--format").value_or(PixelFormat::kYuy2);
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  const std::uint32_t frames = arguments.Number("--frames", 1, kMost).value_or(kMost);
  if (first == kStandardStream && second == kStandardStream) {
    RefuseUsage("only one clip can come from the standard input");
  }
  DamageLog log = MakeDamageLog(arguments, streams);
  const OpenedClip a = OpenClip(first, {.decoded = format}, log, streams);
  const OpenedClip b = OpenClip(second, {.decoded = format}, log, streams);
  ComparisonReport report = CompareClips(*a.source, *b.source, frames);
  report.first = first;
  report.second = second;
  if (a.avi != nullptr && b.avi != nullptr) {
    report.sound = CompareSound(*a.avi, *b.avi, report.frames, log.OfPackets());
  }
  PrintReport(report, arguments, streams.output);
  log.RequireNone(Concat(first, " and ", second));
}

}  // namespace

constinit const Command kCompareCommand = {
    .name = "compare",
    .summary = "measure how far two clips are apart (PSNR, SSIM)",
    .description =
        "Compares two clips of the same size and length frame by frame and prints the PSNR of "
        "every component and of all samples together, the worst frame, and the SSIM: that of the "
        "luminance, for RGB clips the mean of the three colours. Of two AVIs it also says whether "
        "their sound is the same, byte for byte.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool compare source.y4m clip.avi\n"
        "  vfwtool compare raw.avi clip.avi --format rgb24 --json",
    .run = Run,
};

}  // namespace vfwtool
