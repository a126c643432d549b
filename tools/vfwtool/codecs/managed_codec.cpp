// The codecs that are installed on Windows, reached through the compression manager.

#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "settings/codec_settings.h"
#include "tools/vfwtool/base/system.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/codecs/codec.h"

namespace vfwtool {
namespace {

template <std::size_t kSize>
std::string FieldText(const WCHAR (&field)[kSize]) {
  return Utf8(std::wstring_view(field, wcsnlen(field, kSize)));
}

/// A format as the manager wants it, which does not write to it.
BITMAPINFOHEADER* HeaderOf(const Bytes& format) {
  return reinterpret_cast<BITMAPINFOHEADER*>(const_cast<std::uint8_t*>(format.data()));
}

struct NamedResult {
  LRESULT value;
  std::string_view name;
  std::string_view meaning;
};
#define NAMED_RESULT(name, meaning) \
  NamedResult { name, #name, meaning }

std::string ResultText(LRESULT result) {
  static constexpr std::array kResults = {
      NAMED_RESULT(ICERR_UNSUPPORTED, "the codec does not do this at all"),
      NAMED_RESULT(ICERR_BADFORMAT, "the format is not supported"),
      NAMED_RESULT(ICERR_MEMORY, "there is not enough memory"),
      NAMED_RESULT(ICERR_INTERNAL, "an error inside the codec"),
      NAMED_RESULT(ICERR_BADFLAGS, "flags that the codec does not know"),
      NAMED_RESULT(ICERR_BADPARAM, "a parameter that the codec does not take"),
      NAMED_RESULT(ICERR_BADSIZE, "a size that the codec does not take"),
      NAMED_RESULT(ICERR_BADHANDLE, "a handle that is not valid"),
      NAMED_RESULT(ICERR_ABORT, "the codec was told to stop"),
      NAMED_RESULT(ICERR_ERROR, "an error without a name"),
      NAMED_RESULT(ICERR_BADBITDEPTH, "the bit depth is not supported"),
      NAMED_RESULT(ICERR_BADIMAGESIZE, "the picture size is not supported"),
  };
  const auto found = std::ranges::find(kResults, result, &NamedResult::value);
  if (found == kResults.end()) {
    return Concat("result ", result);
  }
  return Concat(found->name, " (", result, "): ", found->meaning);
}
#undef NAMED_RESULT

Refusal RefusalOf(LRESULT result) {
  return result == ICERR_OK ? Refusal() : Refusal(ResultText(result));
}

/// What the manager's frame functions return is a result, without its sign.
Refusal FrameRefusal(DWORD result) { return RefusalOf(static_cast<LONG>(result)); }

class ManagedCodec final : public Codec {
 public:
  ManagedCodec(HIC handle, FourCc code) : handle_(handle), code_(code) {}

  HIC Handle() const { return handle_.get(); }

  CodecDescription Describe() const override {
    const ICINFO info = Info();
    CodecDescription description;
    description.code = info.fccHandler != 0 ? info.fccHandler : code_;
    description.name = FieldText(info.szName);
    description.description = FieldText(info.szDescription);
    // A codec does not know the file it was loaded from; the manager's list does.
    ICINFO listed{};
    listed.dwSize = sizeof(listed);
    if (ICInfo(ICTYPE_VIDEO, description.code, &listed)) {
      description.driver = FieldText(listed.szDriver);
    }
    return description;
  }

  bool TakesQuality() const override { return (Info().dwFlags & VIDCF_QUALITY) != 0; }

  std::optional<std::uint32_t> DefaultQuality() const override {
    DWORD quality = 0;
    const LRESULT result = ICSendMessage(Handle(), ICM_GETDEFAULTQUALITY,
                                         reinterpret_cast<DWORD_PTR>(&quality), sizeof(quality));
    return result == ICERR_OK ? std::optional<std::uint32_t>(quality) : std::nullopt;
  }

  Refusal SwapFields() override {
    qivm::CodecSettings state;
    constexpr auto kBytes = static_cast<LONG>(sizeof(state));
    if (!IsOwnCode(code_) || ICGetStateSize(Handle()) != static_cast<DWORD>(kBytes) ||
        ICGetState(Handle(), &state, kBytes) < 0) {
      return "only QIVM can";
    }
    state.changeFieldsOrder = 1;
    const LRESULT result = ICSetState(Handle(), &state, kBytes);
    return result == kBytes ? Refusal() : Refusal(ResultText(result));
  }

  Refusal QueryCompression(const Bytes& input, const Bytes* output) const override {
    return RefusalOf(ICCompressQuery(Handle(), HeaderOf(input),
                                     output == nullptr ? nullptr : HeaderOf(*output)));
  }

  Refusal GetCompressedFormat(const Bytes& input, Bytes& format) const override {
    const LRESULT bytes = ICCompressGetFormat(Handle(), HeaderOf(input), nullptr);
    if (bytes < static_cast<LRESULT>(kBitmapHeaderBytes)) {
      return ResultText(bytes);
    }
    format.resize(static_cast<std::size_t>(bytes));
    return RefusalOf(ICCompressGetFormat(Handle(), HeaderOf(input), HeaderOf(format)));
  }

  std::size_t LargestFrame(const Bytes& input, const Bytes& output) const override {
    const auto bytes =
        static_cast<LONG>(ICCompressGetSize(Handle(), HeaderOf(input), HeaderOf(output)));
    return bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
  }

  Refusal BeginCompression(const Bytes& input, const Bytes& output) override {
    input_ = input;
    output_ = output;
    return RefusalOf(ICCompressBegin(Handle(), HeaderOf(input_), HeaderOf(output_)));
  }

  Refusal Compress(std::span<std::uint8_t> picture, std::uint32_t number,
                   std::optional<std::uint32_t> quality, std::span<std::uint8_t> frame,
                   CompressedFrame& result) override {
    // The codec stores the frame's size in the header that goes to it with each frame.
    frameFormat_ = output_;
    BITMAPINFOHEADER* const output = HeaderOf(frameFormat_);
    DWORD chunkId = 0;
    DWORD flags = 0;
    const DWORD answer =
        ICCompress(Handle(), ICCOMPRESS_KEYFRAME, output, frame.data(), HeaderOf(input_),
                   picture.data(), &chunkId, &flags, static_cast<LONG>(number), 0,
                   quality.value_or(static_cast<DWORD>(ICQUALITY_DEFAULT)), nullptr, nullptr);
    result = {output->biSizeImage, (flags & AVIIF_KEYFRAME) != 0};
    return FrameRefusal(answer);
  }

  void EndCompression() override { ICCompressEnd(Handle()); }

  Refusal QueryDecompression(const Bytes& input, const Bytes& output) const override {
    return RefusalOf(ICDecompressQuery(Handle(), HeaderOf(input), HeaderOf(output)));
  }

  Refusal BeginDecompression(const Bytes& input, const Bytes& output) override {
    input_ = input;
    output_ = output;
    return RefusalOf(ICDecompressBegin(Handle(), HeaderOf(input_), HeaderOf(output_)));
  }

  Refusal Decompress(std::span<std::uint8_t> frame, bool isKeyFrame,
                     std::span<std::uint8_t> picture) override {
    BITMAPINFOHEADER* const input = HeaderOf(input_);
    input->biSizeImage = static_cast<DWORD>(frame.size());
    const DWORD flags = isKeyFrame ? 0 : static_cast<DWORD>(ICDECOMPRESS_NOTKEYFRAME);
    return FrameRefusal(
        ICDecompress(Handle(), flags, input, frame.data(), HeaderOf(output_), picture.data()));
  }

  void EndDecompression() override { ICDecompressEnd(Handle()); }

 private:
  struct Closer {
    void operator()(HIC handle) const { ICClose(handle); }
  };

  ICINFO Info() const {
    ICINFO info{};
    info.dwSize = sizeof(info);
    ICGetInfo(Handle(), &info, sizeof(info));
    return info;
  }

  std::unique_ptr<HIC__, Closer> handle_;
  FourCc code_;
  Bytes input_;
  Bytes output_;
  Bytes frameFormat_;
};

}  // namespace

std::unique_ptr<Codec> OpenCompressor(FourCc code) {
  const HIC handle = ICOpen(ICTYPE_VIDEO, code, ICMODE_COMPRESS);
  if (handle == nullptr) {
    FailWithoutCodec(
        Concat("no codec with the code ", FourCcText(code), " can be opened for compression"));
  }
  return std::make_unique<ManagedCodec>(handle, code);
}

std::unique_ptr<Codec> FindDecompressor(FourCc handler, const Bytes& format) {
  const FourCc code = handler != 0 ? handler : ReadBitmapFormat(format).compression;
  const HIC handle = ICLocate(ICTYPE_VIDEO, code, HeaderOf(format), nullptr, ICMODE_DECOMPRESS);
  return handle == nullptr ? nullptr : std::make_unique<ManagedCodec>(handle, code);
}

std::vector<CodecDescription> ListCodecs() {
  std::vector<CodecDescription> codecs;
  ICINFO info{};
  info.dwSize = sizeof(info);
  for (DWORD i = 0; ICInfo(ICTYPE_VIDEO, i, &info); ++i) {
    codecs.push_back({.code = info.fccHandler,
                      .name = FieldText(info.szName),
                      .description = FieldText(info.szDescription),
                      .driver = FieldText(info.szDriver)});
  }
  return codecs;
}

std::string CodecScope() {
  constexpr bool kIs64Bit = sizeof(void*) == 8;
  return kIs64Bit ? "This is a 64-bit program, which sees 64-bit codecs only."
                  : "This is a 32-bit program, which sees 32-bit codecs only.";
}

}  // namespace vfwtool
