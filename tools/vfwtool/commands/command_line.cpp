#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <list>
#include <new>
#include <system_error>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/command.h"

namespace vfwtool {

namespace {

std::string ExitCodeHelp() {
  std::string text = "Exit codes:\n";
  for (const ExitCodeMeaning& entry : kExitCodeMeanings) {
    text += Concat("  ", static_cast<int>(entry.code), "   ", entry.meaning, '\n');
  }
  return text;
}

/// A paragraph in lines of a terminal's width, which the library does not break by itself.
std::string Wrapped(std::string_view text) {
  constexpr std::size_t kWidth = 80;
  std::string lines;
  std::size_t column = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    const std::size_t length = end - begin;
    const bool isBroken = column != 0 && column + 1 + length > kWidth;
    lines += column == 0 ? "" : isBroken ? "\n" : " ";
    column = column == 0 || isBroken ? length : column + 1 + length;
    lines += text.substr(begin, length);
    begin = end + 1;
  }
  return lines;
}

/// What all commands and the tool itself have in common.
void SetHabits(CLI::App& app) {
  constexpr std::size_t kHelpColumn = 28;
  app.get_formatter()->column_width(kHelpColumn);
  app.set_help_flag("-h,--help", "print this text");
#ifdef _WIN32
  // File names may begin with a slash.
  app.allow_windows_style_options(false);
#endif
}

/// What the library fills in when it takes a command line apart.
class ParsedCommand {
 public:
  ParsedCommand(const Command& command, CLI::App& app) : command_(command), app_(app) {
    SetHabits(app);
    for (const OperandSpec& operand : command.operands) {
      CLI::Option* const option =
          operand.isList ? app.add_option(std::string(operand.name), list_)
                         : app.add_option(std::string(operand.name), operands_.emplace_back());
      option->required()->description(std::string(operand.help))->type_name("");
    }
    for (const OptionSpec& spec : command.options) {
      const std::string names =
          spec.letter.empty() ? std::string(spec.name) : Concat(spec.letter, ',', spec.name);
      if (spec.value.empty()) {
        app.add_flag(names)->description(std::string(spec.help));
      } else {
        app.add_option(names, values_[std::string(spec.name)], std::string(spec.help))
            ->type_name(std::string(spec.value))
            ->required(spec.isRequired);
      }
    }
    std::string footer = ExitCodeHelp();
    if (!command.examples.empty()) {
      footer = Concat("Examples:\n", command.examples, "\n\n", footer);
    }
    app.footer(footer);
  }

  Arguments Take() {
    std::vector<std::string> operands(operands_.begin(), operands_.end());
    operands.insert(operands.end(), list_.begin(), list_.end());
    std::map<std::string, std::string, std::less<>> given;
    for (const OptionSpec& spec : command_.options) {
      const std::string name(spec.name);
      if (app_.count(name) != 0) {
        const std::vector<std::string>& results = app_.get_option(name)->results();
        if (spec.value.empty() && std::ranges::count(results, "true") != std::ssize(results)) {
          RefuseUsage(name, " takes no value");
        }
        given[name] = values_[name];
      }
    }
    return {std::move(operands), std::move(given)};
  }

 private:
  const Command& command_;
  CLI::App& app_;
  // The library keeps references to these.
  std::list<std::string> operands_;
  std::vector<std::string> list_;
  std::map<std::string, std::string> values_;
};

/// Has the library take the words apart; throws ToolError (kUsage) for what is wrong with them.
void Parse(CLI::App& app, std::span<const std::string> words) {
  // The library wants them from the last to the first.
  std::vector<std::string> reversed(words.rbegin(), words.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::Success&) {
    throw;
  } catch (const CLI::RequiredError& error) {
    // An option that is spelt wrong says more than what is missing for it.
    const std::vector<std::string> unknown = app.remaining(true);
    RefuseUsage(unknown.empty() ? std::string(error.what())
                                : std::string(CLI::ExtrasError(unknown).what()));
  } catch (const CLI::ParseError& error) {
    RefuseUsage(error.what());
  }
}

bool IsCommand(const Tool& tool, std::string_view name) {
  return std::ranges::find(tool.commands, name, &Command::name) != tool.commands.end();
}

/// The name by which messages call what is run: the tool's, with the command's once it is known.
std::string ContextOf(const Tool& tool, std::span<const std::string> words) {
  return !words.empty() && IsCommand(tool, words.front()) ? Concat(tool.name, ' ', words.front())
                                                          : std::string(tool.name);
}

/// Takes the command line apart and does what it says.
void Run(const Tool& tool, std::span<const std::string> words, const ToolStreams& streams) {
  if (!words.empty() && !words.front().starts_with('-') && !IsCommand(tool, words.front())) {
    RefuseUsage("there is no command '", words.front(), "'");
  }
  CLI::App app(std::string(tool.purpose), std::string(tool.name));
  SetHabits(app);
  app.set_version_flag("--version", Concat(tool.name, ' ', tool.version), "print the version");
  app.require_subcommand(1);
  app.footer(Concat("'", tool.name, " COMMAND --help' tells what a command does and takes.\n\n",
                    ExitCodeHelp()));
  std::list<ParsedCommand> parsed;
  for (const Command* const command : tool.commands) {
    CLI::App* const subcommand =
        app.add_subcommand(std::string(command->name), std::string(command->summary));
    parsed.emplace_back(*command, *subcommand);
    subcommand->callback(
        [command, &entry = parsed.back(), &streams] { command->run(entry.Take(), streams); });
    subcommand->preparse_callback([command, subcommand](std::size_t /*words*/) {
      subcommand->description(Wrapped(command->description));
    });
  }
  try {
    Parse(app, words);
  } catch (const CLI::Success& help) {
    app.exit(help, streams.output, streams.errors);
  }
}

/// Reports a failure.
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

Arguments ParseArguments(const Command& command, std::span<const std::string> words) {
  CLI::App app;
  ParsedCommand parsed(command, app);
  Parse(app, words);
  return parsed.Take();
}

int RunTool(const Tool& tool, std::span<const std::string> words, const ToolStreams& streams) {
  const std::string context = ContextOf(tool, words);
  try {
    Run(tool, words, streams);
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

namespace {

/// Parses "FIRST" or "FIRST<separator>SECOND" into whole numbers; false when it is anything else.
bool ParsePair(const std::string& text, char separator, std::uint32_t& first,
               std::uint32_t& second) {
  const char* const end = text.data() + text.size();
  std::from_chars_result parsed = std::from_chars(text.data(), end, first);
  if (parsed.ec == std::errc{} && parsed.ptr != end && *parsed.ptr == separator) {
    parsed = std::from_chars(parsed.ptr + 1, end, second);
  }
  return parsed.ec == std::errc{} && parsed.ptr == end;
}

}  // namespace

std::optional<std::string> Arguments::Value(std::string_view option) const {
  const auto found = values_.find(option);
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> Arguments::Number(std::string_view option, std::uint32_t least,
                                               std::uint32_t most) const {
  const std::optional<std::string> text = Value(option);
  if (!text) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  const char* const textEnd = text->data() + text->size();
  const auto [end, error] = std::from_chars(text->data(), textEnd, number);
  if (error != std::errc{} || end != textEnd || number < least || number > most) {
    RefuseUsage(option, " takes a whole number from ", least, " to ", most, ", not '", *text, "'");
  }
  return number;
}

std::optional<PixelFormat> Arguments::Format(std::string_view option) const {
  const std::optional<std::string> name = Value(option);
  if (!name) {
    return std::nullopt;
  }
  const std::optional<PixelFormat> format = ParsePixelFormat(*name);
  if (!format) {
    RefuseUsage(option, " takes yuy2, uyvy, rgb24 or rgb32, not '", *name, "'");
  }
  return format;
}

std::optional<FourCc> Arguments::Code(std::string_view option) const {
  const std::optional<std::string> text = Value(option);
  if (!text) {
    return std::nullopt;
  }
  const std::optional<FourCc> code = ParseFourCc(*text);
  if (!code) {
    RefuseUsage(option, " takes a code of up to four characters, not '", *text, "'");
  }
  return code;
}

std::optional<FrameRate> Arguments::Rate(std::string_view option) const {
  const std::optional<std::string> text = Value(option);
  if (!text) {
    return std::nullopt;
  }
  FrameRate rate{0, 1};
  if (!ParsePair(*text, '/', rate.numerator, rate.denominator) || !rate.IsValid()) {
    RefuseUsage(option, " takes frames a second such as 25 or 30000/1001, not '", *text, "'");
  }
  return rate;
}

std::optional<PictureSize> Arguments::Size(std::string_view option) const {
  const std::optional<std::string> text = Value(option);
  if (!text) {
    return std::nullopt;
  }
  PictureSize size;
  if (!ParsePair(*text, 'x', size.width, size.height) || !IsPictureSide(size.width) ||
      !IsPictureSide(size.height) || size.width % 2 != 0) {
    RefuseUsage(option, " takes a size such as 720x576, not '", *text, "'");
  }
  return size;
}

}  // namespace vfwtool
