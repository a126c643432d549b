#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace qivm {

/// The largest AVI that the AVIFile functions read: they hold file positions in signed 32-bit
/// numbers.
inline constexpr std::uint64_t kMaxAviBytes = 0x7FFFFFFF;

/// Throws ToolError (kInput) unless AVIFile would see the whole of the AVI `name`, which takes
/// `fileBytes` and is open in `file`. OpenDML AVIs go on in further RIFF segments, and AVIFile
/// passes over all of them but the first without a word.
void RequireSingleSegment(std::istream& file, std::uint64_t fileBytes, const std::string& name);

/// The first word of every AVI.
inline constexpr char kRiffSignature[] = "RIFF";

}  // namespace qivm
