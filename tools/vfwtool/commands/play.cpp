#include <array>
#include <memory>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"IN.avi", "the AVI to decompress"},
};

constexpr OptionSpec kOutputOption = {
    .name = "--output",
    .letter = "-o",
    .value = "OUT",
    .help =
        "where the pictures go: NAME.y4m (a 4:2:2 Y4M\nclip), NAME.avi (an uncompressed AVI), "
        "NAME.png\nor NAME.bmp (a file for each frame:\nNAME-000001.png and so on), any name "
        "with --raw,\nor - for the standard output (Y4M, or raw with\n--raw); existing files "
        "are replaced",
    .isRequired = true};
constexpr OptionSpec kRawOption = {
    .name = "--raw",
    .help = "write the pixels alone: frame after frame, rows\nfrom the top down, without padding"};

constexpr std::array kOptions = {
    kOutputOption,
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "the format in which the codec gives the pictures:\nyuy2, uyvy, rgb24 or "
                       "rgb32 (default: yuy2 for\nY4M, rgb24 for PNG and BMP, else rgb32); Y4M\n"
                       "takes yuy2 and uyvy, PNG and BMP take rgb24\nand rgb32"},
    kRawOption,
    kSoundOutputOption,
    kSoundStreamOption,
    kKeepGoingOption,
    kJsonOption,
    kQuietOption,
};

ClipKind KindOfOutput(const Arguments& arguments, const std::string& output) {
  if (arguments.Has(kRawOption.name)) {
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
  RefuseUsage("'", output, "' ends in none of .y4m, .avi, .png and .bmp; use one of these, or ",
              kRawOption.name);
}

PixelFormat FormatOfOutput(const Arguments& arguments, ClipKind kind) {
  const std::optional<PixelFormat> asked = arguments.Format("--format");
  if (kind == ClipKind::kPng || kind == ClipKind::kBmp) {
    if (asked && !IsRgb(*asked)) {
      RefuseUsage("PNG and BMP files hold RGB pictures, not ", PixelFormatName(*asked));
    }
    return asked.value_or(PixelFormat::kRgb24);
  }
  if (kind != ClipKind::kY4m) {
    return asked.value_or(PixelFormat::kRgb32);
  }
  if (asked && IsRgb(*asked)) {
    RefuseUsage("a Y4M clip holds no RGB pictures; use --format yuy2 or uyvy, or an AVI or ",
                kRawOption.name, " for ", PixelFormatName(*asked));
  }
  return asked.value_or(PixelFormat::kYuy2);
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value(kOutputOption.name);
  const ClipKind kind = KindOfOutput(arguments, output);
  const PixelFormat format = FormatOfOutput(arguments, kind);
  RequireDifferentFiles(input, output);
  if (kind == ClipKind::kAvi && arguments.Has(kSoundOutputOption.name)) {
    RefuseUsage("an AVI holds the sound itself: ", kSoundOutputOption.name,
                " is for outputs without");
  }

  const Transfer transfer(arguments, streams);
  DamageLog log = MakeDamageLog(arguments, streams);
  OpenedClip clip;
  transfer.Open([&] { clip = OpenAviClip(input, AllIn(format), log, streams); });
  const AviReader& reader = *clip.avi;
  const ClipFormat clipFormat = clip.source->Format();
  AviCompanions companions;
  std::unique_ptr<WavTrack> sound;
  if (kind == ClipKind::kAvi) {
    companions = CompanionsOf(reader, log.OfPackets());
  } else {
    sound = CreateSound(reader, arguments, log, streams);
  }
  TransferReport report{.action = "played",
                        .input = input,
                        .output = output,
                        .width = clipFormat.layout.width,
                        .height = clipFormat.layout.height,
                        .rate = clipFormat.rate,
                        .pixelFormat = format,
                        .codec = clip.video->Description(),
                        .compressed = SizeStatistics(),
                        .soundStreams = sound != nullptr ? 1 : companions.CountSound()};
  const CreatedClip created = CreateClip(output, kind, clipFormat, std::move(companions), streams);
  Bytes picture(clipFormat.layout.FrameBytes());
  std::uint32_t frames = 0;
  transfer.Run({.read = [&] { return clip.source->Read(picture); },
                .write =
                    [&] {
                      created.sink->Write(picture);
                      report.compressed->Add(reader.Frame(frames).bytes);
                      ++frames;
                      if (sound != nullptr) {
                        sound->WriteUntil(frames);
                      }
                    },
                .finish =
                    [&] {
                      created.sink->Finish();
                      if (sound != nullptr) {
                        sound->Finish();
                      }
                    },
                .stop =
                    [&] {
                      created.sink->Stop();
                      if (sound != nullptr) {
                        sound->Stop();
                      }
                    },
                .finishEarly = [&] { return created.sink->FinishEarly(); }},
               reader.FrameCount(), report);
  if (report.codec) {
    report.codecSeconds = clip.video->CodecSeconds();
  }
  transfer.Conclude(report, log);
}

}  // namespace

constinit const Command kPlayCommand = {
    .name = "play",
    .summary = "decompress an AVI into a clip or into pictures",
    .description =
        "Decompresses every frame of an AVI with the codec that takes it, and writes the pictures "
        "as "
        "the codec gives them. An AVI as output gets the sound and "
        "all else that the input has, unchanged. With - as output, the result goes to the standard "
        "error stream.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool play clip.avi -o clip.y4m --sound clip.wav\n"
        "  vfwtool play clip.avi -o plain.avi --format rgb24\n"
        "  vfwtool play clip.avi -o frame.png\n"
        "  vfwtool play clip.avi -o - | ffmpeg -i - clip.mkv",
    .run = Run,
};

}  // namespace vfwtool
