// Where there is no compression manager: the tool's own codec, linked in.

#include <algorithm>
#include <cstring>

#include "decoder/decompressor_context.h"
#include "encoder/compressor_context.h"
#include "formats/compressed_format.h"
#include "formats/negotiation.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/codecs/codec.h"

namespace vfwtool {
namespace {

using qivm::BitmapInfoHeader;

BitmapInfoHeader HeaderOf(const Bytes& format) {
  BitmapInfoHeader header;
  std::memcpy(&header, format.data(), sizeof(header));
  return header;
}

Refusal RefusalOf(std::int32_t result) {
  return result == qivm::kIcErrOk ? Refusal() : Refusal("the format is not supported");
}

/// Answers as the driver does when it is asked by the compression manager.
class BuiltInCodec final : public Codec {
 public:
  explicit BuiltInCodec(FourCc code) {
    settings_.handlerFourCC = code;
    settings_.fourCCList = qivm::kDefaultFourCCList;
  }

  CodecDescription Describe() const override {
    return {.code = settings_.handlerFourCC,
            .name = "QIVM",
            .description = "built into this program",
            .driver = ""};
  }

  bool TakesQuality() const override { return true; }

  std::optional<std::uint32_t> DefaultQuality() const override { return qivm::kInitialQuality; }

  Refusal SwapFields() override {
    settings_.changeFieldsOrder = 1;
    return {};
  }

  Refusal QueryCompression(const Bytes& input, const Bytes* output) const override {
    const BitmapInfoHeader inputHeader = HeaderOf(input);
    if (output == nullptr) {
      return RefusalOf(qivm::CompressQuery(settings_, &inputHeader, nullptr));
    }
    const BitmapInfoHeader outputHeader = HeaderOf(*output);
    return RefusalOf(qivm::CompressQuery(settings_, &inputHeader, &outputHeader));
  }

  Refusal GetCompressedFormat(const Bytes& input, Bytes& format) const override {
    const BitmapInfoHeader header = HeaderOf(input);
    format.resize(sizeof(qivm::CompressedFormat));
    return RefusalOf(qivm::CompressGetFormat(settings_, &header, format.data()));
  }

  std::size_t LargestFrame(const Bytes& input, const Bytes& /*output*/) const override {
    const BitmapInfoHeader header = HeaderOf(input);
    return static_cast<std::size_t>(std::max(qivm::CompressGetSize(&header), 0));
  }

  Refusal BeginCompression(const Bytes& input, const Bytes& output) override {
    input_ = HeaderOf(input);
    output_ = HeaderOf(output);
    return compressor_.Begin(output_, input_, qivm::Processor::Current())
               ? Refusal()
               : Refusal("the format is not supported");
  }

  Refusal Compress(std::span<std::uint8_t> picture, std::uint32_t /*number*/,
                   std::optional<std::uint32_t> quality, std::span<std::uint8_t> frame,
                   CompressedFrame& result) override {
    BitmapInfoHeader output = output_;
    std::uint32_t flags = 0;
    const qivm::CompressFrame call = {
        .outputFormat = &output,
        .output = frame.data(),
        .inputFormat = &input_,
        .input = picture.data(),
        .flags = &flags,
        .quality = quality.value_or(qivm::kDefaultQualityRequest),
    };
    const qivm::FrameOutcome outcome = settings_.changeFieldsOrder != 0
                                           ? compressor_.EncodeFrameShifted(call)
                                           : compressor_.EncodeFrame(call);
    result = {output.biSizeImage, (flags & qivm::CompressorContext::kKeyFrame) != 0};
    return outcome == qivm::FrameOutcome::done ? Refusal() : Refusal("an error inside the codec");
  }

  void EndCompression() override { compressor_.End(); }

  Refusal QueryDecompression(const Bytes& input, const Bytes& output) const override {
    const BitmapInfoHeader inputHeader = HeaderOf(input);
    const BitmapInfoHeader outputHeader = HeaderOf(output);
    return RefusalOf(qivm::DecompressQuery(settings_, &inputHeader, &outputHeader, false));
  }

  Refusal BeginDecompression(const Bytes& input, const Bytes& output) override {
    input_ = HeaderOf(input);
    output_ = HeaderOf(output);
    return decompressor_.Begin(output_, qivm::Processor::Current())
               ? Refusal()
               : Refusal("there is not enough memory");
  }

  Refusal Decompress(std::span<std::uint8_t> frame, bool /*isKeyFrame*/,
                     std::span<std::uint8_t> picture) override {
    input_.biSizeImage = static_cast<std::uint32_t>(frame.size());
    BitmapInfoHeader output = output_;
    // A frame that cannot be decoded leaves the picture as it was, and the driver says nothing of
    // it either.
    decompressor_.DecodeFrame({.inputFormat = &input_,
                               .input = frame.data(),
                               .outputFormat = &output,
                               .output = picture.data()});
    return {};
  }

  void EndDecompression() override { decompressor_.End(); }

 private:
  qivm::CodecSettings settings_;
  BitmapInfoHeader input_;
  BitmapInfoHeader output_;
  qivm::CompressorContext compressor_;
  qivm::DecompressorContext decompressor_;
};

}  // namespace

std::unique_ptr<Codec> OpenCompressor(FourCc code) {
  if (!IsOwnCode(code)) {
    FailWithoutCodec(Concat("there is no codec with the code ", FourCcText(code)));
  }
  return std::make_unique<BuiltInCodec>(code);
}

std::unique_ptr<Codec> FindDecompressor(FourCc /*handler*/, const Bytes& format) {
  const FourCc code = ReadBitmapFormat(format).compression;
  return IsOwnCode(code) ? std::make_unique<BuiltInCodec>(code) : nullptr;
}

std::vector<CodecDescription> ListCodecs() {
  std::vector<CodecDescription> codecs;
  for (const FourCc code : qivm::kDefaultFourCCList) {
    if (code != 0) {
      codecs.push_back(BuiltInCodec(code).Describe());
    }
  }
  return codecs;
}

std::string CodecScope() { return "This program has the one codec that is built into it."; }

}  // namespace vfwtool
