#pragma once

#include <cstdint>
#include <memory>

#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"
#include "kernels/processor.h"
#include "tests/support/client_pictures.h"

/// Whole frames through the codec's contexts, in buffers that end where memory ends. What a context
/// must only read is write-protected while it does.
namespace qivm::test {

/// A machine on which a thread is woken for every row of the smallest picture.
constexpr Processor Processors(unsigned count, KernelTier tier = KernelTier::plain) {
  return {tier, count, 1};
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
  /// What became of the last frame.
  FrameOutcome Outcome() const { return outcome_; }

  DecompressorContext& Context() { return *context_; }

 private:
  ClientFormat format_;
  int width_;
  int height_;
  FrameOutcome outcome_ = FrameOutcome::refused;
  std::unique_ptr<DecompressorContext> context_;
};

}  // namespace qivm::test
