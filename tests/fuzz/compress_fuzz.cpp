// One bitmap of any pixels through the compressor: any size, input format and quality, the kernels
// of every tier, one thread and several, either order of lines. The output is exactly as large as
// hosts are promised that it need be, the bitmap stays as it is, and the bytes are always the same.

#include "encoder/compressor_context.h"
#include "tests/fuzz/fuzz_input.h"

namespace qivm::test {

namespace {

struct Picture {
  ClientFormat format = ClientFormat::rgb24;
  int width = 0;
  int height = 0;
  Bytes bitmap;
  std::uint32_t quality = 0;
  bool shifted = false;
};

Bytes EncodeOne(const Picture& picture, const Processor& processor) {
  const BitmapInfoHeader inputFormat =
      UncompressedHeader(picture.format, picture.width, picture.height);
  BitmapInfoHeader outputFormat = CompressedHeader(picture.width, picture.height);
  CompressorContext context;
  if (!context.Begin(outputFormat, inputFormat, processor)) {
    return {};
  }
  const Bytes before = picture.bitmap;
  Bytes output(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) *
               3);
  std::uint32_t flags = 0;
  const CompressFrame frame = {&outputFormat,         output.data(), &inputFormat,
                               picture.bitmap.data(), &flags,        picture.quality};
  const FrameOutcome outcome =
      picture.shifted ? context.EncodeFrameShifted(frame) : context.EncodeFrame(frame);
  Require(outcome == FrameOutcome::done, "every frame is coded");
  Require(flags == CompressorContext::kKeyFrame, "every frame is a key frame");
  Require(picture.bitmap == before, "the bitmap is only read");
  Require(outputFormat.biSizeImage > 0 && outputFormat.biSizeImage <= output.size(),
          "the frame fits");
  output.resize(outputFormat.biSizeImage);
  return output;
}

void Fuzz(FuzzedDataProvider& input) {
  Picture picture;
  picture.format = input.PickValueInArray(kInputFormats);
  picture.width = 16 * input.ConsumeIntegralInRange<int>(0, 4) + input.ConsumeBool();
  picture.height = 16 * input.ConsumeIntegralInRange<int>(0, 4) + input.ConsumeBool();
  picture.shifted = input.ConsumeBool();
  const Processor processor = TakeProcessor(input);
  picture.quality = input.ConsumeBool() ? input.ConsumeIntegral<std::uint32_t>()
                                        : input.ConsumeIntegralInRange<std::uint32_t>(0, 10000);
  picture.bitmap =
      TakeAllRepeated(input, BitmapBytes(picture.format, picture.width, picture.height));
  picture.bitmap.shrink_to_fit();

  const Bytes stream = EncodeOne(picture, processor);
  const auto allowed = [](int side) { return side > 0 && side % 16 == 0; };
  Require(stream.empty() != (allowed(picture.width) && allowed(picture.height)),
          "multiples of 16 are coded, others refused");
  if (stream.empty()) {
    return;
  }
  // A frame of several processors differs from that of one by the zero bytes before its lower half.
  const unsigned others = processor.count > 2 ? 2 : processor.count * 2 - 1;
  Require(stream == EncodeOne(picture, {KernelTier::plain, others, 1}),
          "all kernels on any number of threads make the same bytes");
  picture.bitmap = RotatedRows(picture.format, picture.width, picture.height, picture.bitmap,
                               picture.shifted ? -1 : 1);
  picture.shifted = !picture.shifted;
  Require(stream == EncodeOne(picture, processor),
          "the shifted picture is the plain one, a line further up");
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
