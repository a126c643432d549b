#pragma once

#include <cstdint>
#include <memory>

#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"
#include "tests/core/kernel_variants.h"
#include "tests/support/client_pictures.h"

/// Whole frames through the codec's contexts, in buffers that end where memory ends. What a context
/// must only read is write-protected while it does.
namespace qivm::test {

/// One processor, or two: with a worker.
constexpr Processor OneProcessor(const KernelVariant& kernels = kPlainKernels) {
  return {kernels.cpuClass, 1, kernels.avx2};
}
constexpr Processor TwoProcessors(const KernelVariant& kernels = kPlainKernels) {
  return {kernels.cpuClass, 2, kernels.avx2};
}

enum class Order : std::uint8_t { plain, shifted };

/// Bytes that differ from their neighbours, for bitmaps that are to be drawn into.
Bytes Background(ClientFormat format, int width, int height);

class Compressor {
 public:
  Compressor(ClientFormat format, int width, int height, const Processor& processor);

  /// The stream of one frame, empty when there is none. Checks what the frame must leave in the
  /// headers and flags.
  Bytes Encode(const Bytes& bitmap, std::uint32_t quality, Order order = Order::plain);

  CompressorContext& Context() { return *context_; }

 private:
  ClientFormat format_;
  int width_;
  int height_;
  std::unique_ptr<CompressorContext> context_;
};

class Decompressor {
 public:
  Decompressor(ClientFormat format, int width, int height, const Processor& processor);

  /// The client's bitmap, which held `before`, once the frame is decoded into it.
  Bytes Decode(const Bytes& stream, const Bytes& before, Order order = Order::plain);
  /// The same over Background().
  Bytes Decode(const Bytes& stream, Order order = Order::plain);
  /// What the last frame's call returned.
  bool Sound() const { return sound_; }

  DecompressorContext& Context() { return *context_; }

 private:
  ClientFormat format_;
  int width_;
  int height_;
  bool sound_ = false;
  std::unique_ptr<DecompressorContext> context_;
};

}  // namespace qivm::test
