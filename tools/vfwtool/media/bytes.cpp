#include "tools/vfwtool/media/bytes.h"

#include <array>
#include <cstdio>

namespace vfwtool {
namespace {

constexpr std::size_t kLength = 4;

bool IsPrintable(unsigned character) { return character >= 0x20 && character < 0x7F; }

}  // namespace

std::optional<FourCc> ParseFourCc(std::string_view text) {
  if (text.empty() || text.size() > kLength) {
    return std::nullopt;
  }
  FourCc code = 0;
  for (std::size_t i = kLength; i-- > 0;) {
    const unsigned character = i < text.size() ? static_cast<unsigned char>(text[i]) : ' ';
    if (!IsPrintable(character)) {
      return std::nullopt;
    }
    code = (code << 8) | character;
  }
  return code;
}

std::string FourCcText(FourCc code) {
  std::string text;
  for (unsigned shift = 0; shift < 8 * kLength; shift += 8) {
    const unsigned character = (code >> shift) & 0xFF;
    if (!IsPrintable(character)) {
      std::array<char, 11> digits{};
      std::snprintf(digits.data(), digits.size(), "0x%08X", static_cast<unsigned>(code));
      return digits.data();
    }
    text += static_cast<char>(character);
  }
  return text;
}

}  // namespace vfwtool
