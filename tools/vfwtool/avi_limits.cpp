#include "tools/vfwtool/avi_limits.h"

#include <array>
#include <string_view>

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::uint64_t kChunkHeaderBytes = 8;

constexpr std::uint64_t RoundedToWord(std::uint64_t bytes) { return (bytes + 1) / 2 * 2; }

[[noreturn]] void Refuse(const std::string& name, const char* why) {
  throw ToolError(ExitCode::kInput,
                  Concat(name, ": ", why,
                         ". Split it into files of less than 2 GB without such segments; a clip "
                         "that is to be recorded can come as Y4M through the standard input"));
}

}  // namespace

void RequireSingleSegment(std::istream& file, std::uint64_t fileBytes, const std::string& name) {
  if (fileBytes > kMaxAviBytes) {
    Refuse(name, "the AVI is larger than the 2 GB that AVIFile reads");
  }
  std::array<unsigned char, kChunkHeaderBytes> header{};
  const auto readHeader = [&](std::uint64_t position) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(position));
    file.read(reinterpret_cast<char*>(header.data()), header.size());
    return file.gcount() == static_cast<std::streamsize>(header.size()) &&
           std::string_view(reinterpret_cast<const char*>(header.data()), 4) == kRiffSignature;
  };
  if (!readHeader(0)) {
    throw ToolError(ExitCode::kInput, Concat(name, ": is not an AVI"));
  }
  std::uint64_t segmentBytes = 0;
  for (std::size_t i = header.size(); i-- > 4;) {
    segmentBytes = (segmentBytes << 8) | header[i];
  }
  const std::uint64_t end = kChunkHeaderBytes + RoundedToWord(segmentBytes);
  if (end < fileBytes && readHeader(end)) {
    Refuse(name,
           "the AVI goes on in further segments (OpenDML), and AVIFile reads only the first of "
           "them");
  }
}

}  // namespace qivm
