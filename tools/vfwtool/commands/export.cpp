#include <array>
#include <memory>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"IN.avi", "an AVI of this codec (QIVM or MMES)"},
};

constexpr OptionSpec kOutputOption = {
    .name = "--output",
    .letter = "-o",
    .value = "OUT.m2v",
    .help = "the stream to write, or - for the standard output;\nan existing file is replaced",
    .isRequired = true};
constexpr OptionSpec kSetRateOption = {
    .name = "--set-rate",
    .help =
        "state the AVI's frame rate in the stream, if it is\none that MPEG-2 has (else every "
        "frame states 25\nframes a second, as the codec writes it)"};

constexpr std::array kOptions = {
    kOutputOption,    kSetRateOption, kSoundOutputOption, kSoundStreamOption,
    kKeepGoingOption, kJsonOption,    kQuietOption,
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
  const std::string output = *arguments.Value(kOutputOption.name);
  RequireDifferentFiles(input, output);
  const Transfer transfer(arguments, streams);
  DamageLog log = MakeDamageLog(arguments, streams);
  std::unique_ptr<AviReader> opened;
  transfer.Open([&] { opened = std::make_unique<AviReader>(input); });
  const AviReader& reader = *opened;
  if (reader.FrameCount() == 0) {
    RefuseInput(input, "has no frames");
  }
  NameLosses(reader, log, streams);
  const BitmapFormat bitmap = ReadBitmapFormat(reader.Format());
  const std::optional<std::uint32_t> rateCode = FrameRateCode(arguments, reader.Rate());
  const std::unique_ptr<WavTrack> sound = CreateSound(reader, arguments, log, streams);
  TransferReport report{.action = "exported",
                        .input = input,
                        .output = output,
                        .width = static_cast<std::uint32_t>(bitmap.width),
                        .height = static_cast<std::uint32_t>(bitmap.height),
                        .rate = reader.Rate(),
                        .soundStreams = sound != nullptr ? 1U : 0U};
  Output file(output, streams);
  MpegExporter exporter(file, rateCode);
  Bytes frame;
  std::uint32_t frames = 0;
  transfer.Run({.read =
                    [&] {
                      if (frames == reader.FrameCount()) {
                        return false;
                      }
                      if (!ReadWholeFrame(reader, frames, log, frame)) {
                        frame.clear();  // Which repeats the frame before.
                      }
                      ++frames;
                      return true;
                    },
                .write =
                    [&] {
                      exporter.Write(frame);
                      if (sound != nullptr) {
                        sound->WriteUntil(frames);
                      }
                    },
                .finish =
                    [&] {
                      exporter.Finish();
                      if (sound != nullptr) {
                        sound->Finish();
                      }
                    },
                .stop =
                    [&] {
                      exporter.Finish();
                      if (sound != nullptr) {
                        sound->Stop();
                      }
                    },
                .finishEarly = [&] { return exporter.FinishEarly(); }},
               reader.FrameCount(), report);
  if (!rateCode) {
    report.rate = exporter.Rate();
    if (!(report.rate == reader.Rate()) && !arguments.Has(kQuietOption.name)) {
      streams.errors << "the stream states " << report.rate.Text() << " frames/s, the AVI "
                     << reader.Rate().Text() << "; see " << kSetRateOption.name << '\n';
    }
  }
  transfer.Conclude(report, log);
}

}  // namespace

constinit const Command kExportCommand = {
    .name = "export",
    .summary = "turn an AVI of this codec into a standard MPEG-2 stream",
    .description =
        "Writes the frames of an AVI of this codec one after another as an MPEG-2 video elementary "
        "stream that any MPEG-2 decoder reads. Nothing is decoded or coded anew: the one bit of "
        "each frame in which the codec departs from the standard is set, and all else stays as it "
        "is. With - as output, the result goes to the standard error stream.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool export clip.avi -o clip.m2v --sound clip.wav\n"
        "  vfwtool export clip.avi -o - --set-rate | ffplay -f mpegvideo -",
    .run = Run,
};

}  // namespace vfwtool
