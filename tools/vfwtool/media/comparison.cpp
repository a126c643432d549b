#include "tools/vfwtool/media/comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {

namespace {

constexpr double kPeak = 255.0;
constexpr std::array<std::string_view, 3> kYuvNames = {"Y", "U", "V"};
constexpr std::array<std::string_view, 3> kRgbNames = {"B", "G", "R"};

using Plane = std::vector<std::uint8_t>;

/// A picture as three planes.
struct Planes {
  std::array<Plane, 3> planes;

  Planes(const FrameLayout& layout, std::span<const std::uint8_t> picture) {
    const std::size_t samples = std::size_t{layout.width} * layout.height;
    if (!IsRgb(layout.format)) {
      planes = {Plane(samples), Plane(samples / 2), Plane(samples / 2)};
      Plane packed(layout.FrameBytes());
      Repack(layout, picture, PixelFormat::kYuy2, packed);
      UnpackYuy2(packed, layout.width, layout.height, {planes[0], planes[1], planes[2]});
      return;
    }
    const std::size_t step = PixelFormatBits(layout.format) / 8U;
    for (std::size_t colour = 0; colour < planes.size(); ++colour) {
      for (std::size_t y = 0; y < layout.height; ++y) {
        const std::span row = picture.subspan(y * layout.RowBytes(), layout.RowBytes());
        for (std::size_t x = 0; x < layout.width; ++x) {
          planes[colour].push_back(row[x * step + colour]);
        }
      }
    }
  }
};

std::string DecibelText(double psnr) {
  return std::isfinite(psnr) ? Concat(FixedText(psnr, 2), " dB") : "equal";
}

void RequireComparable(const ClipFormat& first, const ClipFormat& second) {
  const FrameLayout& a = first.layout;
  const FrameLayout& b = second.layout;
  if (a.width != b.width || a.height != b.height) {
    throw ToolError(ExitCode::kInput, Concat("the clips differ in size: ", a.width, 'x', a.height,
                                             " and ", b.width, 'x', b.height));
  }
  if (IsRgb(a.format) != IsRgb(b.format)) {
    throw ToolError(
        ExitCode::kInput,
        Concat("the clips are ", PixelFormatName(a.format), " and ", PixelFormatName(b.format),
               ", and this tool does not convert colours; a compressed AVI is "
               "decompressed to what --format says"));
  }
}

struct Window {
  std::int64_t a = 0;
  std::int64_t b = 0;
  std::int64_t squares = 0;
  std::int64_t products = 0;

  double Similarity() const {
    constexpr std::int64_t kSamples = 64;
    // (0.01 * 255)^2 and (0.03 * 255)^2, in the scale of the sums.
    constexpr double kC1 = 0.01 * 0.01 * kPeak * kPeak * kSamples;
    constexpr double kC2 = 0.03 * 0.03 * kPeak * kPeak * kSamples * (kSamples - 1);
    const auto meanProduct = static_cast<double>(a * b);
    const auto meanSquares = static_cast<double>(a * a + b * b);
    const double variances = static_cast<double>(squares * kSamples) - meanSquares;
    const double covariance = static_cast<double>(products * kSamples) - meanProduct;
    return (2 * meanProduct / kSamples + kC1) * (2 * covariance + kC2) /
           ((meanSquares / kSamples + kC1) * (variances + kC2));
  }
};

/// The bytes of a stream, whatever packets they come in.
class StreamBytes {
 public:
  StreamBytes(const AviReader& reader, std::size_t stream, std::uint64_t frames,
              const PacketDamage& damage)
      : packets_(reader, stream, {.from = 0, .to = EndMoment(reader, stream, frames)}, damage) {}

  /// The bytes at hand; none at the end.
  std::span<const std::uint8_t> Peek() {
    while (done_ == packet_.bytes.size() && packets_.NextBegin()) {
      packets_.Read(packet_);
      done_ = 0;
    }
    return std::span(packet_.bytes).subspan(done_);
  }
  void Skip(std::size_t bytes) { done_ += bytes; }

 private:
  static std::uint64_t EndMoment(const AviReader& reader, std::size_t stream,
                                 std::uint64_t frames) {
    const FrameRate rate = reader.Headers().streams[stream].Rate();
    return frames < reader.FrameCount() && rate.IsValid()
               ? reader.Rate().MomentIn(rate, reader.Video().Field(StreamField::kStart) + frames)
               : std::numeric_limits<std::uint64_t>::max();
  }

  AviPackets packets_;
  PacketSource::Packet packet_;
  std::size_t done_ = 0;
};

/// The place of the first byte in which two streams differ; empty when there is none.
std::optional<std::uint64_t> FirstDifference(StreamBytes& a, StreamBytes& b) {
  for (std::uint64_t position = 0;;) {
    const std::span<const std::uint8_t> bytesA = a.Peek();
    const std::span<const std::uint8_t> bytesB = b.Peek();
    const std::size_t common = std::min(bytesA.size(), bytesB.size());
    const auto same = static_cast<std::size_t>(
        std::ranges::mismatch(bytesA.first(common), bytesB.first(common)).in1 - bytesA.begin());
    if (same < common || bytesA.empty() != bytesB.empty()) {
      return position + same;
    }
    if (common == 0) {
      return std::nullopt;
    }
    position += common;
    a.Skip(common);
    b.Skip(common);
  }
}

/// When a stream begins, from the first frame on, in units of its rate; 0 where it has none.
std::int64_t BeginOf(const AviReader& reader, std::size_t stream) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  const std::uint64_t video =
      headers.Rate().IsValid()
          ? reader.Rate().MomentIn(headers.Rate(), reader.Video().Field(StreamField::kStart))
          : 0;
  return std::int64_t{headers.Field(StreamField::kStart)} - static_cast<std::int64_t>(video);
}

/// How two streams of sound differ but for their bytes; empty when they do not.
std::string DifferenceOfHeaders(const AviReader& first, std::size_t streamA,
                                const AviReader& second, std::size_t streamB) {
  const AviStreamHeaders& a = first.Headers().streams[streamA];
  const AviStreamHeaders& b = second.Headers().streams[streamB];
  if (a.format != b.format) {
    return "differs in format";
  }
  const FrameRate rate = a.Rate();
  if (std::uint64_t{rate.numerator} * b.Rate().denominator !=
      std::uint64_t{b.Rate().numerator} * rate.denominator) {
    return Concat("has the rate ", rate.Text(), " in the first clip and ", b.Rate().Text(),
                  " in the second");
  }
  const std::int64_t delay = BeginOf(second, streamB) - BeginOf(first, streamA);
  if (delay == 0) {
    return {};
  }
  const auto units = static_cast<std::uint64_t>(std::abs(delay));
  return Concat("begins ",
                rate.IsValid() ? TimeText(rate.MillisecondsAt(units)) : CountText(units, "unit"),
                delay > 0 ? " later" : " earlier", " in the second clip");
}

}  // namespace

void PlaneDifference::Add(std::uint8_t a, std::uint8_t b) {
  const std::uint32_t distance = a > b ? std::uint32_t{a} - b : std::uint32_t{b} - a;
  ++samples;
  squares += std::uint64_t{distance} * distance;
  largest = std::max(largest, distance);
}

PlaneDifference& PlaneDifference::operator+=(const PlaneDifference& other) {
  samples += other.samples;
  squares += other.squares;
  largest = std::max(largest, other.largest);
  return *this;
}

double PlaneDifference::Psnr() const {
  if (squares == 0) {
    return std::numeric_limits<double>::infinity();
  }
  const double meanSquare = static_cast<double>(squares) / static_cast<double>(samples);
  return 10 * std::log10(kPeak * kPeak / meanSquare);
}

PlaneDifference ComparisonReport::Overall() const {
  PlaneDifference sum;
  for (const PlaneDifference& plane : planes) {
    sum += plane;
  }
  return sum;
}

std::string ComparisonReport::Text() const {
  std::string text = Concat("compared ", CountText(frames, "frame"), " of ", format.layout.width,
                            'x', format.layout.height, " of ", first, " and ", second, '\n');
  for (std::size_t i = 0; i < planes.size(); ++i) {
    text += Concat("  PSNR ", planeNames[i], "      ", DecibelText(planes[i].Psnr()),
                   ", largest difference ", planes[i].largest, '\n');
  }
  text += Concat("  PSNR        ", DecibelText(Overall().Psnr()));
  if (Overall().squares != 0) {
    text += Concat(", lowest ", DecibelText(worstPsnr), " in frame ", worstFrame);
  }
  text += Concat("\n  SSIM        ", FixedText(ssim, 5), '\n');
  if (sound) {
    text += Concat("  sound       ",
                   !sound->difference.empty() ? sound->difference
                   : sound->streams == 0      ? "none"
                                              : Concat("the same, byte for byte (",
                                                       CountText(sound->streams, "stream"), ')'),
                   '\n');
  }
  return text;
}

JsonObject ComparisonReport::Json() const {
  JsonObject json;
  json.Text("first", first)
      .Text("second", second)
      .Integer("width", format.layout.width)
      .Integer("height", format.layout.height)
      .Integer("frames", static_cast<std::int64_t>(frames))
      .Boolean("equal", Overall().squares == 0);
  std::vector<JsonObject> list;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    JsonObject plane;
    plane.Text("plane", planeNames[i])
        .Number("psnr", planes[i].Psnr(), 4)
        .Integer("largestDifference", planes[i].largest);
    list.push_back(plane);
  }
  json.List("planes", list)
      .Number("psnr", Overall().Psnr(), 4)
      .Integer("worstFrame", static_cast<std::int64_t>(worstFrame))
      .Number("worstPsnr", worstPsnr, 4)
      .Number("ssim", ssim, 6);
  if (sound) {
    json.Integer("soundStreams", static_cast<std::int64_t>(sound->streams))
        .Boolean("soundEqual", sound->difference.empty())
        .Text("soundDifference", sound->difference);
  }
  return json;
}

double Ssim(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, std::size_t width,
            std::size_t height) {
  constexpr std::size_t kWindow = 8;
  constexpr std::size_t kStep = 4;
  double sum = 0;
  std::size_t windows = 0;
  for (std::size_t top = 0; top + kWindow <= height; top += kStep) {
    for (std::size_t left = 0; left + kWindow <= width; left += kStep) {
      Window window;
      for (std::size_t y = top; y < top + kWindow; ++y) {
        for (std::size_t x = left; x < left + kWindow; ++x) {
          const std::int64_t p = a[y * width + x];
          const std::int64_t q = b[y * width + x];
          window.a += p;
          window.b += q;
          window.squares += p * p + q * q;
          window.products += p * q;
        }
      }
      sum += window.Similarity();
      ++windows;
    }
  }
  // Pictures smaller than a window have no structure to compare.
  return windows == 0 ? (std::ranges::equal(a, b) ? 1.0 : 0.0) : sum / static_cast<double>(windows);
}

SoundComparison CompareSound(const AviReader& first, const AviReader& second, std::uint64_t frames,
                             const PacketDamage& damage) {
  const std::vector<std::size_t> soundA = first.SoundStreams();
  const std::vector<std::size_t> soundB = second.SoundStreams();
  SoundComparison comparison;
  for (std::size_t i = 0; i < std::min(soundA.size(), soundB.size()); ++i) {
    if (const std::string difference = DifferenceOfHeaders(first, soundA[i], second, soundB[i]);
        !difference.empty()) {
      comparison.difference = Concat("stream ", i + 1, ' ', difference);
      return comparison;
    }
    StreamBytes a(first, soundA[i], frames, damage);
    StreamBytes b(second, soundB[i], frames, damage);
    if (const std::optional<std::uint64_t> position = FirstDifference(a, b)) {
      const std::uint64_t bytesPerSecond =
          std::max(ReadSoundFormat(first.Headers().streams[soundA[i]].format).bytesPerSecond,
                   std::uint32_t{1});
      comparison.difference = Concat("stream ", i + 1, " differs from its byte ", *position,
                                     " on, at about ", TimeText(1000 * *position / bytesPerSecond));
      return comparison;
    }
    ++comparison.streams;
  }
  if (soundA.size() != soundB.size()) {
    comparison.difference = Concat("the first clip has ", CountText(soundA.size(), "stream"),
                                   ", the second ", soundB.size());
  }
  return comparison;
}

ComparisonReport CompareClips(FrameSource& first, FrameSource& second, std::uint64_t maxFrames) {
  RequireComparable(first.Format(), second.Format());
  const FrameLayout layoutA = first.Format().layout;
  const FrameLayout layoutB = second.Format().layout;
  const bool isRgb = IsRgb(layoutA.format);
  ComparisonReport report;
  report.format = first.Format();
  const auto& names = isRgb ? kRgbNames : kYuvNames;
  report.planeNames.assign(names.begin(), names.end());
  report.planes.resize(names.size());
  report.worstPsnr = std::numeric_limits<double>::infinity();
  report.worstFrame = 1;
  double similarity = 0;
  std::vector<std::uint8_t> frameA(layoutA.FrameBytes());
  std::vector<std::uint8_t> frameB(layoutB.FrameBytes());
  for (; report.frames < maxFrames; ++report.frames) {
    const bool hasA = first.Read(frameA);
    if (hasA != second.Read(frameB)) {
      throw ToolError(ExitCode::kInput,
                      Concat("the ", hasA ? "second" : "first", " clip ends after ",
                             CountText(report.frames, "frame"),
                             ", the other goes on; --frames tells how many to compare"));
    }
    if (!hasA) {
      break;
    }
    const Planes a(layoutA, frameA);
    const Planes b(layoutB, frameB);
    PlaneDifference frame;
    for (std::size_t i = 0; i < report.planes.size(); ++i) {
      PlaneDifference plane;
      for (std::size_t j = 0; j < a.planes[i].size(); ++j) {
        plane.Add(a.planes[i][j], b.planes[i][j]);
      }
      report.planes[i] += plane;
      frame += plane;
      if (isRgb || i == 0) {
        similarity += Ssim(a.planes[i], b.planes[i], layoutA.width, layoutA.height) /
                      (isRgb ? static_cast<double>(names.size()) : 1.0);
      }
    }
    if (frame.Psnr() < report.worstPsnr) {
      report.worstPsnr = frame.Psnr();
      report.worstFrame = report.frames + 1;
    }
  }
  if (report.frames == 0) {
    throw ToolError(ExitCode::kInput, "the clips have no frames");
  }
  report.ssim = similarity / static_cast<double>(report.frames);
  return report;
}

}  // namespace vfwtool
