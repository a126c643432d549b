#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/mpeg_export.h"
#include "tools/vfwtool/mpeg_headers.h"
#include "tools/vfwtool/progress.h"
#include "tools/vfwtool/standard_streams.h"
#include "tools/vfwtool/stopwatch.h"
#include "tools/vfwtool/stream_report.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr OptionSpec kSetRateOption = {
    .name = "--set-rate",
    .help =
        "state the AVI's frame rate in the stream, if it is one that MPEG-2 has\n"
        "(else every frame states 25 frames a second, as the codec writes it)"};

constexpr std::array kOperands = {
    OperandSpec{"IN.avi", "an AVI of this codec (QIVM or MMES)"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "OUT.m2v",
               .help = "the stream to write, or - for the standard output; an existing file\n"
                       "is replaced",
               .required = true},
    kSetRateOption,
    kJsonOption,
    kQuietOption,
};

std::optional<std::uint32_t> FrameRateCode(const Arguments& arguments, const FrameRate& rate) {
  if (!arguments.Has(kSetRateOption.name)) {
    return std::nullopt;
  }
  const std::uint32_t code = CodeOfRate(rate);
  if (code == 0) {
    throw ToolError(
        ExitCode::kInput,
        Concat("the AVI has ", rate.Text(),
               " frames/s, for which MPEG-2 has no code; export it without ", kSetRateOption.name));
  }
  return code;
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value("--output");
  RequireDifferentFiles(input, output);
  AviReader reader(input);
  if (reader.FrameCount() == 0) {
    throw ToolError(ExitCode::kInput, Concat(input, ": has no frames"));
  }
  const std::optional<std::uint32_t> rateCode = FrameRateCode(arguments, reader.Rate());
  const MpegHeaders headers = ReadMpegHeaders(reader.ReadFrame(0));
  StreamReport report{.action = "exported",
                      .input = input,
                      .output = output,
                      .width = headers.width,
                      .height = headers.height,
                      .rate = rateCode ? reader.Rate() : headers.rate};
  const bool isStandard = output == kStandardStream;
  std::ofstream file;
  if (!isStandard) {
    file = OpenOutput(output);
  }
  MpegExporter exporter(isStandard ? BinaryOutput(streams) : file,
                        isStandard ? "standard output" : output, rateCode);
  {
    const Stopwatch total;
    Progress progress(streams.errors, ProgressStyle(arguments, streams), reader.FrameCount());
    for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
      exporter.Write(reader.ReadFrame(i));
      progress.Update(exporter.Frames(), total.SecondsSinceStart());
    }
    exporter.Finish();
  }
  report.frames = exporter.Frames();
  report.outputBytes = exporter.Bytes();
  if (!(report.rate == reader.Rate()) && !arguments.Has(kQuietOption.name)) {
    streams.errors << "the stream states " << report.rate.Text() << " frames/s, the AVI "
                   << reader.Rate().Text() << "; see " << kSetRateOption.name << '\n';
  }
  PrintReport(report, arguments, isStandard ? streams.errors : streams.output);
}

}  // namespace

constinit const Command kExportCommand = {
    .name = "export",
    .summary = "turn an AVI of this codec into a standard MPEG-2 stream",
    .usage = "IN.avi -o OUT.m2v [options]",
    .description =
        "Writes the frames of an AVI of this codec one after another as an MPEG-2 video\n"
        "elementary stream that any MPEG-2 decoder reads. Nothing is decoded or coded anew: the\n"
        "one bit of each frame in which the codec departs from the standard is set, and all else\n"
        "stays as it is. With - as output, the result goes to the standard error stream.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool export clip.avi -o clip.m2v\n"
        "  vfwtool export clip.avi -o - --set-rate | ffplay -f mpegvideo -",
    .run = Run,
};

}  // namespace qivm
