#include "tests/interop/codec_runs.h"

#include <stdexcept>

#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"
#include "tests/support/client_pictures.h"

namespace qivm::interop {

std::vector<Processor> ProcessorsToTest() {
  const KernelTier machine = Processor::Current().tier;
  return {{KernelTier::plain, 1}, {KernelTier::plain, 2}, {machine, 1}, {machine, 3}};
}

std::vector<Bytes> DecodeToYuy2(const std::vector<Bytes>& frames, Size size,
                                const Processor& processor) {
  constexpr std::uint8_t kUnwritten = 0xAB;
  BitmapInfoHeader output = test::UncompressedHeader(ClientFormat::yuy2, size.width, size.height);
  DecompressorContext context;
  if (!context.Begin(output, processor)) {
    throw std::runtime_error("the decompressor cannot begin");
  }
  std::vector<Bytes> pictures;
  for (const Bytes& frame : frames) {
    const BitmapInfoHeader input = test::CompressedHeader(size.width, size.height, frame.size());
    Bytes& picture = pictures.emplace_back(2 * size.Samples(), kUnwritten);
    if (context.DecodeFrame({&input, frame.data(), &output, picture.data()}) !=
        FrameOutcome::done) {
      throw std::runtime_error("a fault ended frame " + std::to_string(pictures.size() - 1));
    }
  }
  return pictures;
}

std::vector<Bytes> EncodeFrames(std::span<const std::uint8_t> pixels, Size size,
                                ClientFormat format, std::uint32_t quality,
                                const Processor& processor) {
  const BitmapInfoHeader input = test::UncompressedHeader(format, size.width, size.height);
  BitmapInfoHeader output = test::CompressedHeader(size.width, size.height);
  CompressorContext context;
  if (!context.Begin(output, input, processor)) {
    throw std::runtime_error("the compressor cannot begin");
  }
  std::vector<Bytes> frames;
  const std::size_t bitmapBytes = test::BitmapBytes(format, size.width, size.height);
  for (; !pixels.empty(); pixels = pixels.subspan(bitmapBytes)) {
    Bytes& frame = frames.emplace_back(size.Samples() * 3);
    if (context.EncodeFrame({&output, frame.data(), &input, pixels.data(), nullptr, quality}) !=
        FrameOutcome::done) {
      throw std::runtime_error("frame " + std::to_string(frames.size() - 1) + " cannot be coded");
    }
    frame.resize(output.biSizeImage);
  }
  return frames;
}

}  // namespace qivm::interop
