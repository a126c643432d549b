#pragma once

#include <istream>
#include <ostream>
#include <span>
#include <string_view>

#include "tools/vfwtool/arguments.h"

namespace qivm {

/// What a command talks to. Results go to `output`, progress and complaints to `errors`.
struct ToolStreams {
  std::istream& input;
  std::ostream& output;
  std::ostream& errors;
  bool errorsAreTerminal = false;  ///< Progress may rewrite its line.
};

/// One of the tool's commands. Each lives in a file of its own (command_NAME.cpp) and has a line
/// in the table of command_table.cpp.
struct Command {
  std::string_view name;
  std::string_view summary;      ///< One line for the list of commands.
  std::string_view usage;        ///< What follows the name on the command line.
  std::string_view description;  ///< Paragraphs of its help text.
  std::span<const OperandSpec> operands;
  std::span<const OptionSpec> options;
  std::string_view examples;  ///< Command lines, one a line.
  /// Does the work; a failure is thrown as ToolError.
  void (*run)(const Arguments& arguments, const ToolStreams& streams);
};

/// A program of several commands.
struct Tool {
  std::string_view name;
  std::string_view purpose;  ///< One line.
  std::string_view version;
  std::span<const Command* const> commands;
};

/// Runs the command line `words` (without the program's name) and returns the process's exit code.
/// Never throws.
int RunTool(const Tool& tool, std::span<const std::string> words, const ToolStreams& streams);

}  // namespace qivm
