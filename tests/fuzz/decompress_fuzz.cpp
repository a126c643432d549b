// Frames of any bytes through one decompressor, so that what a frame leaves in it meets the next:
// any size and output format, every processor class, with a worker and without, either field order.
// No frame may fault but by the decoder's own will, write outside its bitmap, or be decoded
// differently by another class.

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "decoder/decompressor_context.h"
#include "platform/platform_hooks.h"
#include "tests/fuzz/fuzz_input.h"

namespace qivm::test {

namespace {

/// A frame in memory of exactly its size, so that the byte behind it must not be read. Never a null
/// pointer: a host has an address for a frame of size 0 too.
struct Frame {
  Frame(FuzzedDataProvider& input, bool last) : shifted(input.ConsumeBool()) {
    const Bytes content = last ? input.ConsumeRemainingBytes<std::uint8_t>()
                               : input.ConsumeBytes<std::uint8_t>(
                                     input.ConsumeIntegralInRange<std::size_t>(0, 0xFFFF));
    size = content.size();
    bytes = std::make_unique<std::uint8_t[]>(size);
    std::copy(content.begin(), content.end(), bytes.get());
  }

  bool shifted;
  std::size_t size = 0;
  std::unique_ptr<std::uint8_t[]> bytes;
};

/// Whether the decoder has turned a frame away, which it does by a fault under its own guard, for a
/// table that it does not offer. Any thread of a frame may.
std::atomic<bool> g_turnedAway = false;

void NoteTurnedAway(const char* text) {
  g_turnedAway = g_turnedAway || std::strcmp(text, "USING TABLE ZERO\n") == 0;
}

/// What the bitmap holds after each frame.
std::vector<Bytes> DecodeAll(const std::vector<Frame>& frames, ClientFormat format, int width,
                             int height, const Processor& processor) {
  std::vector<Bytes> bitmaps;
  DecompressorContext context;
  BitmapInfoHeader outputFormat = UncompressedHeader(format, width, height);
  if (!context.Begin(outputFormat, processor)) {
    return bitmaps;
  }
  Bytes bitmap(BitmapBytes(format, width, height), 0x55);
  for (const Frame& compressed : frames) {
    const BitmapInfoHeader inputFormat = CompressedHeader(width, height, compressed.size);
    const DecompressFrame frame = {&inputFormat, compressed.bytes.get(), &outputFormat,
                                   bitmap.data()};
    g_turnedAway = false;
    const bool sound =
        compressed.shifted ? context.DecodeFrameShifted(frame) : context.DecodeFrame(frame);
    Require(sound != g_turnedAway, "no frame faults unless it is turned away");
    bitmaps.push_back(bitmap);
  }
  return bitmaps;
}

void Fuzz(FuzzedDataProvider& input) {
  constexpr int kPixels = 1 << 14;
  const ClientFormat format = input.PickValueInArray(kOutputFormats);
  const int width = 16 * input.ConsumeIntegralInRange<int>(0, 175) - input.ConsumeBool();
  const int height = std::min(16 * input.ConsumeIntegralInRange<int>(0, 175) - input.ConsumeBool(),
                              kPixels / std::max(width, 1));
  const Processor processor = TakeProcessor(input);

  std::vector<Frame> frames;
  for (int left = input.ConsumeIntegralInRange(0, 2); left >= 0; --left) {
    frames.emplace_back(input, left == 0);
  }
  platform::Hooks().debugText = &NoteTurnedAway;
  const auto bitmaps = DecodeAll(frames, format, width, height, processor);
  Require(bitmaps.empty() == (width <= 0 || height <= 0), "every size above zero is decoded");
  if (processor.count == 1) {
    // With a worker, slices that claim each other's rows are drawn in either order.
    Require(bitmaps == DecodeAll(frames, format, width, height, {CpuClass::plain, 1}),
            "all classes make the same pixels");
  }
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
