#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/transfer.h"

namespace vfwtool {
namespace {

constexpr std::array kOptions = {
    kCodecOption,
    OptionSpec{.name = "--input",
               .letter = "-i",
               .value = "FILE",
               .help = "take the pictures from a Y4M clip or an AVI\n(default: make some)"},
    OptionSpec{.name = "--size",
               .value = "WxH",
               .help = "the size of pictures that are made\n(default: 720x576)"},
    kQualityOption,
    OptionSpec{.name = "--format",
               .value = "NAME",
               .help = "the format of the pictures both ways: yuy2\n(default of pictures that are "
                       "made), uyvy, rgb24\nor rgb32"},
    OptionSpec{.name = "--seconds",
               .value = "NUMBER",
               .help = "how long to measure each way, up to 600\n(default: 3); every picture is "
                       "used once at least"},
    kJsonOption,
};

constexpr std::uint32_t kGeneratedPictures = 8;
constexpr std::uint32_t kMostSeconds = 600;
/// As many pictures of a clip are used as fit in here: all are held in memory.
constexpr std::size_t kPictureStore = std::size_t{192} << 20;

/// The speed of a codec in one direction.
struct Speed {
  std::uint64_t frames = 0;
  double seconds = 0;  ///< Inside the codec.

  double FramesPerSecond() const { return static_cast<double>(frames) / seconds; }
  std::string Text() const {
    return Concat(FixedText(FramesPerSecond(), 1), " frames/s, ",
                  FixedText(1000 / FramesPerSecond(), 3), " ms a frame");
  }
  JsonObject Json() const {
    JsonObject json;
    json.Integer("frames", static_cast<std::int64_t>(frames))
        .Number("seconds", seconds)
        .Number("framesPerSecond", FramesPerSecond(), 2);
    return json;
  }
};

/// The pictures to measure with.
struct Pictures {
  FrameLayout layout;
  std::string source;  ///< What they were taken from.
  std::vector<Bytes> all{};
};

/// What came of measuring a codec.
struct BenchReport {
  CodecDescription codec;
  FrameLayout layout;
  std::string source;
  std::uint64_t pictures = 0;   ///< Different ones.
  SizeStatistics compressed{};  ///< Of the different pictures.
  Speed compression{};
  Speed decompression{};

  std::string Text() const {
    return Concat("measured ", codec.Text(), " with ", CountText(pictures, "picture"), " of ",
                  layout.width, 'x', layout.height, ' ', PixelFormatName(layout.format), " (",
                  source, ")\n  compresses    ", compression.Text(), "\n  decompresses  ",
                  decompression.Text(), "\n  frames        ", compressed.Text(), '\n');
  }
  JsonObject Json() const {
    JsonObject json;
    json.Object("codec", codec.Json())
        .Text("source", source)
        .Integer("width", layout.width)
        .Integer("height", layout.height)
        .Text("pixelFormat", PixelFormatName(layout.format))
        .Integer("pictures", static_cast<std::int64_t>(pictures))
        .Object("compressedBytes", compressed.Json())
        .Object("compression", compression.Json())
        .Object("decompression", decompression.Json());
    return json;
  }
};

/// Grain: four bits of a hash of the place.
std::uint32_t Grain(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  std::uint32_t hash = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ number * 0xC2B2AE3DU;
  hash ^= hash >> 15;
  hash *= 0x2C1B3C6DU;
  return hash >> 28;
}

std::uint8_t Luminance(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  constexpr std::uint32_t kTile = 48;
  const std::uint32_t movedX = x + 3 * number;
  const bool isBright = (movedX / kTile + y / kTile) % 2 != 0;
  const std::uint32_t slope = (movedX + 2 * y) / 8 % 64;
  return static_cast<std::uint8_t>(40 + (isBright ? 80 : 0) + slope + Grain(x, y, number));
}

std::uint8_t Chrominance(std::uint32_t x, std::uint32_t y, std::uint32_t number) {
  return static_cast<std::uint8_t>(96 + (x + y + 2 * number) / 4 % 64);
}

/// A picture that codecs have about as much work with as with film: slopes, edges and grain, moved
/// on with `number`. The same on every machine.
Bytes MakePicture(const FrameLayout& layout, std::uint32_t number) {
  Bytes picture(layout.FrameBytes());
  const std::size_t step = PixelFormatBits(layout.format) / 8U;
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    for (std::uint32_t x = 0; x < layout.width; ++x) {
      std::uint8_t* const pixel = picture.data() + y * layout.RowBytes() + x * step;
      const std::uint8_t luminance = Luminance(x, y, number);
      const std::uint8_t chrominance = Chrominance(x + (x % 2) * layout.height, y, number);
      const bool isLuminanceFirst = layout.format == PixelFormat::kYuy2;
      pixel[0] = isLuminanceFirst ? luminance : chrominance;
      pixel[1] = isLuminanceFirst ? chrominance : luminance;
      if (IsRgb(layout.format)) {
        pixel[2] = static_cast<std::uint8_t>(luminance / 2 + 64);
      }
    }
  }
  return picture;
}

Pictures MakePictures(const PictureSize& size, PixelFormat format) {
  Pictures pictures{{format, size.width, size.height}, "generated"};
  for (std::uint32_t i = 0; i < kGeneratedPictures; ++i) {
    pictures.all.push_back(MakePicture(pictures.layout, i));
  }
  return pictures;
}

Pictures ReadPictures(const std::string& name, std::optional<PixelFormat> format,
                      const ToolStreams& streams) {
  DamageLog log;
  const OpenedClip clip = OpenClip(name, AllIn(format), log, streams);
  Pictures pictures{clip.source->Format().layout, name};
  const std::size_t most = std::max<std::size_t>(1, kPictureStore / pictures.layout.FrameBytes());
  Bytes picture(pictures.layout.FrameBytes());
  while (pictures.all.size() < most && clip.source->Read(picture)) {
    pictures.all.push_back(picture);
  }
  return pictures;
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const FourCc code = arguments.Code(kCodecOption.name).value_or(kDefaultCodec);
  const auto quality = arguments.Number(kQualityOption.name, 0, kBestQuality);
  const double seconds = arguments.Number("--seconds", 0, kMostSeconds).value_or(3);
  const std::optional<PixelFormat> format = arguments.Format("--format");
  const std::optional<std::string> input = arguments.Value("--input");
  const std::optional<PictureSize> size = arguments.Size("--size");
  if (input && size) {
    RefuseUsage("--size is of pictures that are made, not of a clip");
  }
  Pictures pictures = input ? ReadPictures(*input, format, streams)
                            : MakePictures(size.value_or(PictureSize{720, 576}),
                                           format.value_or(PixelFormat::kYuy2));
  const std::size_t count = pictures.all.size();

  Compressor compressor(OpenCompressor(code), pictures.layout, quality);
  BenchReport report{.codec = compressor.Description(),
                     .layout = pictures.layout,
                     .source = pictures.source,
                     .pictures = count};
  std::vector<Bytes> frames;
  for (std::size_t i = 0; i < count || compressor.CodecSeconds() < seconds; ++i) {
    const Compressor::Frame frame = compressor.Compress(pictures.all[i % count]);
    if (i < count) {
      frames.emplace_back(frame.bytes.begin(), frame.bytes.end());
      report.compressed.Add(frame.bytes.size());
    }
    ++report.compression.frames;
  }
  report.compression.seconds = compressor.CodecSeconds();

  std::unique_ptr<Codec> decoder = FindDecompressor(code, compressor.Format());
  if (decoder == nullptr) {
    throw ToolError(ExitCode::kCodec,
                    Concat(report.codec.Text(), " does not decompress what it compressed"));
  }
  Decompressor decompressor(std::move(decoder), compressor.Format(), pictures.layout.format);
  Bytes picture(pictures.layout.FrameBytes());
  for (std::size_t i = 0; i < count || decompressor.CodecSeconds() < seconds; ++i) {
    Bytes& frame = frames[i % count];
    const Refusal refusal =
        frame.empty() ? Refusal() : decompressor.Decompress(frame, true, picture);
    if (refusal) {
      throw ToolError(ExitCode::kCodec,
                      Concat(report.codec.Text(), " cannot decompress: ", *refusal));
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
    .description =
        "Compresses and decompresses pictures over and over for some seconds each way, and prints "
        "frames per second: the time inside the codec alone, without reading, writing or showing "
        "anything.",
    .operands = {},
    .options = kOptions,
    .examples =
        "  vfwtool bench\n"
        "  vfwtool bench --size 1920x1088 --format rgb32 --quality 10000\n"
        "  vfwtool bench -i clip.y4m --json",
    .run = Run,
};

}  // namespace vfwtool
