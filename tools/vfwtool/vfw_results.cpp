#include "tools/vfwtool/vfw_results.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

template <typename Value>
struct NamedResult {
  Value value;
  std::string_view name;
  std::string_view meaning;
};

constexpr std::array kCodecResults = {
    NamedResult<std::int32_t>{0, "ICERR_OK", "success"},
    NamedResult<std::int32_t>{1, "ICERR_DONTDRAW", "nothing to draw"},
    NamedResult<std::int32_t>{2, "ICERR_NEWPALETTE", "the palette changed"},
    NamedResult<std::int32_t>{3, "ICERR_GOTOKEYFRAME", "only a key frame can be decoded now"},
    NamedResult<std::int32_t>{4, "ICERR_STOPDRAWING", "drawing ends"},
    NamedResult<std::int32_t>{-1, "ICERR_UNSUPPORTED", "the codec does not do this at all"},
    NamedResult<std::int32_t>{-2, "ICERR_BADFORMAT", "the format is not supported"},
    NamedResult<std::int32_t>{-3, "ICERR_MEMORY", "there is not enough memory"},
    NamedResult<std::int32_t>{-4, "ICERR_INTERNAL", "an error inside the codec"},
    NamedResult<std::int32_t>{-5, "ICERR_BADFLAGS", "flags that the codec does not know"},
    NamedResult<std::int32_t>{-6, "ICERR_BADPARAM", "a parameter that the codec does not take"},
    NamedResult<std::int32_t>{-7, "ICERR_BADSIZE", "a size that the codec does not take"},
    NamedResult<std::int32_t>{-8, "ICERR_BADHANDLE", "a handle that is not valid"},
    NamedResult<std::int32_t>{-9, "ICERR_CANTUPDATE", "the picture cannot be drawn anew"},
    NamedResult<std::int32_t>{-10, "ICERR_ABORT", "the codec was told to stop"},
    NamedResult<std::int32_t>{-100, "ICERR_ERROR", "an error without a name"},
    NamedResult<std::int32_t>{-200, "ICERR_BADBITDEPTH", "the bit depth is not supported"},
    NamedResult<std::int32_t>{-201, "ICERR_BADIMAGESIZE", "the picture size is not supported"},
};

constexpr std::array kAviFileResults = {
    NamedResult<std::uint32_t>{0x80044065, "AVIERR_UNSUPPORTED", "this is not supported"},
    NamedResult<std::uint32_t>{0x80044066, "AVIERR_BADFORMAT", "the file is damaged or no AVI"},
    NamedResult<std::uint32_t>{0x80044067, "AVIERR_MEMORY", "there is not enough memory"},
    NamedResult<std::uint32_t>{0x80044068, "AVIERR_INTERNAL", "an error inside AVIFile"},
    NamedResult<std::uint32_t>{0x80044069, "AVIERR_BADFLAGS", "flags that are not known"},
    NamedResult<std::uint32_t>{0x8004406A, "AVIERR_BADPARAM", "a parameter that is not taken"},
    NamedResult<std::uint32_t>{0x8004406B, "AVIERR_BADSIZE", "a size that is not taken"},
    NamedResult<std::uint32_t>{0x8004406C, "AVIERR_BADHANDLE", "a handle that is not valid"},
    NamedResult<std::uint32_t>{0x8004406D, "AVIERR_FILEREAD", "the file cannot be read"},
    NamedResult<std::uint32_t>{0x8004406E, "AVIERR_FILEWRITE",
                               "the file cannot be written; is the disk full?"},
    NamedResult<std::uint32_t>{0x8004406F, "AVIERR_FILEOPEN",
                               "the file cannot be opened; does its folder exist, and may you "
                               "write there?"},
    NamedResult<std::uint32_t>{0x80044070, "AVIERR_COMPRESSOR", "a codec reported an error"},
    NamedResult<std::uint32_t>{0x80044071, "AVIERR_NOCOMPRESSOR", "no codec was found"},
    NamedResult<std::uint32_t>{0x80044072, "AVIERR_READONLY", "the file can only be read"},
    NamedResult<std::uint32_t>{0x80044073, "AVIERR_NODATA", "there are no such data in the file"},
    NamedResult<std::uint32_t>{0x80044074, "AVIERR_BUFFERTOOSMALL", "the buffer is too small"},
    NamedResult<std::uint32_t>{0x80044075, "AVIERR_CANTCOMPRESS", "this cannot be compressed"},
    NamedResult<std::uint32_t>{0x800440C6, "AVIERR_USERABORT", "the user stopped it"},
    NamedResult<std::uint32_t>{0x800440C7, "AVIERR_ERROR", "an error without a name"},
};

}  // namespace

std::string CodecResultText(std::int32_t result) {
  const auto found = std::ranges::find(kCodecResults, result, &NamedResult<std::int32_t>::value);
  if (found == kCodecResults.end()) {
    return Concat("result ", result, ", which is the codec's own");
  }
  return Concat(found->name, " (", result, "): ", found->meaning);
}

std::string AviFileResultText(std::uint32_t result) {
  std::array<char, 11> digits{};
  std::snprintf(digits.data(), digits.size(), "0x%08X", static_cast<unsigned>(result));
  const auto found = std::ranges::find(kAviFileResults, result, &NamedResult<std::uint32_t>::value);
  if (found == kAviFileResults.end()) {
    return Concat("result ", digits.data());
  }
  return Concat(found->name, " (", digits.data(), "): ", found->meaning);
}

}  // namespace qivm
