#include "tools/vfwtool/file_access.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

char LowerCase(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

std::string LastErrorText() { return std::generic_category().message(errno); }

}  // namespace

std::filesystem::path PathOf(const std::string& name) {
  return {std::u8string(name.begin(), name.end())};
}

std::ifstream OpenInput(const std::string& name) {
  std::ifstream file(PathOf(name), std::ios::binary);
  if (!file) {
    throw ToolError(ExitCode::kInput, Concat(name, ": cannot be opened: ", LastErrorText()));
  }
  return file;
}

std::ofstream OpenOutput(const std::string& name) {
  std::ofstream file(PathOf(name), std::ios::binary | std::ios::trunc);
  if (!file) {
    throw ToolError(ExitCode::kOutput, Concat(name, ": cannot be created: ", LastErrorText()));
  }
  return file;
}

std::optional<std::uint64_t> FileBytes(const std::string& name) {
  std::error_code error;
  const std::filesystem::path path = PathOf(name);
  if (!std::filesystem::is_regular_file(path, error)) {
    return std::nullopt;
  }
  const std::uintmax_t bytes = std::filesystem::file_size(path, error);
  if (error) {
    return std::nullopt;
  }
  return bytes;
}

void RemoveFile(const std::string& name) {
  std::error_code error;
  const std::filesystem::path path = PathOf(name);
  if (std::filesystem::is_regular_file(path, error)) {
    std::filesystem::remove(path, error);
  }
}

void RequireDifferentFiles(const std::string& input, const std::string& output) {
  if (input == kStandardStream || output == kStandardStream) {
    return;
  }
  std::error_code error;
  if (std::filesystem::equivalent(PathOf(input), PathOf(output), error)) {
    throw ToolError(ExitCode::kUsage, Concat(output, ": is the input as well"));
  }
}

bool HasExtension(std::string_view name, std::string_view extension) {
  return name.size() >= extension.size() &&
         std::ranges::equal(name.substr(name.size() - extension.size()), extension,
                            [](char a, char b) { return LowerCase(a) == LowerCase(b); });
}

}  // namespace qivm
