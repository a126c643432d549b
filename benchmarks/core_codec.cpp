// frame_bench: the codec's core, called directly.

#include <stdexcept>

#include "benchmarks/frame_codec.h"
#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"

namespace qivm::bench {

namespace {

KernelTier TierNamed(const std::string& name) {
  if (name == "plain") {
    return KernelTier::plain;
  }
  if (name == "sse2") {
    return KernelTier::sse2;
  }
  if (name == "avx2") {
    return KernelTier::avx2;
  }
  throw std::runtime_error("unknown tier " + name);
}

class CoreCodec final : public FrameCodec {
 public:
  explicit CoreCodec(const FrameTask& task) : bitmap_(task.BitmapHeader()), quality_(task.quality) {
    Processor processor = Processor::Current();
    processor.count = task.threads;
    if (!task.tier.empty()) {
      processor.tier = TierNamed(task.tier);
    }
    coded_.biWidth = task.width;
    coded_.biHeight = task.height;
    coded_.biBitCount = 24;
    coded_.biCompression = kQivm;
    const bool begun = task.direction == FrameTask::Direction::decode
                           ? decompressor_.Begin(bitmap_, processor)
                           : compressor_.Begin(coded_, bitmap_, processor);
    if (!begun) {
      throw std::runtime_error("the core refuses the format");
    }
  }

  void Decode(std::span<const std::uint8_t> frame, std::span<std::uint8_t> bitmap) override {
    coded_.biSizeImage = static_cast<std::uint32_t>(frame.size());
    if (decompressor_.DecodeFrame({&coded_, frame.data(), &bitmap_, bitmap.data()}) !=
        FrameOutcome::done) {
      throw std::runtime_error("a frame cannot be decoded");
    }
  }

  std::size_t Encode(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> frame) override {
    if (compressor_.EncodeFrame({&coded_, frame.data(), &bitmap_, bitmap.data(), nullptr,
                                 quality_}) != FrameOutcome::done) {
      throw std::runtime_error("a frame cannot be coded");
    }
    return coded_.biSizeImage;
  }

 private:
  BitmapInfoHeader bitmap_;
  BitmapInfoHeader coded_;
  std::uint32_t quality_;
  DecompressorContext decompressor_;
  CompressorContext compressor_;
};

}  // namespace

std::unique_ptr<FrameCodec> MakeFrameCodec(const FrameTask& task) {
  return std::make_unique<CoreCodec>(task);
}

}  // namespace qivm::bench
