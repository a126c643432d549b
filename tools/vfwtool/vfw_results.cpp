#include "tools/vfwtool/vfw_results.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

struct NamedResult {
  std::int32_t value;
  std::string_view name;
  std::string_view meaning;
};

constexpr std::array kCodecResults = {
    NamedResult{0, "ICERR_OK", "success"},
    NamedResult{1, "ICERR_DONTDRAW", "nothing to draw"},
    NamedResult{2, "ICERR_NEWPALETTE", "the palette changed"},
    NamedResult{3, "ICERR_GOTOKEYFRAME", "only a key frame can be decoded now"},
    NamedResult{4, "ICERR_STOPDRAWING", "drawing ends"},
    NamedResult{-1, "ICERR_UNSUPPORTED", "the codec does not do this at all"},
    NamedResult{-2, "ICERR_BADFORMAT", "the format is not supported"},
    NamedResult{-3, "ICERR_MEMORY", "there is not enough memory"},
    NamedResult{-4, "ICERR_INTERNAL", "an error inside the codec"},
    NamedResult{-5, "ICERR_BADFLAGS", "flags that the codec does not know"},
    NamedResult{-6, "ICERR_BADPARAM", "a parameter that the codec does not take"},
    NamedResult{-7, "ICERR_BADSIZE", "a size that the codec does not take"},
    NamedResult{-8, "ICERR_BADHANDLE", "a handle that is not valid"},
    NamedResult{-9, "ICERR_CANTUPDATE", "the picture cannot be drawn anew"},
    NamedResult{-10, "ICERR_ABORT", "the codec was told to stop"},
    NamedResult{-100, "ICERR_ERROR", "an error without a name"},
    NamedResult{-200, "ICERR_BADBITDEPTH", "the bit depth is not supported"},
    NamedResult{-201, "ICERR_BADIMAGESIZE", "the picture size is not supported"},
};

}  // namespace

std::string CodecResultText(std::int32_t result) {
  const auto found = std::ranges::find(kCodecResults, result, &NamedResult::value);
  if (found == kCodecResults.end()) {
    return Concat("result ", result, ", which is the codec's own");
  }
  return Concat(found->name, " (", result, "): ", found->meaning);
}

}  // namespace qivm
