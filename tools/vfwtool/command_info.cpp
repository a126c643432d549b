#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/avi_report.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/mpeg_headers.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"FILE.avi", "the AVI to look into"},
};

constexpr OptionSpec kFramesOption = {
    .name = "--frames",
    .help =
        "list every frame: size, and of MPEG-2 frames the pictures and the quantiser\n"
        "codes of the slices"};

constexpr std::array kOptions = {kFramesOption, kJsonOption};

std::optional<MpegHeaders> MpegHeadersOf(std::span<const std::uint8_t> frame) {
  const MpegHeaders headers = ReadMpegHeaders(frame);
  return headers.hasSequence && headers.isMpeg2 ? std::optional(headers) : std::nullopt;
}

void LookAtFrames(AviReader& reader, bool withList, AviReport& report) {
  for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
    const std::uint32_t bytes = reader.FrameBytes(i);
    report.frames.Add(bytes);
    report.emptyFrames += bytes == 0 ? 1U : 0U;
    report.keyFrames += reader.IsKeyFrame(i) ? 1U : 0U;
    if (withList) {
      report.frameList.push_back({bytes, reader.IsKeyFrame(i), MpegHeadersOf(reader.ReadFrame(i))});
    }
  }
  if (reader.FrameCount() != 0 && report.IsCompressed()) {
    report.mpeg = MpegHeadersOf(reader.ReadFrame(0));
  }
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& file = arguments.Operand(0);
  AviReader reader(file);
  const BitmapFormat bitmap = ReadBitmapFormat(reader.Format());
  AviReport report{.file = file,
                   .fileBytes = FileBytes(file).value_or(0),
                   .streams = reader.Streams(),
                   .width = bitmap.width,
                   .height = bitmap.height,
                   .bits = bitmap.bits,
                   .compression = bitmap.compression,
                   .handler = reader.Handler(),
                   .formatBytes = static_cast<std::uint32_t>(reader.Format().size()),
                   .rate = reader.Rate()};
  LookAtFrames(reader, arguments.Has(kFramesOption.name), report);
  if (report.IsCompressed()) {
    std::vector<std::uint8_t> format = reader.Format();
    const std::optional<Codec> codec = Codec::ForDecompression(report.handler, format);
    if (codec) {
      report.codec = codec->Describe();
    }
  }
  PrintReport(report, arguments, streams.output);
}

}  // namespace

constinit const Command kInfoCommand = {
    .name = "info",
    .summary = "tell what an AVI is, and which codec plays it",
    .usage = "FILE.avi [options]",
    .description =
        "Prints the headers of an AVI, the sizes of the frames of its first video stream, what\n"
        "the first frame says of itself if it is of MPEG-2, and the installed Video for Windows\n"
        "codec that would play it.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool info clip.avi\n"
        "  vfwtool info clip.avi --frames\n"
        "  vfwtool info clip.avi --json",
    .run = Run,
};

}  // namespace qivm
