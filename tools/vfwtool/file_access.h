#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace qivm {

/// The name that stands for the standard input or output.
inline constexpr std::string_view kStandardStream = "-";

/// The path of a file named in UTF-8, as all names inside the tool are.
std::filesystem::path PathOf(const std::string& name);

/// Opens a file to read its bytes; throws ToolError (kInput) when that fails.
std::ifstream OpenInput(const std::string& name);

/// Creates a file, or empties it, to write bytes; throws ToolError (kOutput) when that fails.
std::ofstream OpenOutput(const std::string& name);

/// The size of a regular file; empty for anything else.
std::optional<std::uint64_t> FileBytes(const std::string& name);

/// Removes a regular file, if it is there; leaves anything else, such as a device, alone.
void RemoveFile(const std::string& name);

/// Throws ToolError (kUsage) when both names lead to the same file: writing would destroy what is
/// to be read.
void RequireDifferentFiles(const std::string& input, const std::string& output);

/// True when the name ends in `extension` (such as ".avi"), in whatever case.
bool HasExtension(std::string_view name, std::string_view extension);

}  // namespace qivm
