#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tests/core/codec_runs.h"
#include "tests/support/client_pictures.h"

/// Frames that were recorded once, with what the codec must make of them and how it must make them:
/// so that codec and model cannot change together. The files are in tests/core/golden, which
/// make_golden_frames has written, and are part of the program that looks at them.
namespace qivm::test {

struct GoldenFile {
  const char* name;
  std::span<const std::uint8_t> bytes;
};
/// The manifest and the frames that it names.
extern const std::span<const GoldenFile> kGoldenFiles;

/// What a recorded frame is made from: pixels that need no arithmetic which could differ from one
/// machine to another.
struct GoldenPicture {
  ClientFormat format = ClientFormat::yuy2;
  /// How much of a pixel is chance, from 0 to 255.
  unsigned noise = 0;
  std::uint32_t quality = 0;
  unsigned processors = 1;
  Order order = Order::plain;

  Bytes Bitmap(int width, int height) const;
};

/// One line of the manifest: what a frame is, and the checksums of the pixels that it leaves in a
/// bitmap which held Background().
struct GoldenFrame {
  static constexpr std::size_t kOrders = 2;
  using Checksums = std::array<std::array<std::uint64_t, kOutputFormats.size()>, kOrders>;

  std::string name;
  int width = 0;
  int height = 0;
  bool turnedAway = false;
  /// Whether the codec makes the frame of a picture; another program might have made the others.
  bool isOwn = false;
  GoldenPicture picture;
  Checksums checksums = {};

  std::string Line() const;
  static GoldenFrame FromLine(const std::string& line);
};

/// The manifest's frames.
std::vector<GoldenFrame> GoldenFrames();
/// The bytes of one of them.
Bytes GoldenBytes(const GoldenFrame& frame);

std::uint64_t Checksum(std::span<const std::uint8_t> bytes);

/// The checksums of a frame as the codec decodes it, on one thread and on several by turns. Sets
/// whether it was turned away.
GoldenFrame::Checksums DecodedChecksums(GoldenFrame& frame, const Bytes& stream, KernelTier tier);

/// The frame that the codec makes.
Bytes EncodedFrame(const GoldenFrame& frame, KernelTier tier);

}  // namespace qivm::test
