#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qivm {

/// A code of four characters as the AVI and bitmap headers hold it: the first character in the
/// lowest byte.
using FourCc = std::uint32_t;

/// The code of a literal such as MakeFourCc("YUY2").
constexpr FourCc MakeFourCc(const char (&text)[5]) {
  FourCc code = 0;
  for (int i = 3; i >= 0; --i) {
    code = (code << 8) | static_cast<unsigned char>(text[i]);
  }
  return code;
}

/// The code that a user typed: one to four printable ASCII characters, padded with blanks.
/// Empty when `text` is anything else.
std::optional<FourCc> ParseFourCc(std::string_view text);

/// The four characters; a code with unprintable ones as a hexadecimal number ("0x00000001").
std::string FourCcText(FourCc code);

}  // namespace qivm
