#include "tests/core/codec_runs.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/guarded_buffer.h"

namespace qivm::test {

Bytes Background(ClientFormat format, int width, int height) {
  Bytes bytes(BitmapBytes(format, width, height));
  std::uint8_t value = 0x31;
  for (std::uint8_t& byte : bytes) {
    byte = value;
    value = static_cast<std::uint8_t>(value + 59);
  }
  return bytes;
}

Compressor::Compressor(ClientFormat format, int width, int height, const Processor& processor)
    : format_(format), width_(width), height_(height), context_(new CompressorContext) {
  EXPECT_TRUE(context_->Begin(CompressedHeader(width, height),
                              UncompressedHeader(format, width, height), processor));
  EXPECT_EQ(context_->Threads(), processor.ThreadsFor(width / 16, height / 16));
}

Bytes Compressor::Encode(const Bytes& bitmap, std::uint32_t quality, Order order) {
  GuardedBuffer input(bitmap);
  input.Protect(GuardedBuffer::Access::read);
  const GuardedBuffer output(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) *
                             3);
  const BitmapInfoHeader inputFormat = UncompressedHeader(format_, width_, height_);
  BitmapInfoHeader outputFormat = CompressedHeader(width_, height_);
  outputFormat.biPlanes = 77;
  outputFormat.biClrUsed = 78;
  outputFormat.biClrImportant = 79;
  std::uint32_t flags = 0x1000;
  const CompressFrame frame = {&outputFormat, output.Data(), &inputFormat,
                               input.Data(),  &flags,        quality};
  const FrameOutcome outcome =
      order == Order::plain ? context_->EncodeFrame(frame) : context_->EncodeFrameShifted(frame);
  EXPECT_EQ(outcome, FrameOutcome::done);
  EXPECT_EQ(flags, 0x1010U);
  EXPECT_EQ(outputFormat.biPlanes, 1);
  EXPECT_EQ(outputFormat.biClrUsed, 0U);
  EXPECT_EQ(outputFormat.biClrImportant, 0U);
  EXPECT_EQ(outputFormat.biWidth, width_);
  EXPECT_EQ(outputFormat.biHeight, height_);
  EXPECT_LE(outputFormat.biSizeImage, output.Size());
  const auto stream =
      output.Bytes().first(std::min<std::size_t>(outputFormat.biSizeImage, output.Size()));
  return {stream.begin(), stream.end()};
}

Decompressor::Decompressor(ClientFormat format, int width, int height, const Processor& processor)
    : format_(format), width_(width), height_(height), context_(new DecompressorContext) {
  EXPECT_TRUE(context_->Begin(UncompressedHeader(format, width, height), processor));
  EXPECT_EQ(context_->Threads(), processor.ThreadsFor(width / 16, height / 16));
}

Bytes Decompressor::Decode(const Bytes& stream, const Bytes& before, Order order) {
  GuardedBuffer input(stream);
  input.Protect(GuardedBuffer::Access::read);
  const GuardedBuffer output(before);
  const BitmapInfoHeader inputFormat = CompressedHeader(width_, height_, stream.size());
  BitmapInfoHeader outputFormat = UncompressedHeader(format_, width_, height_);
  const DecompressFrame frame = {&inputFormat, input.Data(), &outputFormat, output.Data()};
  outcome_ =
      order == Order::plain ? context_->DecodeFrame(frame) : context_->DecodeFrameShifted(frame);
  return {output.Bytes().begin(), output.Bytes().end()};
}

Bytes Decompressor::Decode(const Bytes& stream, Order order) {
  return Decode(stream, Background(format_, width_, height_), order);
}

}  // namespace qivm::test
