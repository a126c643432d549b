#include <array>
#include <cstring>
#include <memory>

#include "formats/compressed_format.h"
#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"IN.m2v", "an MPEG-2 video elementary stream, or - for the\nstandard input"},
};

constexpr std::array kOptions = {
    kAviOutputOption,
    OptionSpec{.name = "--codec",
               .value = "CODE",
               .help = "the code that the AVI states: QIVM (the default)\nor MMES"},
    OptionSpec{.name = "--rate",
               .value = "RATE",
               .help = "frames a second, such as 25 or 30000/1001\n(default: what the stream "
                       "states)"},
    kSoundInputOption,
    kJsonOption,
    kQuietOption,
};

/// The format of the codec's streams, as the driver describes them.
Bytes StreamFormat(FourCc code, const MpegHeaders& headers) {
  const qivm::BitmapInfoHeader picture = {.biWidth = static_cast<std::int32_t>(headers.width),
                                          .biHeight = static_cast<std::int32_t>(headers.height)};
  const qivm::CompressedFormat format = qivm::DescribeCompressedFormat(code, picture);
  Bytes bytes(sizeof(format));
  std::memcpy(bytes.data(), &format, sizeof(format));
  return bytes;
}

/// Throws ToolError (kInput) unless the decoder gives the picture of frame `number`, counted from
/// 1, and it has the size of the first one.
void RequireDecodable(const MpegHeaders& headers, const MpegHeaders& first, const std::string& name,
                      std::uint64_t number) {
  if (const std::optional<std::string> why = WhyNotDecodable(headers)) {
    RefuseInput(name, "frame ", number, ' ', *why);
  }
  if (headers.width != first.width || headers.height != first.height) {
    RefuseInput(name, "the pictures change from ", first.width, 'x', first.height, " to ",
                headers.width, 'x', headers.height, " at frame ", number);
  }
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& inputName = arguments.Operand(0);
  const std::string output = *arguments.Value(kAviOutputOption.name);
  const FourCc code = arguments.Code("--codec").value_or(kDefaultCodec);
  const std::optional<FrameRate> rate = arguments.Rate("--rate");
  RequireAviOutput(output, arguments);
  if (!IsOwnCode(code)) {
    RefuseUsage("--codec takes QIVM or MMES, not '", FourCcText(code), "'");
  }

  const Transfer transfer(arguments, streams);
  std::optional<Input> input;
  std::optional<MpegFrameReader> reader;
  Bytes frame;
  transfer.Open([&] {
    input.emplace(inputName, streams);
    reader.emplace(input->Stream(), input->Name());
    if (!reader->Next(frame)) {
      RefuseInput(input->Name(), "has no pictures");
    }
  });
  const MpegHeaders first = ReadMpegHeaders(frame);
  RequireDecodable(first, first, input->Name(), 1);
  TransferReport report{.action = "imported",
                        .input = inputName,
                        .output = output,
                        .width = first.width,
                        .height = first.height,
                        .rate = rate.value_or(first.rate)};
  if (!report.rate.IsValid()) {
    RefuseInput(input->Name(), "states no frame rate; tell it by --rate");
  }
  const std::optional<std::string> sound = arguments.Value(kSoundInputOption.name);
  AviCompanions companions = CompanionsOf(sound ? std::make_unique<WavPackets>(*sound) : nullptr);
  report.soundStreams = companions.CountSound();
  AviMuxer muxer(output, MakeVideoHeaders(StreamFormat(code, first), code, report.rate, true),
                 std::move(companions));
  bool isFirst = true;
  transfer.Run({.read =
                    [&] {
                      if (!isFirst && !reader->Next(frame)) {
                        return false;
                      }
                      isFirst = false;
                      RequireDecodable(ReadMpegHeaders(frame), first, input->Name(),
                                       report.frames + 1);
                      return true;
                    },
                .write = [&] { muxer.WriteFrame(frame, true); },
                .finish = [&] { muxer.Finish(); },
                .stop = [&] { muxer.Stop(); },
                .finishEarly =
                    [&] {
                      muxer.FinishEarly();
                      return muxer.Frames();
                    }},
               std::nullopt, report);
  RemarkOnSegments(muxer.Writer(), output, arguments, streams);
  transfer.Conclude(report, DamageLog());
}

}  // namespace

constinit const Command kImportCommand = {
    .name = "import",
    .summary = "turn an intra-only 4:2:2 MPEG-2 stream into an AVI of this codec",
    .description =
        "Takes an MPEG-2 video elementary stream apart at its pictures and writes them as an AVI "
        "of this codec, without coding anything anew. Frames that lack a sequence header get a "
        "copy of the last one. A stream that the codec would not decode to the right pictures is "
        "refused with the reason; frames before the refused one stay in the AVI. What only the "
        "coefficients themselves would show (a macroblock that switches to code 16 of the linear "
        "quantiser scale, or rows that begin left but have gaps) is not looked for; 'verify' finds "
        "the latter.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool import clip.m2v -o clip.avi --sound clip.wav\n"
        "  ffmpeg -i film.mov -c:v mpeg2video -pix_fmt yuv422p -g 1 -intra_vlc 1 -q:v 2 \\\n"
        "      -f mpeg2video - | vfwtool import - -o film.avi",
    .run = Run,
};

}  // namespace vfwtool
