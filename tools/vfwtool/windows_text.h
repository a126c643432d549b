#pragma once

#include <string>
#include <string_view>

namespace qivm {

/// UTF-16, as Windows has it, to UTF-8, as the tool has it, and back. What is no valid text is
/// replaced by the replacement character.
std::string Utf8(std::wstring_view text);
std::wstring Utf16(std::string_view text);

}  // namespace qivm
