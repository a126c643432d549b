#include "tools/vfwtool/y4m.h"

#include <charconv>
#include <cstddef>
#include <span>
#include <utility>

#include "tools/vfwtool/stream_output.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::string_view kFrameWord = "FRAME";
constexpr std::string_view kChroma422 = "422";
// The format sets no limit; no real clip comes near this one.
constexpr std::size_t kMaxLineBytes = 4096;

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why));
}

/// Reads up to the next line end into `line`. False when the stream ends before any byte.
bool ReadLine(std::istream& stream, const std::string& name, std::string& line) {
  line.clear();
  for (int byte = stream.get(); byte != std::istream::traits_type::eof(); byte = stream.get()) {
    if (byte == '\n') {
      return true;
    }
    if (line.size() == kMaxLineBytes) {
      Refuse(name, "a header line of the Y4M clip does not end");
    }
    line += static_cast<char>(byte);
  }
  if (!line.empty()) {
    Refuse(name, "the Y4M clip ends inside a header line");
  }
  return false;
}

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

std::uint32_t ParseSide(std::string_view text, const std::string& name, const char* which) {
  const std::optional<std::uint32_t> side = ParseNumber(text);
  if (!side || *side == 0 || *side > kMaxPictureSide) {
    Refuse(name, Concat("the Y4M header gives the picture a ", which, " of '", text,
                        "'; it must be a number from 1 to ", kMaxPictureSide));
  }
  return *side;
}

FrameRate ParseRate(std::string_view text, const std::string& name) {
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) {
    const std::optional<std::uint32_t> numerator = ParseNumber(text.substr(0, colon));
    const std::optional<std::uint32_t> denominator = ParseNumber(text.substr(colon + 1));
    if (numerator && denominator && *numerator != 0 && *denominator != 0) {
      return {*numerator, *denominator};
    }
  }
  Refuse(name, Concat("the Y4M header gives the frame rate as '", text,
                      "'; an AVI needs one such as 25:1"));
}

void CheckChroma(std::string_view chroma, const std::string& name) {
  if (chroma != kChroma422) {
    Refuse(name, Concat("the Y4M clip has the sample format '", chroma,
                        "'; only 422 (4:2:2 with 8 bits a sample) is taken. Convert it first, for "
                        "instance with: ffmpeg -i CLIP -pix_fmt yuv422p -f yuv4mpegpipe OUT.y4m"));
  }
}

Planes422 CarvePlanes(std::vector<std::uint8_t>& bytes, std::uint32_t width, std::uint32_t height) {
  const std::size_t samples = std::size_t{width} * height;
  bytes.resize(2 * samples);
  const std::span<std::uint8_t> all(bytes);
  return {all.first(samples), all.subspan(samples, samples / 2),
          all.subspan(samples + samples / 2, samples / 2)};
}

}  // namespace

Y4mHeader ParseY4mHeader(std::string_view line, const std::string& name) {
  Y4mHeader header;
  // A clip without a C parameter is 4:2:0 by definition of the format.
  std::string_view chroma = "420";
  std::size_t position = line.find(' ');
  if (line.substr(0, position) != kY4mSignature) {
    Refuse(name, "is not a Y4M clip");
  }
  while (position != std::string_view::npos) {
    const std::size_t start = position + 1;
    position = line.find(' ', start);
    const std::string_view word = line.substr(
        start, position == std::string_view::npos ? std::string_view::npos : position - start);
    if (word.empty()) {
      continue;
    }
    const std::string_view value = word.substr(1);
    switch (word.front()) {
      case 'W':
        header.width = ParseSide(value, name, "width");
        break;
      case 'H':
        header.height = ParseSide(value, name, "height");
        break;
      case 'F':
        header.rate = ParseRate(value, name);
        break;
      case 'C':
        chroma = value;
        break;
      default:
        break;
    }
  }
  if (header.width == 0 || header.height == 0) {
    Refuse(name, "the Y4M header states no picture size");
  }
  if (header.rate.numerator == 0) {
    Refuse(name, "the Y4M header states no frame rate; an AVI needs one");
  }
  CheckChroma(chroma, name);
  if (header.width % 2 != 0) {
    Refuse(name, Concat("the pictures are ", header.width,
                        " pixels wide; packed 4:2:2 needs an even width"));
  }
  return header;
}

std::string Y4mHeaderLine(const Y4mHeader& header) {
  return Concat(kY4mSignature, " W", header.width, " H", header.height, " F", header.rate.numerator,
                ':', header.rate.denominator, " I? A0:0 C", kChroma422);
}

Y4mSource::Y4mSource(std::istream& stream, std::string name,
                     std::optional<std::uint64_t> streamBytes)
    : stream_(stream), name_(std::move(name)) {
  std::string line;
  if (!ReadLine(stream_, name_, line)) {
    Refuse(name_, "is empty");
  }
  const Y4mHeader header = ParseY4mHeader(line, name_);
  format_ = {{PixelFormat::kYuy2, header.width, header.height}, header.rate};
  planes_ = CarvePlanes(planeBytes_, header.width, header.height);
  if (streamBytes) {
    const std::uint64_t headerBytes = line.size() + 1;
    const std::uint64_t frameBytes = kFrameWord.size() + 1 + planeBytes_.size();
    frameCount_ = (*streamBytes - std::min(headerBytes, *streamBytes)) / frameBytes;
  }
}

bool Y4mSource::ReadFrameHeader() {
  std::string line;
  if (!ReadLine(stream_, name_, line)) {
    return false;
  }
  // Parameters of a frame follow a blank; they repeat or refine the clip's and change no size.
  const std::string_view word = std::string_view(line).substr(0, line.find(' '));
  if (word != kFrameWord) {
    Refuse(name_, Concat("the Y4M clip is damaged: no frame begins after ",
                         CountText(framesRead_, "frame")));
  }
  return true;
}

bool Y4mSource::Read(std::span<std::uint8_t> frame) {
  if (!ReadFrameHeader()) {
    return false;
  }
  stream_.read(reinterpret_cast<char*>(planeBytes_.data()),
               static_cast<std::streamsize>(planeBytes_.size()));
  if (static_cast<std::size_t>(stream_.gcount()) != planeBytes_.size()) {
    Refuse(name_, Concat("the Y4M clip ends inside its frame ", framesRead_ + 1));
  }
  ++framesRead_;
  PackYuy2(planes_, format_.layout.width, format_.layout.height, frame);
  return true;
}

Y4mSink::Y4mSink(std::ostream& stream, std::string name, const ClipFormat& format)
    : stream_(stream), name_(std::move(name)), layout_(format.layout) {
  packed_.resize(layout_.FrameBytes());
  planes_ = CarvePlanes(planeBytes_, layout_.width, layout_.height);
  WriteText(stream_, name_,
            Concat(Y4mHeaderLine({layout_.width, layout_.height, format.rate}), '\n'));
}

void Y4mSink::Write(std::span<const std::uint8_t> frame) {
  Repack(layout_, frame, PixelFormat::kYuy2, packed_);
  UnpackYuy2(packed_, layout_.width, layout_.height, planes_);
  WriteText(stream_, name_, Concat(kFrameWord, '\n'));
  WriteBytes(stream_, name_, planeBytes_);
}

void Y4mSink::Finish() { FlushOutput(stream_, name_); }

}  // namespace qivm
