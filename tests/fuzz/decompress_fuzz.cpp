// Frames of any bytes through one decompressor, so that what a frame leaves in it meets the next:
// any size and output format, the kernels of every tier, one thread and several, either order of
// lines. No frame may fault but by the decoder's own will, write outside its bitmap or read outside
// its bytes, or be decoded differently by other kernels, on other threads or in the other order.

#include <algorithm>
#include <memory>
#include <vector>

#include "tests/core/kernel_tiers.h"
#include "tests/fuzz/frames_input.h"

namespace qivm::test {

namespace {

constexpr std::uint8_t kBackground = 0x55;

struct Screen {
  ClientFormat format;
  int width;
  int height;

  BitmapInfoHeader Header() const { return UncompressedHeader(format, width, height); }
};

/// The size that an input asks for, but for very large ones.
Screen ScreenOf(const FramesInput& input) {
  constexpr int kPixels = 1 << 14;
  if (!input.isOdd) {
    return {input.format, 16 * input.columns, 16 * input.rows};
  }
  return {input.format, input.oddWidth,
          std::min(input.oddHeight, kPixels / std::max(input.oddWidth, 1))};
}

/// What the bitmap holds after each frame, and whether that was decoded.
using Results = std::vector<std::pair<bool, Bytes>>;

Results DecodeAll(const FramesInput& input, const Screen& screen, const Processor& processor) {
  Results results;
  DecompressorContext context;
  const bool begun = context.Begin(screen.Header(), processor);
  Require(begun == (screen.width > 0 && screen.height > 0), "every size above zero is decoded");
  if (!begun) {
    return results;
  }
  Bytes bitmap(BitmapBytes(screen.format, screen.width, screen.height), kBackground);
  for (std::size_t i = 0; i < input.count; ++i) {
    // In memory of exactly its size, so that the bytes around it must not be read. Never a null
    // pointer: a host has an address for a frame of size 0 too.
    const auto& frame = input.frames[i];
    const auto bytes = std::make_unique<std::uint8_t[]>(frame.bytes.size());
    std::ranges::copy(frame.bytes, bytes.get());
    const bool decoded = DecodeSoundly(context, frame, bytes.get(), screen.Header(), bitmap.data());
    results.emplace_back(decoded, bitmap);
  }
  return results;
}

/// The first frame in both orders of lines: one line further down, or, where slices are missing,
/// not at all.
void CompareOrders(const FramesInput& input, const Screen& screen, const Processor& processor) {
  FramesInput first = input;
  first.count = 1;
  first.frames[0].shifted = false;
  const Bytes plain = DecodeAll(first, screen, processor).front().second;
  first.frames[0].shifted = true;
  const Bytes shifted = DecodeAll(first, screen, processor).front().second;
  Require(shifted == RotatedRows(screen.format, screen.width, screen.height, plain, 1) ||
              shifted == Bytes(plain.size(), kBackground),
          "the shifted picture is the plain one, a line further down");
}

void Fuzz(std::span<const std::uint8_t> bytes) {
  const FramesInput input = ReadFrames(bytes);
  const Screen screen = ScreenOf(input);
  static const KernelTier machine = Processor::Current().tier;
  // Two tiers are compared, seldom the plain one: it takes a multiple of the others' time.
  const bool plain = input.hash % 8 == 0 || machine < KernelTier::avx2;
  const KernelTier tier = plain ? KernelTier::plain : KernelTier::sse2;
  // Threads have to be started each time.
  const std::uint32_t choice = input.hash >> 8 & 31;
  const unsigned threads = choice < kThreadCounts.size() ? kThreadCounts[choice] : 1;

  const Results expected = DecodeAll(input, screen, {machine, 1});
  Require(DecodeAll(input, screen, {tier, threads, 1}) == expected,
          "all kernels on any number of threads make the same pixels");
  if ((input.hash >> 16 & 7) == 0 && !expected.empty()) {
    CompareOrders(input, screen, {machine, 1});
  }
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qivm::test::Fuzz({data, size});
  return 0;
}
