#include <array>
#include <cstdlib>
#include <memory>

#include "tools/vfwtool/commands/transfer.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"FILE.avi", "the AVI to look into"},
};

constexpr OptionSpec kFramesOption = {
    .name = "--frames",
    .help =
        "list every frame: size, and of MPEG-2 frames the\npictures and the quantiser codes of "
        "the slices"};

constexpr std::array kOptions = {kFramesOption, kJsonOption};

std::string CompressionText(FourCc compression) {
  constexpr FourCc kBitFields = 3;
  switch (compression) {
    case qivm::kBiRgb:
      return "none (BI_RGB)";
    case kBitFields:
      return "none (BI_BITFIELDS)";
    default:
      return FourCcText(compression);
  }
}

std::string HandlerText(FourCc handler) { return handler == 0 ? "none" : FourCcText(handler); }

std::string PictureText(const MpegHeaders& mpeg) {
  const bool isFrame = mpeg.structure == qivm::mpeg2::kFramePicture;
  return Concat(CountText(mpeg.pictures, isFrame ? "frame picture" : "field picture"),
                mpeg.areAllIntra ? "" : ", not intra");
}

std::string QuantiserText(const MpegHeaders& mpeg) {
  std::string text = Concat("quantiser code ", mpeg.smallestQuantiser);
  if (mpeg.largestQuantiser != mpeg.smallestQuantiser) {
    text += Concat(" to ", mpeg.largestQuantiser);
  }
  return text;
}

std::string MpegText(const MpegHeaders& mpeg) {
  return Concat("MPEG-2 ", mpeg.ChromaText(), ", ", mpeg.width, 'x', mpeg.height, ", ",
                PictureText(mpeg), ", ", mpeg.dcBits, "-bit DC, ",
                mpeg.isNonLinear ? "non-linear" : "linear", " scale, intra_vlc_format ",
                mpeg.usesTableB15 ? 1 : 0, ", ", mpeg.isAlternateScan ? "alternate" : "zig-zag",
                " scan, ",
                mpeg.isProgressive     ? "progressive"
                : mpeg.isTopFieldFirst ? "top field first"
                                       : "bottom field first");
}

/// One frame of the video.
struct FrameReport {
  std::uint64_t bytes = 0;
  bool isKeyFrame = false;
  bool isReadable = true;
  std::optional<MpegHeaders> mpeg{};  ///< Of MPEG-2 frames.

  std::string Text() const {
    std::string text = Concat(CountText(bytes, "byte"), isKeyFrame ? ", key frame" : "");
    if (!isReadable) {
      text += ", cannot be read";
    }
    if (mpeg) {
      text += Concat(", ", PictureText(*mpeg), ", ", QuantiserText(*mpeg));
    }
    return text;
  }
  JsonObject Json() const {
    JsonObject json;
    json.Integer("bytes", static_cast<std::int64_t>(bytes)).Boolean("keyFrame", isKeyFrame);
    if (!isReadable) {
      json.Boolean("readable", false);
    }
    if (mpeg) {
      json.Integer("pictures", mpeg->pictures)
          .Integer("pictureStructure", mpeg->structure)
          .Boolean("intra", mpeg->areAllIntra)
          .Integer("smallestQuantiserCode", mpeg->smallestQuantiser)
          .Integer("largestQuantiserCode", mpeg->largestQuantiser);
    }
    return json;
  }
};

/// A stream beside the video, and how it goes with it.
struct StreamReport {
  std::string title;  ///< "sound stream 1 (PCM, ...)"
  std::string name;
  FourCc type = 0;
  std::optional<SoundFormat> sound{};
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;
  std::uint64_t milliseconds = 0;  ///< When it ends,
  std::int64_t behindVideo = 0;    ///< and how much later than the video.

  std::string Text() const {
    std::string text = Concat("  stream      ", title);
    if (!name.empty()) {
      text += Concat(" \"", name, '"');
    }
    text += Concat(", ", CountText(packets, "packet"), ", ", ByteCountText(bytes), ", ",
                   FixedText(static_cast<double>(milliseconds) / 1000, 3), " s, ends ");
    if (behindVideo == 0) {
      return text + "with the video\n";
    }
    return text + Concat(FixedText(static_cast<double>(std::abs(behindVideo)) / 1000, 3),
                         behindVideo < 0 ? " s before the video\n" : " s behind the video\n");
  }
  JsonObject Json() const {
    JsonObject json;
    json.Text("type", FourCcText(type)).Text("name", name);
    if (sound) {
      json.Text("coding", sound->CodingText())
          .Integer("samplesPerSecond", sound->samplesPerSecond)
          .Integer("channels", sound->channels)
          .Integer("bits", sound->bits);
    }
    json.Integer("packets", static_cast<std::int64_t>(packets))
        .Integer("bytes", static_cast<std::int64_t>(bytes))
        .Number("seconds", static_cast<double>(milliseconds) / 1000, 3)
        .Number("secondsBehindVideo", static_cast<double>(behindVideo) / 1000, 3);
    return json;
  }
};

std::string FoundText(AviContents::FoundBy foundBy) {
  switch (foundBy) {
    case AviContents::FoundBy::kOpenDmlIndexes:
      return "of OpenDML";
    case AviContents::FoundBy::kIndex:
      return "of the one segment";
    case AviContents::FoundBy::kChunks:
      break;
  }
  return "none that leads to all chunks; they were searched for";
}

/// What an AVI says about itself, and which codec would play it.
struct AviReport {
  std::string file;
  std::uint64_t fileBytes = 0;
  AviContents::FoundBy foundBy = AviContents::FoundBy::kChunks;
  std::vector<StreamReport> streams{};
  BitmapFormat bitmap;
  FourCc handler = 0;
  std::uint64_t formatBytes = 0;  ///< The bitmap header with all that follows it.
  FrameRate rate;
  SizeStatistics frames{};
  std::uint64_t keyFrames = 0;
  std::uint64_t emptyFrames = 0;
  /// The codec that plays the video. Empty when none is installed, and for uncompressed video.
  std::optional<CodecDescription> codec{};
  /// The headers of the first frame, if it is of MPEG-2.
  std::optional<MpegHeaders> mpeg{};

  std::string Text() const;
  JsonObject Json() const;
};

std::string AviReport::Text() const {
  const double seconds = static_cast<double>(frames.Count()) / rate.PerSecond();
  std::string text = Concat(file, ": AVI of ", ByteCountText(fileBytes), ", ",
                            CountText(streams.size() + 1, "stream"), "\n");
  text += Concat("  video       ", CountText(frames.Count(), "frame"), " at ", rate.Text(),
                 " frames/s, ", FixedText(seconds, 3), " s, handler ", HandlerText(handler), '\n');
  for (const StreamReport& stream : streams) {
    text += stream.Text();
  }
  text += Concat("  index       ", FoundText(foundBy), '\n');
  text += Concat("  picture     ", bitmap.width, 'x', std::abs(std::int64_t{bitmap.height}), ", ",
                 bitmap.bits, " bits a pixel");
  if (bitmap.compression == qivm::kBiRgb) {
    text += Concat(", rows from the ", bitmap.height < 0 ? "top down" : "bottom up");
  }
  text += Concat("\n  compression ", CompressionText(bitmap.compression), ", format of ",
                 formatBytes, " bytes\n  codec       ");
  if (codec) {
    text += codec->Text();
  } else {
    text += bitmap.NeedsCodec() ? "none installed that plays it" : "none needed";
  }
  text += Concat("\n  frames      ", ByteCountText(frames.Total()), ", ", frames.Text(), "\n");
  text +=
      Concat("  key frames  ", keyFrames, " of ", frames.Count(), ", ", emptyFrames, " empty\n");
  if (mpeg) {
    text += Concat("  first frame ", MpegText(*mpeg), ", ", QuantiserText(*mpeg), '\n');
  }
  return text;
}

std::vector<JsonObject> JsonList(const std::vector<StreamReport>& reports) {
  std::vector<JsonObject> list;
  list.reserve(reports.size());
  for (const StreamReport& report : reports) {
    list.push_back(report.Json());
  }
  return list;
}

JsonObject AviReport::Json() const {
  JsonObject json;
  json.Text("file", file)
      .Integer("fileBytes", static_cast<std::int64_t>(fileBytes))
      .Boolean("indexed", foundBy != AviContents::FoundBy::kChunks)
      .List("otherStreams", JsonList(streams))
      .Integer("width", bitmap.width)
      .Integer("height", bitmap.height)
      .Integer("bitsPerPixel", bitmap.bits)
      .Text("compression",
            bitmap.compression == qivm::kBiRgb ? "BI_RGB" : FourCcText(bitmap.compression))
      .Text("handler", HandlerText(handler))
      .Integer("formatBytes", static_cast<std::int64_t>(formatBytes))
      .Integer("rate", rate.numerator)
      .Integer("scale", rate.denominator)
      .Number("framesPerSecond", rate.PerSecond())
      .Integer("frames", static_cast<std::int64_t>(frames.Count()))
      .Integer("keyFrames", static_cast<std::int64_t>(keyFrames))
      .Integer("emptyFrames", static_cast<std::int64_t>(emptyFrames))
      .Object("frameBytes", frames.Json());
  if (codec) {
    json.Object("codec", codec->Json());
  } else {
    json.Null("codec");
  }
  if (mpeg) {
    json.Text("mpeg", MpegText(*mpeg));
  }
  return json;
}

StreamReport ReportStream(const AviReader& reader, std::size_t stream) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  StreamReport report{
      .title = StreamText(reader, stream), .name = headers.Name(), .type = headers.Type()};
  if (headers.IsSound()) {
    report.sound = ReadSoundFormat(headers.format);
  }
  for (const AviChunk& chunk : reader.Contents().streams[stream]) {
    ++report.packets;
    report.bytes += chunk.bytes;
  }
  if (headers.Rate().IsValid()) {
    report.milliseconds = headers.Rate().MillisecondsAt(EndOf(reader, stream));
    report.behindVideo = static_cast<std::int64_t>(report.milliseconds) -
                         static_cast<std::int64_t>(
                             reader.Rate().MillisecondsAt(EndOf(reader, reader.VideoStream())));
  }
  return report;
}

std::optional<MpegHeaders> MpegHeadersOf(std::span<const std::uint8_t> frame) {
  const MpegHeaders headers = ReadMpegHeaders(frame);
  return headers.hasSequence && headers.isMpeg2 ? std::optional(headers) : std::nullopt;
}

FrameReport ReportFrame(const AviReader& reader, std::uint32_t index, Bytes& frame) {
  const AviChunk& chunk = reader.Frame(index);
  FrameReport report{.bytes = chunk.bytes,
                     .isKeyFrame = chunk.isKeyFrame,
                     .isReadable = reader.Read(chunk, frame)};
  if (report.isReadable) {
    report.mpeg = MpegHeadersOf(frame);
  }
  return report;
}

void CountFrames(const AviReader& reader, AviReport& report) {
  for (const AviChunk& frame : reader.Frames()) {
    report.frames.Add(frame.bytes);
    report.emptyFrames += frame.bytes == 0 ? 1U : 0U;
    report.keyFrames += frame.isKeyFrame ? 1U : 0U;
  }
}

/// Prints the report with a line for each frame; all of them together might take more memory than
/// the file.
void PrintWithFrames(const AviReport& report, const AviReader& reader, bool asJson,
                     std::ostream& stream) {
  Bytes frame;
  std::uint32_t index = 0;
  if (asJson) {
    report.Json().Print(stream, "frameList", [&] {
      return index < reader.FrameCount() ? std::optional(ReportFrame(reader, index++, frame).Json())
                                         : std::nullopt;
    });
    stream << '\n';
    return;
  }
  stream << report.Text();
  for (; index < reader.FrameCount(); ++index) {
    stream << "  frame " << index + 1 << ": " << ReportFrame(reader, index, frame).Text() << '\n';
  }
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& file = arguments.Operand(0);
  const AviReader reader(file);
  AviReport report{.file = file,
                   .fileBytes = reader.FileSize(),
                   .foundBy = reader.Contents().foundBy,
                   .bitmap = ReadBitmapFormat(reader.Format()),
                   .handler = reader.Handler(),
                   .formatBytes = reader.Format().size(),
                   .rate = reader.Rate()};
  for (std::size_t i = 0; i < reader.Headers().streams.size(); ++i) {
    if (i != reader.VideoStream()) {
      report.streams.push_back(ReportStream(reader, i));
    }
  }
  CountFrames(reader, report);
  if (report.bitmap.NeedsCodec()) {
    if (reader.FrameCount() != 0) {
      Bytes frame;
      report.mpeg = ReportFrame(reader, 0, frame).mpeg;
    }
    const std::unique_ptr<Codec> codec = FindDecompressor(report.handler, reader.Format());
    if (codec != nullptr) {
      report.codec = codec->Describe();
    }
  }
  if (arguments.Has(kFramesOption.name)) {
    PrintWithFrames(report, reader, arguments.Has(kJsonOption.name), streams.output);
  } else {
    PrintReport(report, arguments, streams.output);
  }
}

}  // namespace

constinit const Command kInfoCommand = {
    .name = "info",
    .summary = "tell what an AVI is, and which codec plays it",
    .description =
        "Prints the headers of an AVI, its sound and how far it ends from the video, the sizes of "
        "the frames, what the first frame says of itself if it is of MPEG-2, and the codec "
        "that would play it.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool info clip.avi\n"
        "  vfwtool info clip.avi --frames\n"
        "  vfwtool info clip.avi --json",
    .run = Run,
};

}  // namespace vfwtool
