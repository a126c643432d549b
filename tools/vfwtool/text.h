#pragma once

#include <cstdint>
#include <sstream>
#include <string>

namespace qivm {

/// The arguments, printed one after the other.
template <typename... Parts>
std::string Concat(const Parts&... parts) {
  std::ostringstream stream;
  (stream << ... << parts);
  return stream.str();
}

/// `value` in decimal with `digits` places after the point, whatever the locale.
std::string FixedText(double value, int digits);

/// A byte count for people: "812 bytes", "25.31 MB" (1 MB = 1,000,000 bytes).
std::string ByteCountText(std::uint64_t bytes);

/// "1 frame", "2 frames": the count with its noun, which takes a plain s in the plural.
std::string CountText(std::uint64_t count, const std::string& noun);

}  // namespace qivm
