#include "tools/vfwtool/arguments.h"

#include <algorithm>
#include <charconv>

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

[[noreturn]] void Refuse(const std::string& why) { throw ToolError(ExitCode::kUsage, why); }

const OptionSpec& FindOption(std::span<const OptionSpec> options, std::string_view word) {
  const auto found = std::ranges::find_if(options, [&](const OptionSpec& option) {
    return option.name == word || (!option.letter.empty() && option.letter == word);
  });
  if (found == options.end()) {
    Refuse(Concat("there is no option ", word));
  }
  return *found;
}

}  // namespace

Arguments::Arguments(std::span<const OperandSpec> operands, std::span<const OptionSpec> options,
                     std::span<const std::string> words) {
  bool onlyOperands = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (onlyOperands || word == "-" || !word.starts_with('-')) {
      operands_.emplace_back(word);
      continue;
    }
    if (word == "--") {
      onlyOperands = true;
      continue;
    }
    const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
    const OptionSpec& option = FindOption(options, word.substr(0, equals));
    std::string value;
    if (option.value.empty()) {
      if (equals != std::string_view::npos) {
        Refuse(Concat(option.name, " takes no value"));
      }
    } else if (equals != std::string_view::npos) {
      value = word.substr(equals + 1);
    } else if (++i < words.size()) {
      value = words[i];
    } else {
      Refuse(Concat(option.name, " needs a value: ", option.name, ' ', option.value));
    }
    if (!values_.emplace(option.name, value).second) {
      Refuse(Concat(option.name, " is given twice"));
    }
  }
  if (operands_.size() < operands.size()) {
    Refuse(Concat(operands[operands_.size()].name, " is missing"));
  }
  if (operands_.size() > operands.size()) {
    Refuse(Concat("'", operands_[operands.size()], "' is one argument too many"));
  }
  for (const OptionSpec& option : options) {
    if (option.required && !Has(option.name)) {
      Refuse(Concat(option.name, ' ', option.value, " is missing"));
    }
  }
}

std::optional<std::string> Arguments::Value(std::string_view option) const {
  const auto found = values_.find(option);
  if (found == values_.end()) {
    return std::nullopt;
  }
  return found->second;
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
    Refuse(
        Concat(option, " takes a whole number from ", least, " to ", most, ", not '", *text, "'"));
  }
  return number;
}

std::string HelpEntry(std::string_view name, std::string_view help) {
  constexpr std::size_t kHelpColumn = 24;
  std::string text = Concat("  ", name);
  if (text.size() + 2 > kHelpColumn) {
    text += '\n';
    text.append(kHelpColumn, ' ');
  } else {
    text.resize(kHelpColumn, ' ');
  }
  for (const char character : help) {
    text += character;
    if (character == '\n') {
      text.append(kHelpColumn, ' ');
    }
  }
  return text + '\n';
}

std::string OperandHelp(std::span<const OperandSpec> operands) {
  std::string text;
  for (const OperandSpec& operand : operands) {
    text += HelpEntry(operand.name, operand.help);
  }
  return text;
}

std::string OptionHelp(std::span<const OptionSpec> options) {
  std::string text;
  for (const OptionSpec& option : options) {
    std::string name;
    if (!option.letter.empty()) {
      name = Concat(option.letter, ", ");
    }
    name += option.name;
    if (!option.value.empty()) {
      name += Concat(' ', option.value);
    }
    text += HelpEntry(name, option.help);
  }
  return text;
}

}  // namespace qivm
