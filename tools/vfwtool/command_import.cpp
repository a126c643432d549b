#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_writer.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/little_endian.h"
#include "tools/vfwtool/mpeg_headers.h"
#include "tools/vfwtool/mpeg_import.h"
#include "tools/vfwtool/progress.h"
#include "tools/vfwtool/standard_streams.h"
#include "tools/vfwtool/stopwatch.h"
#include "tools/vfwtool/stream_report.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"IN.m2v", "an MPEG-2 video elementary stream, or - for the standard input"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "OUT.avi",
               .help = "the AVI to write; an existing file is replaced",
               .required = true},
    OptionSpec{.name = "--codec",
               .value = "CODE",
               .help = "the code that the AVI states: QIVM (the default) or MMES"},
    OptionSpec{.name = "--rate",
               .value = "RATE",
               .help = "frames a second, such as 25 or 30000/1001 (default: what the stream\n"
                       "states)"},
    kJsonOption,
    kQuietOption,
};

/// The format of the codec's streams: a bitmap header, which is all that a decoder needs.
std::vector<std::uint8_t> StreamFormat(FourCc code, const MpegHeaders& headers) {
  constexpr std::uint32_t kBits = 24;
  std::vector<std::uint8_t> format;
  AppendLittleEndian32(format, kBitmapHeaderBytes);
  AppendLittleEndian32(format, headers.width);
  AppendLittleEndian32(format, headers.height);
  AppendLittleEndian16(format, 1);  // Planes.
  AppendLittleEndian16(format, kBits);
  AppendLittleEndian32(format, code);
  AppendLittleEndian32(format, headers.width * headers.height * kBits / 8);
  format.resize(kBitmapHeaderBytes);
  return format;
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value("--output");
  const FourCc code = FourCcArgument(arguments, "--codec").value_or(kDefaultCodec);
  const std::optional<FrameRate> rate = FrameRateArgument(arguments, "--rate");
  if (output == kStandardStream) {
    throw ToolError(ExitCode::kUsage,
                    "an AVI cannot be written to the standard output; name a file");
  }
  RequireDifferentFiles(input, output);
  const bool isStandard = input == kStandardStream;
  const std::string shownName = isStandard ? "standard input" : input;
  std::ifstream file;
  if (!isStandard) {
    file = OpenInput(input);
  }
  MpegFrameReader reader(isStandard ? BinaryInput(streams) : file, shownName);
  std::vector<std::uint8_t> frame;
  if (!reader.Next(frame)) {
    throw ToolError(ExitCode::kInput, Concat(shownName, ": has no pictures"));
  }
  const MpegHeaders first = ReadMpegHeaders(frame);
  RequireDecodable(first, shownName, 1);
  StreamReport report{.action = "imported",
                      .input = input,
                      .output = output,
                      .width = first.width,
                      .height = first.height,
                      .rate = rate.value_or(first.rate)};
  if (report.rate.numerator == 0) {
    throw ToolError(ExitCode::kInput,
                    Concat(shownName, ": states no frame rate; tell it by --rate"));
  }
  AviWriter writer(output,
                   {.bitmap = StreamFormat(code, first), .handler = code, .rate = report.rate});
  {
    const Stopwatch total;
    Progress progress(streams.errors, ProgressStyle(arguments, streams), std::nullopt);
    do {
      const MpegHeaders headers = ReadMpegHeaders(frame);
      RequireDecodable(headers, shownName, report.frames + 1);
      if (headers.width != first.width || headers.height != first.height) {
        throw ToolError(
            ExitCode::kInput,
            Concat(shownName, ": the pictures change from ", first.width, 'x', first.height, " to ",
                   headers.width, 'x', headers.height, " at frame ", report.frames + 1));
      }
      writer.Write(frame, true);
      ++report.frames;
      progress.Update(report.frames, total.SecondsSinceStart());
    } while (reader.Next(frame));
    writer.Finish();
  }
  report.outputBytes = FileBytes(output).value_or(0);
  PrintReport(report, arguments, streams.output);
}

}  // namespace

constinit const Command kImportCommand = {
    .name = "import",
    .summary = "turn an intra-only 4:2:2 MPEG-2 stream into an AVI of this codec",
    .usage = "IN.m2v -o OUT.avi [options]",
    .description =
        "Takes an MPEG-2 video elementary stream apart at its pictures and writes them as an AVI\n"
        "of this codec, without coding anything anew. Frames that lack a sequence header get a\n"
        "copy of the last one. A stream that the codec would not decode to the right pictures is\n"
        "refused with the reason; frames before the refused one stay in the AVI. What only the\n"
        "coefficients themselves would show (a macroblock that switches to code 16 of the linear\n"
        "quantiser scale, or rows that begin left but have gaps) is not looked for.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool import clip.m2v -o clip.avi\n"
        "  ffmpeg -i film.mov -c:v mpeg2video -pix_fmt yuv422p -g 1 -intra_vlc 1 -q:v 2 \\\n"
        "      -f mpeg2video - | vfwtool import - -o film.avi",
    .run = Run,
};

}  // namespace qivm
