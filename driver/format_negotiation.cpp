#include "driver/format_negotiation.h"

#include <vfw.h>

#include <cstdint>
#include <cstring>

#include "driver/compressed_format.h"
#include "settings/defective_apps.h"

namespace qivm {

namespace {

constexpr std::int32_t kMacroblockSize = 16;
constexpr std::int32_t kMaxDecompressHeight = 2800;

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
  return header.biWidth % kMacroblockSize == 0 && header.biHeight % kMacroblockSize == 0;
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

LRESULT CompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                      const BitmapInfoHeader* output) {
  if (input == nullptr || !UncompressedFormatOk(*input) || !IsWholeMacroblocks(*input)) {
    return ICERR_BADFORMAT;
  }
  if (output == nullptr) {
    return ICERR_OK;
  }
  return IsAcceptedCode(settings, output->biCompression) && SameSize(*input, *output)
             ? ICERR_OK
             : ICERR_BADFORMAT;
}

LRESULT CompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                          void* output) {
  const LRESULT error = CompressQuery(settings, input, nullptr);
  if (error != ICERR_OK) {
    return error;
  }
  if (output == nullptr) {
    return sizeof(CompressedFormat);
  }
  const CompressedFormat format = DescribeCompressedFormat(settings.handlerFourCC, *input);
  std::memcpy(output, &format, sizeof(format));
  return ICERR_OK;
}

LRESULT CompressGetSize(const BitmapInfoHeader* input) {
  if (input == nullptr) {
    return ICERR_BADFORMAT;
  }
  return static_cast<std::int32_t>(PixelBytes(*input, 3));
}

LRESULT DecompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                        const BitmapInfoHeader* output) {
  if (input == nullptr) {
    return ICERR_BADPARAM;
  }
  if (!IsAcceptedCode(settings, input->biCompression) || !IsWholeMacroblocks(*input) ||
      input->biHeight > kMaxDecompressHeight) {
    return ICERR_BADFORMAT;
  }
  if (output == nullptr) {
    return ICERR_OK;
  }
  if (output->biCompression != kBiRgb && IsDefectiveHost()) {
    return ICERR_BADFORMAT;
  }
  return UncompressedFormatOk(*output) && SameSize(*input, *output) &&
                 output->biCompression != kY16A
             ? ICERR_OK
             : ICERR_BADFORMAT;
}

LRESULT DecompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                            void* output) {
  const LRESULT error = DecompressQuery(settings, input, nullptr);
  if (error != ICERR_OK) {
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
  return ICERR_OK;
}

}  // namespace qivm
