// What the codec makes of a bitmap, and of its own frame, beside the slow second opinion of the
// tests: the same bytes, and the same pixels again.

#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

void Fuzz(FuzzedDataProvider& input) {
  const ClientFormat inputPixels = input.PickValueInArray(kInputFormats);
  const ClientFormat outputPixels = input.PickValueInArray(kOutputFormats);
  const int width = 16 * input.ConsumeIntegralInRange<int>(1, 3);
  const int height = 16 * input.ConsumeIntegralInRange<int>(1, 3);
  const std::uint32_t quality = input.ConsumeIntegralInRange<std::uint32_t>(0, 10000);
  const Processor processor = TakeProcessor(input);
  const Bytes bitmap = TakeAllRepeated(input, BitmapBytes(inputPixels, width, height));

  const BitmapInfoHeader inputFormat = UncompressedHeader(inputPixels, width, height);
  BitmapInfoHeader compressed = CompressedHeader(width, height);
  Bytes stream(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
  CompressorContext compressor;
  Require(compressor.Begin(compressed, inputFormat, processor), "the format is taken");
  Require(compressor.EncodeFrame({&compressed, stream.data(), &inputFormat, bitmap.data(), nullptr,
                                  quality}) == FrameOutcome::done,
          "every bitmap is coded");
  stream.resize(compressed.biSizeImage);
  const Parts parts = processor.count > 1 ? Parts::two : Parts::one;
  Require(
      stream == ModelEncode(inputPixels, width, height, bitmap, ModelQuantiserCode(quality), parts),
      "the frame is the expected one");

  BitmapInfoHeader outputFormat = UncompressedHeader(outputPixels, width, height);
  Bytes decoded(BitmapBytes(outputPixels, width, height), 0x55);
  Bytes expected = decoded;
  DecompressorContext decompressor;
  Require(decompressor.Begin(outputFormat, processor), "the output format is taken");
  Require(decompressor.DecodeFrame({&compressed, stream.data(), &outputFormat, decoded.data()}) ==
              FrameOutcome::done,
          "every frame is decoded");
  ModelDecode(ParsePicture(stream), outputPixels, width, height, expected);
  Require(decoded == expected, "the pixels are the expected ones");
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
