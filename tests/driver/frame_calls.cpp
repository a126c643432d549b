#include "tests/driver/frame_calls.h"

#include <tuple>

namespace qivm::test {

namespace {

std::size_t PromisedBytes(const BITMAPINFOHEADER& header) {
  return static_cast<std::size_t>(header.biWidth) * static_cast<std::size_t>(header.biHeight) * 3;
}

}  // namespace

CompressCall::CompressCall(const BITMAPINFOHEADER& input, std::size_t outputOffset)
    : inputHeader(input),
      outputHeader(CompressedHeader(input.biWidth, input.biHeight)),
      output(PromisedBytes(input), Edge::last, outputOffset) {
  // Hosts leave a stale size here.
  outputHeader.biSizeImage = 0;
  request.lpbiOutput = &outputHeader;
  request.lpOutput = output.Data();
  request.lpbiInput = &inputHeader;
  request.lpckid = &chunkId;
  request.lpdwFlags = &flags;
  request.dwQuality = kDefaultQuality;
}

std::vector<std::uint8_t> CompressCall::Frame() const {
  EXPECT_LE(outputHeader.biSizeImage, output.Size());
  return {output.Data(), output.Data() + outputHeader.biSizeImage};
}

DecompressCall::DecompressCall(const BITMAPINFOHEADER& outputFormat,
                               std::span<const std::uint8_t> frame, std::size_t offset)
    : inputHeader(CompressedHeader(outputFormat.biWidth, outputFormat.biHeight)),
      outputHeader(outputFormat),
      input(frame.size(), Edge::last, offset),
      output(BitmapBytes(outputFormat), Edge::last, offset) {
  input.Fill(frame);
  output.Fill(std::uint8_t{0});
  inputHeader.biSizeImage = static_cast<DWORD>(frame.size());
  request.lpbiInput = &inputHeader;
  request.lpInput = input.Data();
  request.lpbiOutput = &outputHeader;
  request.lpOutput = output.Data();
}

bool SameRequest(const ICCOMPRESS& a, const ICCOMPRESS& b) {
  const auto fields = [](const ICCOMPRESS& request) {
    return std::tie(request.dwFlags, request.lpbiOutput, request.lpOutput, request.lpbiInput,
                    request.lpInput, request.lpckid, request.lpdwFlags, request.lFrameNum,
                    request.dwFrameSize, request.dwQuality, request.lpbiPrev, request.lpPrev);
  };
  return fields(a) == fields(b);
}

bool SameRequest(const ICDECOMPRESS& a, const ICDECOMPRESS& b) {
  const auto fields = [](const ICDECOMPRESS& request) {
    return std::tie(request.dwFlags, request.lpbiInput, request.lpInput, request.lpbiOutput,
                    request.lpOutput, request.ckid);
  };
  return fields(a) == fields(b);
}

LRESULT BeginCompress(const Instance& instance, const BITMAPINFOHEADER& bitmap) {
  const BITMAPINFOHEADER stream = CompressedHeader(bitmap.biWidth, bitmap.biHeight);
  return instance.Send(ICM_COMPRESS_BEGIN, &bitmap, &stream);
}

LRESULT BeginDecompress(const Instance& instance, const BITMAPINFOHEADER& bitmap) {
  const BITMAPINFOHEADER stream = CompressedHeader(bitmap.biWidth, bitmap.biHeight);
  return instance.Send(ICM_DECOMPRESS_BEGIN, &stream, &bitmap);
}

std::vector<std::uint8_t> Compress(const Instance& instance, const BITMAPINFOHEADER& header,
                                   std::span<const std::uint8_t> picture, DWORD quality) {
  GuardedBuffer input(picture.size());
  input.Fill(picture);
  input.Protect(GuardedBuffer::Access::read);
  CompressCall call(header);
  call.request.lpInput = input.Data();
  call.request.dwQuality = quality;
  EXPECT_EQ(call.Send(instance), ICERR_OK);
  EXPECT_TRUE(call.output.GapsIntact());
  EXPECT_GT(call.outputHeader.biSizeImage, 0U);
  return call.Frame();
}

std::vector<std::uint8_t> Decompress(const Instance& instance, const BITMAPINFOHEADER& header,
                                     std::span<const std::uint8_t> frame) {
  DecompressCall call(header, frame);
  call.input.Protect(GuardedBuffer::Access::read);
  EXPECT_EQ(call.Send(instance), ICERR_OK);
  EXPECT_TRUE(call.output.GapsIntact());
  return {call.output.Data(), call.output.Data() + call.output.Size()};
}

std::vector<std::uint8_t> CompressAlone(const DriverModule& driver, const BITMAPINFOHEADER& header,
                                        std::span<const std::uint8_t> picture) {
  const Instance instance(driver);
  EXPECT_EQ(BeginCompress(instance, header), ICERR_OK);
  return Compress(instance, header, picture);
}

}  // namespace qivm::test
