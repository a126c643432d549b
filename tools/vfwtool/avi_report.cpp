#include "tools/vfwtool/avi_report.h"

#include <cstdlib>

#include "tools/vfwtool/pixel_format.h"
#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

std::string CompressionText(FourCc compression) {
  constexpr FourCc kBitFields = 3;
  switch (compression) {
    case 0:
      return "none (BI_RGB)";
    case kBitFields:
      return "none (BI_BITFIELDS)";
    default:
      return FourCcText(compression);
  }
}

std::string HandlerText(FourCc handler) { return handler == 0 ? "none" : FourCcText(handler); }

std::string PictureText(const MpegHeaders& mpeg) {
  constexpr std::uint32_t kFrameStructure = 3;
  return Concat(CountText(mpeg.pictures,
                          mpeg.structure == kFrameStructure ? "frame picture" : "field picture"),
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
                " scan, ", mpeg.isTopFieldFirst ? "top" : "bottom", " field first");
}

}  // namespace

std::string AviFrameReport::Text() const {
  std::string text = Concat(CountText(bytes, "byte"), isKeyFrame ? ", key frame" : "");
  if (mpeg) {
    text += Concat(", ", PictureText(*mpeg), ", ", QuantiserText(*mpeg));
  }
  return text;
}

JsonObject AviFrameReport::Json() const {
  JsonObject json;
  json.Integer("bytes", static_cast<std::int64_t>(bytes)).Boolean("keyFrame", isKeyFrame);
  if (mpeg) {
    json.Integer("pictures", mpeg->pictures)
        .Integer("pictureStructure", mpeg->structure)
        .Boolean("intra", mpeg->areAllIntra)
        .Integer("smallestQuantiserCode", mpeg->smallestQuantiser)
        .Integer("largestQuantiserCode", mpeg->largestQuantiser);
  }
  return json;
}

JsonObject AviStreamReport::Json() const {
  JsonObject json;
  json.Text("type", FourCcText(type))
      .Text("handler", HandlerText(handler))
      .Integer("length", static_cast<std::int64_t>(length));
  return json;
}

bool AviReport::IsCompressed() const { return NeedsCodec(compression, bits); }

std::string AviReport::Text() const {
  const double seconds = static_cast<double>(frames.Count()) / rate.PerSecond();
  std::string text = Concat(file, ": AVI of ", ByteCountText(fileBytes), ", ",
                            CountText(streams.size(), "stream"), "\n");
  for (const AviStreamReport& stream : streams) {
    text += Concat("  stream      ", FourCcText(stream.type), ", handler ",
                   HandlerText(stream.handler), ", length ", stream.length, '\n');
  }
  text += Concat("  video       ", CountText(frames.Count(), "frame"), " at ", rate.Text(),
                 " frames/s, ", FixedText(seconds, 3), " s\n");
  text += Concat("  picture     ", width, 'x', std::abs(std::int64_t{height}), ", ", bits,
                 " bits a pixel");
  if (compression == 0) {
    text += Concat(", rows from the ", height < 0 ? "top down" : "bottom up");
  }
  text += '\n';
  text += Concat("  compression ", CompressionText(compression), ", format of ", formatBytes,
                 " bytes\n");
  text += "  codec       ";
  if (codec) {
    text += codec->Text();
  } else if (IsCompressed()) {
    text += "none installed that plays it";
  } else {
    text += "none needed";
  }
  text += Concat("\n  frames      ", ByteCountText(frames.Total()), ", ", frames.Text(), "\n");
  text +=
      Concat("  key frames  ", keyFrames, " of ", frames.Count(), ", ", emptyFrames, " empty\n");
  if (mpeg) {
    text += Concat("  first frame ", MpegText(*mpeg), ", ", QuantiserText(*mpeg), '\n');
  }
  for (std::size_t i = 0; i < frameList.size(); ++i) {
    text += Concat("  frame ", i + 1, ": ", frameList[i].Text(), '\n');
  }
  return text;
}

JsonObject AviReport::Json() const {
  std::vector<JsonObject> streamList;
  for (const AviStreamReport& stream : streams) {
    streamList.push_back(stream.Json());
  }
  JsonObject json;
  json.Text("file", file)
      .Integer("fileBytes", static_cast<std::int64_t>(fileBytes))
      .List("streams", streamList)
      .Integer("width", width)
      .Integer("height", height)
      .Integer("bitsPerPixel", bits)
      .Text("compression", compression == 0 ? "BI_RGB" : FourCcText(compression))
      .Text("handler", HandlerText(handler))
      .Integer("formatBytes", formatBytes)
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
  if (!frameList.empty()) {
    std::vector<JsonObject> list;
    for (const AviFrameReport& frame : frameList) {
      list.push_back(frame.Json());
    }
    json.List("frameList", list);
  }
  return json;
}

}  // namespace qivm
