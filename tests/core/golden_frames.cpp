#include "tests/core/golden_frames.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "tests/support/random.h"

namespace qivm::test {

namespace {

std::span<const std::uint8_t> BytesOf(const std::string& name) {
  const auto file = std::ranges::find_if(
      kGoldenFiles, [&](const GoldenFile& candidate) { return candidate.name == name; });
  if (file == kGoldenFiles.end()) {
    throw std::runtime_error("no golden file " + name);
  }
  return file->bytes;
}

}  // namespace

Bytes GoldenPicture::Bitmap(int width, int height) const {
  Random random(noise);
  Bytes bitmap(BitmapBytes(format, width, height));
  const std::size_t rowBytes = bitmap.size() / static_cast<std::size_t>(height);
  for (std::size_t i = 0; i < bitmap.size(); ++i) {
    const std::size_t x = i % rowBytes;
    const std::size_t y = i / rowBytes;
    // Shading with edges, another in each field.
    const std::size_t calm = 30 + (x + 2 * y + 9 * (y % 2)) % 150 + (x / 24 % 2) * 40;
    bitmap[i] = static_cast<std::uint8_t>(calm * (255 - noise) / 255 + random.Below(noise + 1));
  }
  return bitmap;
}

std::string GoldenFrame::Line() const {
  std::ostringstream line;
  line << name << ' ' << width << ' ' << height << ' ' << turnedAway << ' ' << isOwn;
  if (isOwn) {
    line << ' ' << static_cast<int>(picture.format) << ' ' << picture.noise << ' '
         << picture.quality << ' ' << picture.processors << ' ' << static_cast<int>(picture.order);
  }
  line << std::hex;
  for (const auto& order : checksums) {
    for (const std::uint64_t checksum : order) {
      line << ' ' << checksum;
    }
  }
  return line.str();
}

GoldenFrame GoldenFrame::FromLine(const std::string& text) {
  std::istringstream line(text);
  GoldenFrame frame;
  line >> frame.name >> frame.width >> frame.height >> frame.turnedAway >> frame.isOwn;
  if (frame.isOwn) {
    int format = 0;
    int order = 0;
    line >> format >> frame.picture.noise >> frame.picture.quality >> frame.picture.processors >>
        order;
    frame.picture.format = static_cast<ClientFormat>(format);
    frame.picture.order = static_cast<Order>(order);
  }
  line >> std::hex;
  for (auto& order : frame.checksums) {
    for (std::uint64_t& checksum : order) {
      line >> checksum;
    }
  }
  if (!line) {
    throw std::runtime_error("no line of the manifest: " + text);
  }
  return frame;
}

std::vector<GoldenFrame> GoldenFrames() {
  const auto bytes = BytesOf("manifest.txt");
  std::istringstream manifest(std::string(bytes.begin(), bytes.end()));
  std::vector<GoldenFrame> frames;
  for (std::string line; std::getline(manifest, line);) {
    if (!line.empty() && line.front() != '#') {
      frames.push_back(GoldenFrame::FromLine(line));
    }
  }
  return frames;
}

Bytes GoldenBytes(const GoldenFrame& frame) {
  const auto bytes = BytesOf(frame.name);
  return {bytes.begin(), bytes.end()};
}

std::uint64_t Checksum(std::span<const std::uint8_t> bytes) {
  std::uint64_t sum = 0xCBF29CE484222325;
  for (const std::uint8_t byte : bytes) {
    sum = (sum ^ byte) * 0x100000001B3;
  }
  return sum;
}

GoldenFrame::Checksums DecodedChecksums(GoldenFrame& frame, const Bytes& stream, KernelTier tier) {
  GoldenFrame::Checksums checksums = {};
  for (std::size_t i = 0; i < kOutputFormats.size(); ++i) {
    const unsigned threads = i % 2 == 0 ? 1 : 3;
    Decompressor decompressor(kOutputFormats[i], frame.width, frame.height,
                              Processors(threads, tier));
    for (const Order order : {Order::plain, Order::shifted}) {
      checksums[static_cast<std::size_t>(order)][i] = Checksum(decompressor.Decode(stream, order));
      frame.turnedAway = decompressor.Outcome() == FrameOutcome::faulted;
    }
  }
  return checksums;
}

Bytes EncodedFrame(const GoldenFrame& frame, KernelTier tier) {
  Compressor compressor(frame.picture.format, frame.width, frame.height,
                        Processors(frame.picture.processors, tier));
  return compressor.Encode(frame.picture.Bitmap(frame.width, frame.height), frame.picture.quality,
                           frame.picture.order);
}

}  // namespace qivm::test
