#pragma once

#include <cstdint>
#include <fstream>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace qivm {

/// Writes to `stream`; throws ToolError, naming the output `name`, when that fails.
void WriteBytes(std::ostream& stream, const std::string& name, std::span<const std::uint8_t> bytes);
void WriteText(std::ostream& stream, const std::string& name, std::string_view text);

/// Hands what is buffered to the system, and closes the file; throw ToolError when that fails.
void FlushOutput(std::ostream& stream, const std::string& name);
void CloseOutput(std::ofstream& file, const std::string& name);

}  // namespace qivm
