#include "tools/vfwtool/media/y4m.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {
namespace {

/// The first word of every Y4M clip.
constexpr std::string_view kSignature = "YUV4MPEG2";

constexpr std::string_view kFrameWord = "FRAME";
constexpr std::string_view kChroma422 = "422";
// The format sets no limit; no real clip comes near this one.
constexpr std::size_t kMaxLineBytes = 4096;

/// Reads up to the next line end into `line`. False when the stream ends before any byte.
bool ReadLine(std::istream& stream, const std::string& name, std::string& line) {
  line.clear();
  for (int byte = stream.get(); byte != std::istream::traits_type::eof(); byte = stream.get()) {
    if (byte == '\n') {
      return true;
    }
    if (line.size() == kMaxLineBytes) {
      RefuseInput(name, "a header line of the Y4M clip does not end");
    }
    line += static_cast<char>(byte);
  }
  if (!line.empty()) {
    RefuseInput(name, "the Y4M clip ends inside a header line");
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
    RefuseInput(name, "the Y4M header gives the picture a ", which, " of '", text,
                "'; it must be a number from 1 to ", kMaxPictureSide);
  }
  return *side;
}

FrameRate ParseRate(std::string_view text, const std::string& name) {
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) {
    const std::optional<std::uint32_t> numerator = ParseNumber(text.substr(0, colon));
    const std::optional<std::uint32_t> denominator = ParseNumber(text.substr(colon + 1));
    const FrameRate rate{numerator.value_or(0), denominator.value_or(0)};
    if (rate.IsValid()) {
      return rate;
    }
  }
  RefuseInput(name, "the Y4M header gives the frame rate as '", text,
              "'; an AVI needs one such as 25:1");
}

void CheckChroma(std::string_view chroma, const std::string& name) {
  if (chroma != kChroma422) {
    RefuseInput(name, "the Y4M clip has the sample format '", chroma,
                "'; only 422 (4:2:2 with 8 bits a sample) is taken. Convert it first, for "
                "instance with: ffmpeg -i CLIP -pix_fmt yuv422p -f yuv4mpegpipe OUT.y4m");
  }
}

constexpr std::array kFieldOrders = {
    std::pair{'p', FieldOrder::kProgressive}, std::pair{'t', FieldOrder::kTopFirst},
    std::pair{'b', FieldOrder::kBottomFirst}, std::pair{'m', FieldOrder::kMixed},
    std::pair{'?', FieldOrder::kUnknown},
};

FieldOrder ParseFieldOrder(std::string_view text) {
  for (const auto& [letter, order] : kFieldOrders) {
    if (text == std::string_view(&letter, 1)) {
      return order;
    }
  }
  return FieldOrder::kUnknown;
}

char FieldOrderLetter(FieldOrder order) {
  const auto* const found =
      std::ranges::find(kFieldOrders, order, [](const auto& entry) { return entry.second; });
  return found->first;
}

/// The bytes of a picture's planes.
std::size_t PlaneBytes(const FrameLayout& layout) {
  return std::size_t{2} * layout.width * layout.height;
}

Planes422 CarvePlanes(std::span<std::uint8_t> bytes) {
  const std::size_t samples = bytes.size() / 2;
  return {bytes.first(samples), bytes.subspan(samples, samples / 2),
          bytes.subspan(samples + samples / 2)};
}

}  // namespace

Y4mHeader ParseY4mHeader(std::string_view line, const std::string& name) {
  Y4mHeader header;
  // A clip without a C parameter is 4:2:0 by definition of the format.
  std::string_view chroma = "420";
  std::size_t position = line.find(' ');
  if (line.substr(0, position) != kSignature) {
    RefuseInput(name, "is not a Y4M clip");
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
      case 'I':
        header.fields = ParseFieldOrder(value);
        break;
      case 'C':
        chroma = value;
        break;
      default:
        break;
    }
  }
  if (header.width == 0 || header.height == 0) {
    RefuseInput(name, "the Y4M header states no picture size");
  }
  if (header.rate.numerator == 0) {
    RefuseInput(name, "the Y4M header states no frame rate; an AVI needs one");
  }
  CheckChroma(chroma, name);
  if (header.width % 2 != 0) {
    RefuseInput(name, "the pictures are ", header.width,
                " pixels wide; packed 4:2:2 needs an even width");
  }
  return header;
}

std::string Y4mHeaderLine(const Y4mHeader& header) {
  return Concat(kSignature, " W", header.width, " H", header.height, " F", header.rate.numerator,
                ':', header.rate.denominator, " I", FieldOrderLetter(header.fields), " A0:0 C",
                kChroma422);
}

Y4mSource::Y4mSource(std::istream& stream, std::string name,
                     std::optional<std::uint64_t> streamBytes)
    : stream_(stream), name_(std::move(name)) {
  std::string line;
  if (!ReadLine(stream_, name_, line)) {
    RefuseInput(name_, "is empty");
  }
  const Y4mHeader header = ParseY4mHeader(line, name_);
  format_ = {{PixelFormat::kYuy2, header.width, header.height}, header.rate, header.fields};
  if (streamBytes) {
    const std::uint64_t headerBytes = line.size() + 1;
    const std::uint64_t frameBytes = kFrameWord.size() + 1 + PlaneBytes(format_.layout);
    frameCount_ = (*streamBytes - std::min(headerBytes, *streamBytes)) / frameBytes;
  }
  if (!ReadFrame()) {
    RefuseInput(name_, "has no frames");
  }
  hasFrame_ = true;
}

/// Reads the next frame's planes; false at the end of the clip.
bool Y4mSource::ReadFrame() {
  std::string line;
  if (!ReadLine(stream_, name_, line)) {
    return false;
  }
  // Parameters of a frame follow a blank; they repeat or refine the clip's and change no size.
  if (std::string_view(line).substr(0, line.find(' ')) != kFrameWord) {
    RefuseInput(name_, "the Y4M clip is damaged: no frame begins after ",
                CountText(framesRead_, "frame"));
  }
  // The first frame's memory grows with what there is of it.
  constexpr std::size_t kBlock = std::size_t{1} << 20;
  const std::size_t size = PlaneBytes(format_.layout);
  for (std::size_t done = 0; done < size;) {
    const std::size_t bytes = std::min(kBlock, size - done);
    planeBytes_.resize(std::max(planeBytes_.size(), done + bytes));
    stream_.read(reinterpret_cast<char*>(planeBytes_.data() + done),
                 static_cast<std::streamsize>(bytes));
    if (static_cast<std::size_t>(stream_.gcount()) != bytes) {
      RefuseInput(name_, "the Y4M clip ends inside its frame ", framesRead_ + 1);
    }
    done += bytes;
  }
  return true;
}

bool Y4mSource::Read(std::span<std::uint8_t> frame) {
  if (!hasFrame_ && !ReadFrame()) {
    return false;
  }
  hasFrame_ = false;
  ++framesRead_;
  PackYuy2(CarvePlanes(planeBytes_), format_.layout.width, format_.layout.height, frame);
  return true;
}

Y4mSink::Y4mSink(Output& output, const ClipFormat& format)
    : output_(output),
      layout_(format.layout),
      packed_(layout_.FrameBytes()),
      planeBytes_(PlaneBytes(layout_)) {
  output_.Write(
      Concat(Y4mHeaderLine({layout_.width, layout_.height, format.rate, format.fields}), '\n'));
}

void Y4mSink::Write(std::span<const std::uint8_t> frame) {
  Repack(layout_, frame, PixelFormat::kYuy2, packed_);
  UnpackYuy2(packed_, layout_.width, layout_.height, CarvePlanes(planeBytes_));
  output_.Write(Concat(kFrameWord, '\n'));
  output_.Write(planeBytes_);
  output_.Keep();
  ++frames_;
}

}  // namespace vfwtool
