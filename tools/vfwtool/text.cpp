#include "tools/vfwtool/text.h"

#include <iomanip>
#include <locale>

namespace qivm {

std::string FixedText(double value, int digits) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << std::fixed << std::setprecision(digits) << value;
  return stream.str();
}

std::string ByteCountText(std::uint64_t bytes) {
  constexpr std::uint64_t kShownInBytes = 10000;
  if (bytes < kShownInBytes) {
    return CountText(bytes, "byte");
  }
  return FixedText(static_cast<double>(bytes) / 1e6, 2) + " MB";
}

std::string CountText(std::uint64_t count, const std::string& noun) {
  return Concat(count, ' ', noun, count == 1 ? "" : "s");
}

}  // namespace qivm
