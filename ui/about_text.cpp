#include "ui/about_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qivm::ui {
namespace {

/// One entry of "\VarFileInfo\Translation".
struct Translation {
  std::uint16_t language;
  std::uint16_t codePage;
};
static_assert(sizeof(Translation) == 4);

/// U.S. English in Unicode, the translation that the library's own version block has.
constexpr Translation kTranslation = {1033, 1200};
/// The same as the path of its texts spells it: both numbers in hexadecimal.
constexpr const char* kBuildPath = "\\StringFileInfo\\040904b0\\SpecialBuild";
static_assert(kTranslation.language == 0x0409 && kTranslation.codePage == 0x04b0);

bool HasTranslation(std::span<const char> translations) {
  for (; translations.size() >= sizeof(Translation);
       translations = translations.subspan(sizeof(Translation))) {
    Translation translation = {};
    std::memcpy(&translation, translations.data(), sizeof translation);
    if (translation.language == kTranslation.language &&
        translation.codePage == kTranslation.codePage) {
      return true;
    }
  }
  return false;
}

/// The characters before the first NUL.
std::string_view TextOf(std::span<const char> value) {
  const std::string_view text(value.data(), value.size());
  return text.substr(0, text.find('\0'));
}

}  // namespace

BuildValue FindBuild(const VersionBlock& block) {
  std::string_view build = kNoBuild;
  if (HasTranslation(block.Value("\\VarFileInfo\\Translation"))) {
    const std::span<const char> value = block.Value(kBuildPath);
    if (!value.empty()) {
      build = TextOf(value);
    }
  }
  BuildValue result = {};
  build.copy(result.data(), result.size() - 1);
  return result;
}

void ComposeAboutText(std::span<char> out, std::string_view text, std::string_view label,
                      std::string_view build) {
  std::size_t length = 0;
  for (const std::string_view part :
       {text, std::string_view("\n\n"), label, std::string_view(": "), build}) {
    length += part.copy(out.data() + length, out.size() - 1 - length);
  }
  out[length] = '\0';
}

}  // namespace qivm::ui
