#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tools/vfwtool/avi_writer.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/compressor.h"
#include "tools/vfwtool/decoding_source.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/interruption.h"
#include "tools/vfwtool/progress.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/transfer_report.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"INPUT",
                "the clip to compress: a Y4M clip (4:2:2 with 8 bits a sample), an AVI,\n"
                "uncompressed (yuy2, uyvy, rgb24 or rgb32) or of an installed codec, or\n"
                "- for a Y4M clip on the standard input"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "OUT.avi",
               .help = "the AVI to write; an existing file is replaced",
               .required = true},
    kCodecOption,
    kQualityOption,
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "the format in which the codec gets the pictures: yuy2 or uyvy for a\n"
                       "YUV clip, rgb24 or rgb32 for an RGB clip; a compressed AVI is\n"
                       "decompressed to it (default: the clip's own, else yuy2)"},
    OptionSpec{.name = "--swap-fields",
               .help = "exchange the two fields of every picture, for a clip that has the bottom\n"
                       "field first; moves the picture up by one line (QIVM only)"},
    kJsonOption,
    kQuietOption,
};

/// Reads the next picture; false at the end of the clip or when the user wants to stop.
bool ReadNext(FrameSource& clip, std::span<std::uint8_t> picture) {
  if (InterruptionWatch::IsRequested()) {
    return false;
  }
  try {
    const InterruptionWatch::Reading reading;
    return clip.Read(picture) && !InterruptionWatch::IsRequested();
  } catch (const ToolError&) {
    // A read that was broken off finds its picture incomplete.
    if (InterruptionWatch::IsRequested()) {
      return false;
    }
    throw;
  }
}

/// Records `picture`, the first one of the clip, and all that follow it, and completes the AVI.
/// A failure leaves an AVI of the frames so far, and says so.
void RecordFrames(FrameSource& clip, std::span<std::uint8_t> picture, Compressor& compressor,
                  AviWriter& writer, Progress& progress, TransferReport& report) {
  Stopwatch total;
  try {
    do {
      const Compressor::Frame frame = compressor.Compress(picture);
      writer.Write(frame.bytes, frame.isKeyFrame);
      report.compressed.Add(frame.bytes.size());
      progress.Update(report.compressed.Count(), total.SecondsSinceStart());
    } while (ReadNext(clip, picture));
    writer.Finish();
  } catch (const ToolError& error) {
    const std::uint64_t frames = report.compressed.Count();
    throw ToolError(error.Code(), frames == 0
                                      ? error.what()
                                      : Concat(error.what(), " (", report.output, " has the ",
                                               CountText(frames, "frame"), " before that)"));
  }
  report.totalSeconds = total.SecondsSinceStart();
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value("--output");
  const FourCc code = FourCcArgument(arguments, "--codec").value_or(kDefaultCodec);
  const std::optional<std::uint32_t> quality = arguments.Number("--quality", 0, kBestQuality);
  const std::optional<PixelFormat> format = PixelFormatArgument(arguments, "--format");
  if (output == kStandardStream) {
    throw ToolError(ExitCode::kUsage,
                    "an AVI cannot be written to the standard output; name a file");
  }
  RequireDifferentFiles(input, output);

  const OpenedClip clip = OpenAnyClip(input, format, streams);
  const ClipFormat& clipFormat = clip.source->Format();
  std::vector<std::uint8_t> picture(clipFormat.layout.FrameBytes());
  const InterruptionWatch watch;
  if (!ReadNext(*clip.source, picture)) {
    throw InterruptionWatch::IsRequested()
        ? ToolError(ExitCode::kInterrupted, "stopped before the first frame; nothing was recorded")
        : ToolError(ExitCode::kInput, Concat(input, ": has no frames"));
  }

  Codec codec = Codec::ForCompression(code);
  if (arguments.Has("--swap-fields")) {
    codec.SwapFields();
  }
  Compressor compressor(std::move(codec), clipFormat.layout, quality);
  if (quality && !compressor.TakesQuality() && !arguments.Has(kQuietOption.name)) {
    streams.errors << compressor.Description().Text() << " may ignore --quality: it does not say "
                   << "that its quality can be chosen\n";
  }
  AviWriter writer(output,
                   {.bitmap = compressor.Format(), .handler = code, .rate = clipFormat.rate});
  TransferReport report{.action = "recorded",
                        .input = input,
                        .output = output,
                        .codec = compressor.Description(),
                        .format = clipFormat,
                        .quality = compressor.Quality()};
  {
    Progress progress(streams.errors, ProgressStyle(arguments, streams), clip.source->FrameCount());
    RecordFrames(*clip.source, picture, compressor, writer, progress, report);
  }
  report.codecSeconds = compressor.CodecSeconds();
  report.outputBytes = FileBytes(output);
  if (writer.Segments() > 1 && !arguments.Has(kQuietOption.name)) {
    streams.errors << output << " is an OpenDML AVI of " << writer.Segments()
                   << " segments: programs that open AVIs with AVIFile see the first one\n";
  }
  PrintReport(report, arguments, streams.output);
  if (InterruptionWatch::IsRequested()) {
    throw ToolError(ExitCode::kInterrupted,
                    Concat("stopped; ", output, " has the ",
                           CountText(report.compressed.Count(), "frame"), " so far"));
  }
}

}  // namespace

constinit const Command kRecordCommand = {
    .name = "record",
    .summary = "compress a clip into an AVI with an installed codec",
    .usage = "INPUT -o OUT.avi [options]",
    .description =
        "Compresses every frame of a clip with an installed Video for Windows codec and writes\n"
        "an AVI. Every frame is asked for as a key frame. Pictures are handed to the codec as\n"
        "they are: the tool repacks samples, but converts neither colours nor sizes. Beyond 2 GB "
        "the\n"
        "AVI goes on in further segments (OpenDML), which programs that open AVIs with AVIFile do "
        "not\n"
        "see.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool record clip.y4m -o clip.avi\n"
        "  vfwtool record raw.avi -o small.avi --codec QIVM --quality 5000 --json\n"
        "  ffmpeg -i film.mov -pix_fmt yuv422p -f yuv4mpegpipe - | vfwtool record - -o "
        "film.avi",
    .run = Run,
};

}  // namespace qivm
