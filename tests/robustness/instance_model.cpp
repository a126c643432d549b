#include "tests/robustness/instance_model.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "tests/driver/driver_module.h"
#include "tests/driver/pictures.h"

namespace qivm::test {

namespace {

constexpr std::size_t kListWord = 2;
constexpr std::size_t kListEntries = 16;

/// As a C program in the "C" locale upper-cases the four characters, up to the first NUL.
DWORD UpperCased(DWORD code) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    const DWORD character = code >> shift & 0xFF;
    if (character == 0) {
      break;
    }
    if (character >= 'a' && character <= 'z') {
      code -= DWORD{'a' - 'A'} << shift;
    }
  }
  return code;
}

bool IsUncompressed(const BITMAPINFOHEADER& header) {
  return std::ranges::any_of(kPixelFormats, [&](const PixelFormat& format) {
    return format.compression == header.biCompression && format.bitCount == header.biBitCount;
  });
}

bool IsWhole(const BITMAPINFOHEADER& header) {
  return header.biWidth % 16 == 0 && header.biHeight % 16 == 0;
}

bool SameSize(const BITMAPINFOHEADER& a, const BITMAPINFOHEADER& b) {
  return a.biWidth == b.biWidth && a.biHeight == b.biHeight;
}

double Pixels(const BITMAPINFOHEADER& header) {
  return static_cast<double>(header.biWidth) * static_cast<double>(header.biHeight);
}

}  // namespace

State InitialState(DWORD handler) {
  State state = {handler, 0, kQivmCode, kMmesCode};
  constexpr std::size_t kNamesWord = kListWord + kListEntries;
  constexpr std::size_t kNameWords = 16;
  std::memcpy(&state[kNamesWord], "PREMIERE.EXE", sizeof("PREMIERE.EXE"));
  std::memcpy(&state[kNamesWord + kNameWords], "CLIPWRK.EXE", sizeof("CLIPWRK.EXE"));
  return state;
}

bool InstanceModel::Accepts(DWORD code) const {
  const DWORD* const first = &state[kListWord];
  const DWORD* const end = std::find(first, first + kListEntries, 0U);
  return std::find(first, end, UpperCased(code)) != end;
}

LRESULT InstanceModel::CompressQuery(const BITMAPINFOHEADER* input,
                                     const BITMAPINFOHEADER* output) const {
  const bool sound =
      input != nullptr && IsUncompressed(*input) && IsWhole(*input) &&
      (output == nullptr || (Accepts(output->biCompression) && SameSize(*input, *output)));
  return sound ? ICERR_OK : ICERR_BADFORMAT;
}

LRESULT InstanceModel::DecompressQuery(const BITMAPINFOHEADER* input,
                                       const BITMAPINFOHEADER* output, bool defectiveHost) const {
  if (input == nullptr) {
    return ICERR_BADPARAM;
  }
  bool sound = Accepts(input->biCompression) && IsWhole(*input) && input->biHeight <= 2800;
  if (output != nullptr) {
    sound = sound && !(defectiveHost && output->biCompression != BI_RGB) &&
            IsUncompressed(*output) && SameSize(*input, *output) &&
            output->biCompression != kY16ACode;
  }
  return sound ? ICERR_OK : ICERR_BADFORMAT;
}

bool CompressorBegins(const BITMAPINFOHEADER& bitmap) {
  return bitmap.biWidth > 0 && bitmap.biHeight > 0 && bitmap.biWidth <= 2048 &&
         bitmap.biHeight <= 2048;
}

bool DecompressorBegins(const BITMAPINFOHEADER& bitmap) {
  constexpr auto kAddressable = static_cast<double>(PTRDIFF_MAX);
  return bitmap.biWidth > 0 && bitmap.biHeight > 0 &&
         Pixels(bitmap) * (bitmap.biBitCount / 8) <= kAddressable;
}

bool IsMuchMemory(const BITMAPINFOHEADER& bitmap) { return Pixels(bitmap) > 1024.0 * 1024.0; }

}  // namespace qivm::test
