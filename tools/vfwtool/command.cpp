#include "tools/vfwtool/command.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <string>

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr OptionSpec kHelpOption = {.name = "--help", .letter = "-h", .help = "print this text"};
constexpr OptionSpec kVersionOption = {.name = "--version", .help = "print the version"};

std::string ExitCodeHelp() {
  struct Entry {
    ExitCode code;
    std::string_view help;
  };
  constexpr std::array kEntries = {
      Entry{ExitCode::kOk, "done"},
      Entry{ExitCode::kError, "failed for a reason that has no code of its own"},
      Entry{ExitCode::kUsage, "the command line is wrong; nothing was touched"},
      Entry{ExitCode::kInput, "the input cannot be read, or is of a kind that is not taken"},
      Entry{ExitCode::kCodec, "no codec for the job is installed, or it refused or failed"},
      Entry{ExitCode::kOutput, "the output cannot be written"},
      Entry{ExitCode::kSizeLimit,
            "the output reached the most an AVI holds; it was closed there and can\nbe played"},
      Entry{ExitCode::kInterrupted,
            "stopped by Ctrl-C; what was recorded before was closed and can be played"},
  };
  std::string text = "\nExit codes:\n";
  for (const Entry& entry : kEntries) {
    text += HelpEntry(Concat(static_cast<int>(entry.code)), entry.help);
  }
  return text;
}

std::string ToolHelp(const Tool& tool) {
  std::string text = Concat(tool.name, " - ", tool.purpose, "\n\nUsage: ", tool.name,
                            " COMMAND [arguments]\n\nCommands:\n");
  for (const Command* command : tool.commands) {
    text += HelpEntry(command->name, command->summary);
  }
  constexpr std::array kOptions = {kHelpOption, kVersionOption};
  text += Concat("\nOptions:\n", OptionHelp(kOptions), "\n'", tool.name,
                 " COMMAND --help' tells what a command does and takes.\n", ExitCodeHelp());
  return text;
}

std::string CommandHelp(const Tool& tool, const Command& command) {
  std::string text = Concat("Usage: ", tool.name, ' ', command.name, ' ', command.usage, "\n\n",
                            command.description, "\n\n");
  if (!command.operands.empty()) {
    text += Concat("Operands:\n", OperandHelp(command.operands), '\n');
  }
  text += Concat("Options:\n", OptionHelp(command.options));
  constexpr std::array kOptions = {kHelpOption};
  text += OptionHelp(kOptions);
  if (!command.examples.empty()) {
    text += Concat("\nExamples:\n", command.examples, '\n');
  }
  return text + ExitCodeHelp();
}

bool IsHelp(std::string_view word) {
  return word == kHelpOption.name || word == kHelpOption.letter;
}

/// True when help is asked for before a "--" turns the rest into operands.
bool AsksForHelp(std::span<const std::string> words) {
  const auto end = std::ranges::find(words, "--");
  return std::any_of(words.begin(), end, IsHelp);
}

const Command& FindCommand(const Tool& tool, std::string_view name) {
  const auto found = std::ranges::find(tool.commands, name, &Command::name);
  if (found == tool.commands.end()) {
    throw ToolError(ExitCode::kUsage, Concat("there is no command '", name, "'"));
  }
  return **found;
}

/// Reports a failure; `context` is the tool's name and, once it is known, the command's.
int Complain(std::ostream& errors, const std::string& context, ExitCode code,
             const std::string& message) {
  errors << context << ": " << message << '\n';
  if (code == ExitCode::kUsage) {
    errors << "Try '" << context << " --help'.\n";
  }
  errors.flush();
  return static_cast<int>(code);
}

}  // namespace

int RunTool(const Tool& tool, std::span<const std::string> words, const ToolStreams& streams) {
  std::string context(tool.name);
  try {
    if (words.empty()) {
      throw ToolError(ExitCode::kUsage, "a command is missing");
    }
    if (IsHelp(words.front())) {
      streams.output << ToolHelp(tool);
    } else if (words.front() == kVersionOption.name) {
      streams.output << tool.name << ' ' << tool.version << '\n';
    } else {
      const Command& command = FindCommand(tool, words.front());
      context += Concat(' ', command.name);
      const std::span<const std::string> arguments = words.subspan(1);
      if (AsksForHelp(arguments)) {
        streams.output << CommandHelp(tool, command);
      } else {
        command.run(Arguments(command.operands, command.options, arguments), streams);
      }
    }
    streams.output.flush();
    if (!streams.output) {
      throw ToolError(ExitCode::kOutput, "the standard output cannot be written");
    }
    return static_cast<int>(ExitCode::kOk);
  } catch (const ToolError& error) {
    return Complain(streams.errors, context, error.Code(), error.what());
  } catch (const std::bad_alloc&) {
    return Complain(streams.errors, context, ExitCode::kError, "there is not enough memory");
  } catch (const std::exception& error) {
    return Complain(streams.errors, context, ExitCode::kError, error.what());
  }
}

}  // namespace qivm
