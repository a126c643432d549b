#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/vfwtool/bench_report.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/compressor.h"
#include "tools/vfwtool/decoding_source.h"
#include "tools/vfwtool/decompressor.h"
#include "tools/vfwtool/test_pictures.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::array kOptions = {
    kCodecOption,
    OptionSpec{.name = "--input",
               .letter = "-i",
               .value = "FILE",
               .help = "take the pictures from a Y4M clip or an AVI (default: make some)"},
    OptionSpec{.name = "--size",
               .value = "WxH",
               .help = "the size of pictures that are made (default: 720x576)"},
    kQualityOption,
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "the format of the pictures both ways: yuy2 (default of pictures that are\n"
                       "made), uyvy, rgb24 or rgb32"},
    OptionSpec{.name = "--seconds",
               .value = "NUMBER",
               .help =
                   "how long to measure each way, up to 600 (default: 3); every picture is used\n"
                   "once at least"},
    kJsonOption,
};

constexpr std::uint32_t kGeneratedPictures = 8;
constexpr std::uint32_t kMostSeconds = 600;
/// As many pictures of a clip are used as fit in here: all are held in memory.
constexpr std::size_t kPictureStore = std::size_t{192} << 20;

using Pictures = std::vector<std::vector<std::uint8_t>>;

struct BenchClip {
  FrameLayout layout;
  std::string name;
  Pictures pictures{};
};

BenchClip ReadClip(const std::string& name, std::optional<PixelFormat> format,
                   const ToolStreams& streams) {
  const OpenedClip clip = OpenAnyClip(name, format, streams);
  BenchClip result{clip.source->Format().layout, name};
  const std::size_t most = std::max<std::size_t>(1, kPictureStore / result.layout.FrameBytes());
  std::vector<std::uint8_t> picture(result.layout.FrameBytes());
  while (result.pictures.size() < most && clip.source->Read(picture)) {
    result.pictures.push_back(picture);
  }
  if (result.pictures.empty()) {
    throw ToolError(ExitCode::kInput, Concat(name, ": has no frames"));
  }
  return result;
}

BenchClip MakeClip(const Arguments& arguments, std::optional<PixelFormat> format) {
  const PictureSize size = SizeArgument(arguments, "--size").value_or(PictureSize{720, 576});
  BenchClip result{{format.value_or(PixelFormat::kYuy2), size.width, size.height}, "generated"};
  for (std::uint32_t i = 0; i < kGeneratedPictures; ++i) {
    result.pictures.push_back(MakeTestPicture(result.layout, i));
  }
  return result;
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const FourCc code = FourCcArgument(arguments, kCodecOption.name).value_or(kDefaultCodec);
  const std::optional<std::uint32_t> quality =
      arguments.Number(kQualityOption.name, 0, kBestQuality);
  const double seconds = arguments.Number("--seconds", 0, kMostSeconds).value_or(3);
  const std::optional<PixelFormat> format = PixelFormatArgument(arguments, "--format");
  const std::optional<std::string> input = arguments.Value("--input");
  if (input && arguments.Has("--size")) {
    throw ToolError(ExitCode::kUsage, "--size is of pictures that are made, not of a clip");
  }
  BenchClip clip = input ? ReadClip(*input, format, streams) : MakeClip(arguments, format);

  Compressor compressor(Codec::ForCompression(code), clip.layout, quality);
  BenchReport report{.codec = compressor.Description(),
                     .layout = clip.layout,
                     .source = clip.name,
                     .pictures = clip.pictures.size()};
  Pictures frames;
  for (std::size_t i = 0; i < clip.pictures.size() || compressor.CodecSeconds() < seconds; ++i) {
    const Compressor::Frame frame = compressor.Compress(clip.pictures[i % clip.pictures.size()]);
    if (i < clip.pictures.size()) {
      frames.emplace_back(frame.bytes.begin(), frame.bytes.end());
      report.compressed.Add(frame.bytes.size());
    }
    ++report.compression.frames;
  }
  report.compression.seconds = compressor.CodecSeconds();

  std::vector<std::uint8_t> streamFormat = compressor.Format();
  std::optional<Codec> decoder = Codec::ForDecompression(code, streamFormat);
  if (!decoder) {
    throw ToolError(ExitCode::kCodec,
                    Concat(report.codec.Text(), " does not decompress what it compressed"));
  }
  Decompressor decompressor(std::move(*decoder), std::move(streamFormat), clip.layout.format);
  std::vector<std::uint8_t> picture(clip.layout.FrameBytes());
  for (std::size_t i = 0; i < frames.size() || decompressor.CodecSeconds() < seconds; ++i) {
    std::vector<std::uint8_t>& frame = frames[i % frames.size()];
    if (!frame.empty()) {
      decompressor.Decompress(frame, true, picture);
    }
    ++report.decompression.frames;
  }
  report.decompression.seconds = decompressor.CodecSeconds();
  PrintReport(report, arguments, streams.output);
}

}  // namespace

constinit const Command kBenchCommand = {
    .name = "bench",
    .summary = "measure how fast a codec compresses and decompresses",
    .usage = "[options]",
    .description =
        "Compresses and decompresses pictures through the compression manager, over and over for\n"
        "some seconds each way, and prints frames per second: the time inside the codec alone,\n"
        "without reading, writing or showing anything.",
    .operands = {},
    .options = kOptions,
    .examples =
        "  vfwtool bench\n"
        "  vfwtool bench --size 1920x1088 --format rgb32 --quality 10000\n"
        "  vfwtool bench -i clip.y4m --json",
    .run = Run,
};

}  // namespace qivm
