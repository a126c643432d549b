#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tools/vfwtool/vfw_results.h"

namespace qivm {
namespace {

TEST(VfwResultNames, AreThoseOfTheHeader) {
  struct Entry {
    std::string name;
    std::string text;
  };
#define CODEC_RESULT(value) \
  Entry { #value, CodecResultText(static_cast <std::int32_t>(value)) }
  const std::vector<Entry> entries = {
      CODEC_RESULT(ICERR_OK),          CODEC_RESULT(ICERR_DONTDRAW),
      CODEC_RESULT(ICERR_NEWPALETTE),  CODEC_RESULT(ICERR_GOTOKEYFRAME),
      CODEC_RESULT(ICERR_STOPDRAWING), CODEC_RESULT(ICERR_UNSUPPORTED),
      CODEC_RESULT(ICERR_BADFORMAT),   CODEC_RESULT(ICERR_MEMORY),
      CODEC_RESULT(ICERR_INTERNAL),    CODEC_RESULT(ICERR_BADFLAGS),
      CODEC_RESULT(ICERR_BADPARAM),    CODEC_RESULT(ICERR_BADSIZE),
      CODEC_RESULT(ICERR_BADHANDLE),   CODEC_RESULT(ICERR_CANTUPDATE),
      CODEC_RESULT(ICERR_ABORT),       CODEC_RESULT(ICERR_ERROR),
      CODEC_RESULT(ICERR_BADBITDEPTH), CODEC_RESULT(ICERR_BADIMAGESIZE),
  };
#undef CODEC_RESULT
  for (const Entry& entry : entries) {
    EXPECT_TRUE(entry.text.starts_with(entry.name + " (")) << entry.name << ": " << entry.text;
  }
}

}  // namespace
}  // namespace qivm
