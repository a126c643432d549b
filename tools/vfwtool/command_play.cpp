#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/clip_files.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/decoding_source.h"
#include "tools/vfwtool/decompressor.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/png_sink.h"
#include "tools/vfwtool/progress.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/transfer_report.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"IN.avi", "the AVI to decompress"},
};

constexpr std::array kOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "OUT",
               .help = "where the pictures go: NAME.y4m (a 4:2:2 Y4M clip), NAME.avi (an\n"
                       "uncompressed AVI), NAME.png or NAME.bmp (a file for each frame:\n"
                       "NAME-000001.png and so on), any name with --raw, or - for the standard\n"
                       "output (Y4M, or raw with --raw); existing files are replaced",
               .required = true},
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "the format in which the codec gives the pictures: yuy2, uyvy, rgb24 or\n"
                       "rgb32 (default: yuy2 for Y4M, rgb24 for PNG and BMP, else rgb32);\n"
                       "Y4M takes yuy2 and uyvy, PNG and BMP take rgb24 and rgb32"},
    OptionSpec{.name = "--raw",
               .help = "write the pixels alone: frame after frame, rows from the top down,\n"
                       "without padding"},
    kJsonOption,
    kQuietOption,
};

ClipKind KindOfOutput(const Arguments& arguments, const std::string& output) {
  if (arguments.Has("--raw")) {
    return ClipKind::kRaw;
  }
  if (output == kStandardStream || HasExtension(output, ".y4m")) {
    return ClipKind::kY4m;
  }
  if (HasExtension(output, ".avi")) {
    return ClipKind::kAvi;
  }
  if (HasExtension(output, ".png")) {
    return ClipKind::kPng;
  }
  if (HasExtension(output, ".bmp")) {
    return ClipKind::kBmp;
  }
  throw ToolError(ExitCode::kUsage, Concat("'", output,
                                           "' ends in none of .y4m, .avi, .png and .bmp; use one "
                                           "of these, or --raw"));
}

PixelFormat FormatOfOutput(const Arguments& arguments, ClipKind kind) {
  const std::optional<PixelFormat> asked = PixelFormatArgument(arguments, "--format");
  if (kind == ClipKind::kPng || kind == ClipKind::kBmp) {
    if (asked && !IsRgb(*asked)) {
      throw ToolError(ExitCode::kUsage,
                      Concat("PNG and BMP files hold RGB pictures, not ", PixelFormatName(*asked)));
    }
    return asked.value_or(PixelFormat::kRgb24);
  }
  if (kind != ClipKind::kY4m) {
    return asked.value_or(PixelFormat::kRgb32);
  }
  if (asked && IsRgb(*asked)) {
    throw ToolError(ExitCode::kUsage, Concat("a Y4M clip holds no RGB pictures; use --format yuy2 "
                                             "or uyvy, or an AVI or --raw for ",
                                             PixelFormatName(*asked)));
  }
  return asked.value_or(PixelFormat::kYuy2);
}

CreatedClip CreateOutput(const std::string& name, ClipKind kind, const ClipFormat& format,
                         const ToolStreams& streams) {
  if (kind == ClipKind::kPng) {
    return {nullptr, std::make_unique<PngSink>(name, format.layout)};
  }
  return CreateClip(name, kind, format, streams);
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value("--output");
  const ClipKind kind = KindOfOutput(arguments, output);
  const PixelFormat format = FormatOfOutput(arguments, kind);
  RequireDifferentFiles(input, output);

  AviReader reader(input);
  if (reader.FrameCount() == 0) {
    throw ToolError(ExitCode::kInput, Concat(input, ": has no frames"));
  }
  Decompressor decompressor(FindDecoder(reader), reader.Format(), format);
  const ClipFormat clipFormat{decompressor.Layout(), reader.Rate()};
  const CreatedClip clip = CreateOutput(output, kind, clipFormat, streams);
  TransferReport report{.action = "played",
                        .input = input,
                        .output = output,
                        .codec = decompressor.Description(),
                        .format = clipFormat};
  {
    Stopwatch total;
    Progress progress(streams.errors, ProgressStyle(arguments, streams), reader.FrameCount());
    std::vector<std::uint8_t> picture(clipFormat.layout.FrameBytes());
    for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
      const std::span<std::uint8_t> frame = reader.ReadFrame(i);
      // An empty frame stands for the picture before it.
      if (!frame.empty()) {
        decompressor.Decompress(frame, reader.IsKeyFrame(i), picture);
      }
      clip.sink->Write(picture);
      report.compressed.Add(frame.size());
      progress.Update(report.compressed.Count(), total.SecondsSinceStart());
    }
    clip.sink->Finish();
    report.totalSeconds = total.SecondsSinceStart();
  }
  report.codecSeconds = decompressor.CodecSeconds();
  report.outputBytes = FileBytes(output);
  PrintReport(report, arguments, output == kStandardStream ? streams.errors : streams.output);
}

}  // namespace

constinit const Command kPlayCommand = {
    .name = "play",
    .summary = "decompress an AVI with an installed codec",
    .usage = "IN.avi -o OUT [options]",
    .description =
        "Decompresses every frame of an AVI with the installed Video for Windows codec that takes\n"
        "it, and writes the pictures as the codec gives them. With - as output, the result goes\n"
        "to the standard error stream.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool play clip.avi -o clip.y4m\n"
        "  vfwtool play clip.avi -o plain.avi --format rgb24\n"
        "  vfwtool play clip.avi -o frame.png\n"
        "  vfwtool play clip.avi -o - --raw --format uyvy | ffplay -f rawvideo "
        "-pixel_format uyvy422\n"
        "      -video_size 720x576 -",
    .run = Run,
};

}  // namespace qivm
