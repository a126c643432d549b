#include <array>
#include <memory>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"INPUT",
                "the clip to compress: a Y4M clip (4:2:2 with\n8 bits a sample), an AVI, "
                "uncompressed (yuy2,\nuyvy, rgb24 or rgb32) or compressed, or - for a\nY4M "
                "clip on the standard input"},
};

constexpr OptionSpec kSwapFieldsOption = {
    .name = "--swap-fields",
    .help =
        "exchange the two fields of every picture, for a\nclip that has the bottom field first; "
        "moves the\npicture up by one line (QIVM only)"};

constexpr std::array kOptions = {
    kAviOutputOption,
    kCodecOption,
    kQualityOption,
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help =
                   "the format in which the codec gets the pictures:\nyuy2 or uyvy for a YUV "
                   "clip, rgb24 or rgb32 for\nan RGB clip; a compressed AVI is decompressed to\n"
                   "it (default: the clip's own, else yuy2)"},
    kSwapFieldsOption,
    kSoundInputOption,
    kKeepGoingOption,
    kJsonOption,
    kQuietOption,
};

/// What goes with the clip: what its AVI has, or the sound of a file.
AviCompanions FindCompanions(const OpenedClip& clip, const Arguments& arguments, DamageLog& log) {
  const std::optional<std::string> sound = arguments.Value(kSoundInputOption.name);
  if (clip.avi == nullptr) {
    return CompanionsOf(sound ? std::make_unique<WavPackets>(*sound) : nullptr);
  }
  AviCompanions companions = CompanionsOf(*clip.avi, log.OfPackets());
  if (sound) {
    if (companions.CountSound() != 0) {
      RefuseUsage(clip.avi->Name(), " has sound of its own; ", kSoundInputOption.name,
                  " is for clips without");
    }
    auto wav = std::make_unique<WavPackets>(*sound);
    const ClipFormat& format = clip.source->Format();
    const std::uint64_t start = format.rate.MomentIn(wav->Headers().Rate(), format.start);
    auto track = std::make_unique<JoinedPackets>();
    track->Add(std::move(wav), 0, start);
    companions.streams.push_back(std::move(track));
  }
  return companions;
}

/// Says where the stream will state another field order than the clip.
void RemarkOnFields(FieldOrder fields, bool isSwapped, std::ostream& errors) {
  if (fields == FieldOrder::kProgressive) {
    errors << "the clip is progressive; the stream states interlaced pictures, top field first\n";
  } else if (fields == FieldOrder::kBottomFirst && !isSwapped) {
    errors << "the clip has the bottom field first; the stream states the top field first: "
           << kSwapFieldsOption.name << " exchanges the fields\n";
  } else if (fields == FieldOrder::kTopFirst && isSwapped) {
    errors << "the clip has the top field first already, and its fields are exchanged: "
           << kSwapFieldsOption.name << " is for clips with the bottom field first\n";
  }
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& input = arguments.Operand(0);
  const std::string output = *arguments.Value(kAviOutputOption.name);
  const FourCc code = arguments.Code(kCodecOption.name).value_or(kDefaultCodec);
  const auto quality = arguments.Number(kQualityOption.name, 0, kBestQuality);
  const std::optional<PixelFormat> format = arguments.Format("--format");
  const bool isSwapped = arguments.Has(kSwapFieldsOption.name);
  RequireAviOutput(output, arguments);

  const Transfer transfer(arguments, streams);
  DamageLog log = MakeDamageLog(arguments, streams);
  OpenedClip clip;
  transfer.Open([&] { clip = OpenClip(input, AllIn(format), log, streams); });
  const ClipFormat clipFormat = clip.source->Format();
  AviCompanions companions = FindCompanions(clip, arguments, log);
  const std::uint64_t soundStreams = companions.CountSound();

  std::unique_ptr<Codec> codec = OpenCompressor(code);
  if (isSwapped) {
    if (const Refusal refusal = codec->SwapFields()) {
      throw ToolError(ExitCode::kCodec, Concat(codec->Describe().Text(),
                                               " cannot be told to exchange fields: ", *refusal));
    }
  }
  Compressor compressor(std::move(codec), clipFormat.layout, quality);
  if (!arguments.Has(kQuietOption.name)) {
    if (quality && !compressor.TakesQuality()) {
      streams.errors << compressor.Description().Text() << " may ignore " << kQualityOption.name
                     << ": it does not say that its quality can be chosen\n";
    }
    if (IsOwnCode(code)) {
      RemarkOnFields(clipFormat.fields, isSwapped, streams.errors);
    }
  }
  AviMuxer muxer(
      output, MakeVideoHeaders(compressor.Format(), code, clipFormat.rate, true, clipFormat.start),
      std::move(companions));
  TransferReport report{.action = "recorded",
                        .input = input,
                        .output = output,
                        .width = clipFormat.layout.width,
                        .height = clipFormat.layout.height,
                        .rate = clipFormat.rate,
                        .pixelFormat = clipFormat.layout.format,
                        .codec = compressor.Description(),
                        .quality = compressor.Quality(),
                        .compressed = SizeStatistics(),
                        .soundStreams = soundStreams};
  Bytes picture(clipFormat.layout.FrameBytes());
  transfer.Run({.read = [&] { return clip.source->Read(picture); },
                .write =
                    [&] {
                      const Compressor::Frame frame = compressor.Compress(picture);
                      muxer.WriteFrame(frame.bytes, frame.isKeyFrame);
                      report.compressed->Add(frame.bytes.size());
                    },
                .finish = [&] { muxer.Finish(); },
                .stop = [&] { muxer.Stop(); },
                .finishEarly =
                    [&] {
                      muxer.FinishEarly();
                      return muxer.Frames();
                    }},
               clip.source->FrameCount(), report);
  report.codecSeconds = compressor.CodecSeconds();
  RemarkOnSegments(muxer.Writer(), output, arguments, streams);
  transfer.Conclude(report, log);
}

}  // namespace

constinit const Command kRecordCommand = {
    .name = "record",
    .summary = "compress a clip into an AVI",
    .description =
        "Compresses every frame of a clip with a codec and writes an AVI. Every frame is asked for "
        "as a key frame. Pictures are handed to the codec as they "
        "are: the tool repacks samples, but converts neither colours nor sizes. Sound and all else "
        "that an AVI has goes into the new one unchanged. Beyond 2 GB the AVI goes on in further "
        "segments (OpenDML), which programs that open AVIs with AVIFile do not see.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool record clip.y4m -o clip.avi --sound clip.wav\n"
        "  vfwtool record raw.avi -o small.avi --codec QIVM --quality 5000 --json\n"
        "  ffmpeg -i film.mov -pix_fmt yuv422p -f yuv4mpegpipe - |\n"
        "      vfwtool record - -o film.avi",
    .run = Run,
};

}  // namespace vfwtool
