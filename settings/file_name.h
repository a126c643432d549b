#pragma once

#include <string_view>

namespace qivm {

/// The part of a NUL-terminated path behind the last of its `separators`; all of it when it has
/// none. `next` steps to the next character, as CharNextA does: in some code pages the second byte
/// of a character can look like a separator.
template <typename CharacterStep>
const char* FileNamePart(const char* path, std::string_view separators, CharacterStep next) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; at = next(at)) {
    if (separators.find(*at) != std::string_view::npos) {
      name = at + 1;
    }
  }
  return name;
}

}  // namespace qivm
