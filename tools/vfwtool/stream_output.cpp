#include "tools/vfwtool/stream_output.h"

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

void Check(const std::ostream& stream, const std::string& name) {
  if (!stream) {
    throw ToolError(ExitCode::kOutput,
                    Concat(name,
                           ": cannot be written (is the disk full, or did the program that "
                           "reads it end early?)"));
  }
}

}  // namespace

void WriteBytes(std::ostream& stream, const std::string& name,
                std::span<const std::uint8_t> bytes) {
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  Check(stream, name);
}

void WriteText(std::ostream& stream, const std::string& name, std::string_view text) {
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  Check(stream, name);
}

void FlushOutput(std::ostream& stream, const std::string& name) {
  stream.flush();
  Check(stream, name);
}

void CloseOutput(std::ofstream& file, const std::string& name) {
  file.close();
  Check(file, name);
}

}  // namespace qivm
