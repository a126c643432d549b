#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qivm {

/// An argument that a command takes by its place. All are required.
struct OperandSpec {
  std::string_view name;  ///< "INPUT"
  std::string_view help;  ///< Lines of help text, parted by line ends.
};

/// An argument that a command takes by its name.
struct OptionSpec {
  std::string_view name;         ///< "--output"
  std::string_view letter = {};  ///< "-o", or empty.
  std::string_view value = {};   ///< What follows the name, such as "FILE"; empty for a switch.
  std::string_view help = {};    ///< Lines of help text, parted by line ends.
  bool required = false;
};

/// The arguments of one command, checked against what the command takes.
class Arguments {
 public:
  /// Takes operands in their order, and options anywhere as "--name value", "--name=value" or
  /// "-n value"; "-" is an operand or a value, and after "--" everything is an operand.
  /// Throws ToolError (kUsage) for anything that the command does not take or lacks.
  Arguments(std::span<const OperandSpec> operands, std::span<const OptionSpec> options,
            std::span<const std::string> words);

  /// The operand at `index`, which must be one of the command's.
  const std::string& Operand(std::size_t index) const { return operands_.at(index); }

  bool Has(std::string_view option) const { return values_.contains(option); }

  /// The option's value; empty when it was not given.
  std::optional<std::string> Value(std::string_view option) const;

  /// The option's value as a whole number from `least` to `most`; throws ToolError (kUsage) when
  /// it is anything else.
  std::optional<std::uint32_t> Number(std::string_view option, std::uint32_t least,
                                      std::uint32_t most) const;

 private:
  std::vector<std::string> operands_;
  std::map<std::string, std::string, std::less<>> values_;
};

/// The help text's lists: one entry per operand or option, names in a left-hand column.
std::string OperandHelp(std::span<const OperandSpec> operands);
std::string OptionHelp(std::span<const OptionSpec> options);

/// One entry of such a list; further lines of `help` are indented like the first.
std::string HelpEntry(std::string_view name, std::string_view help);

}  // namespace qivm
