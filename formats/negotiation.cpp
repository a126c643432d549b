#include "formats/negotiation.h"

#include <cstring>

#include "formats/compressed_format.h"
#include "mpeg2/start_codes.h"

namespace qivm {

namespace {

bool IsAcceptedCode(const CodecSettings& settings, FourCC code) {
  const FourCC wanted = UpperCaseFourCC(code);
  for (const FourCC accepted : settings.fourCCList) {
    if (accepted == 0) {
      return false;
    }
    if (accepted == wanted) {
      return true;
    }
  }
  return false;
}

/// Zero and negative multiples pass; a context refuses them when it begins.
bool IsWholeMacroblocks(const BitmapInfoHeader& header) {
  return header.biWidth % mpeg2::kMacroblockSize == 0 &&
         header.biHeight % mpeg2::kMacroblockSize == 0;
}

bool SameSize(const BitmapInfoHeader& a, const BitmapInfoHeader& b) {
  return a.biWidth == b.biWidth && a.biHeight == b.biHeight;
}

/// Modulo 2^32, as sizes are that no header can hold.
std::uint32_t PixelBytes(const BitmapInfoHeader& header, std::uint32_t bytesPerPixel) {
  return static_cast<std::uint32_t>(header.biWidth) * static_cast<std::uint32_t>(header.biHeight) *
         bytesPerPixel;
}

}  // namespace

std::int32_t CompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                           const BitmapInfoHeader* output) {
  if (input == nullptr || !UncompressedFormatOk(*input) || !IsWholeMacroblocks(*input)) {
    return kIcErrBadFormat;
  }
  if (output == nullptr) {
    return kIcErrOk;
  }
  return IsAcceptedCode(settings, output->biCompression) && SameSize(*input, *output)
             ? kIcErrOk
             : kIcErrBadFormat;
}

std::int32_t CompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                               void* output) {
  const std::int32_t error = CompressQuery(settings, input, nullptr);
  if (error != kIcErrOk) {
    return error;
  }
  if (output == nullptr) {
    return sizeof(CompressedFormat);
  }
  const CompressedFormat format = DescribeCompressedFormat(settings.handlerFourCC, *input);
  std::memcpy(output, &format, sizeof(format));
  return kIcErrOk;
}

std::int32_t CompressGetSize(const BitmapInfoHeader* input) {
  if (input == nullptr) {
    return kIcErrBadFormat;
  }
  return static_cast<std::int32_t>(PixelBytes(*input, 3));
}

std::int32_t DecompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                             const BitmapInfoHeader* output, bool isRgbOnlyHost) {
  if (input == nullptr) {
    return kIcErrBadParam;
  }
  if (!IsAcceptedCode(settings, input->biCompression) || !IsWholeMacroblocks(*input) ||
      input->biHeight > mpeg2::kMaxHeight) {
    return kIcErrBadFormat;
  }
  if (output == nullptr) {
    return kIcErrOk;
  }
  if (output->biCompression != kBiRgb && isRgbOnlyHost) {
    return kIcErrBadFormat;
  }
  return UncompressedFormatOk(*output) && SameSize(*input, *output) &&
                 output->biCompression != kY16A
             ? kIcErrOk
             : kIcErrBadFormat;
}

std::int32_t DecompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                                 void* output) {
  const std::int32_t error = DecompressQuery(settings, input, nullptr, false);
  if (error != kIcErrOk) {
    return error;
  }
  if (output == nullptr) {
    return sizeof(BitmapInfoHeader);
  }
  constexpr std::uint32_t kSpareBytes = 4096;
  BitmapInfoHeader format;
  format.biWidth = input->biWidth;
  format.biHeight = input->biHeight;
  format.biBitCount = 32;
  format.biCompression = kBiRgb;
  format.biSizeImage = PixelBytes(*input, 4) + kSpareBytes;
  std::memcpy(output, &format, sizeof(format));
  return kIcErrOk;
}

}  // namespace qivm
