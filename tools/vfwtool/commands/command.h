#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vfwtool/base/progress.h"
#include "tools/vfwtool/base/system.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/clip.h"

namespace vfwtool {

/// An argument that a command takes by its place.
struct OperandSpec {
  std::string_view name;  ///< "INPUT"
  std::string_view help;  ///< Lines of help text, parted by line ends.
  bool isList = false;    ///< One or more, as the last operand of a command.
};

/// An argument that a command takes by its name.
struct OptionSpec {
  std::string_view name;         ///< "--output"
  std::string_view letter = {};  ///< "-o", or empty.
  std::string_view value = {};   ///< What follows the name, such as "FILE"; empty for a switch.
  std::string_view help = {};    ///< Lines of help text, parted by line ends.
  bool isRequired = false;
};

/// Width and height of a picture.
struct PictureSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool operator==(const PictureSize&) const = default;
};

/// The arguments of one command, which takes all of them. Values that are not what an option takes
/// are refused by ToolError (kUsage); those of options that were not given are empty.
class Arguments {
 public:
  Arguments(std::vector<std::string> operands,
            std::map<std::string, std::string, std::less<>> values)
      : operands_(std::move(operands)), values_(std::move(values)) {}

  const std::vector<std::string>& Operands() const { return operands_; }
  /// The operand at `index`, which must be one of the command's.
  const std::string& Operand(std::size_t index) const { return operands_.at(index); }

  bool Has(std::string_view option) const { return values_.contains(option); }
  std::optional<std::string> Value(std::string_view option) const;

  /// A whole number from `least` to `most`.
  std::optional<std::uint32_t> Number(std::string_view option, std::uint32_t least,
                                      std::uint32_t most) const;
  std::optional<PixelFormat> Format(std::string_view option) const;
  /// A codec's code.
  std::optional<FourCc> Code(std::string_view option) const;
  /// Frames a second, as "25" or "30000/1001".
  std::optional<FrameRate> Rate(std::string_view option) const;
  /// A size such as 720x576, with an even width.
  std::optional<PictureSize> Size(std::string_view option) const;

 private:
  std::vector<std::string> operands_;
  std::map<std::string, std::string, std::less<>> values_;
};

/// One of the tool's commands. Each is defined in a file of its name.
struct Command {
  std::string_view name;
  std::string_view summary;      ///< One line for the list of commands.
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

/// The arguments that `words`, a command line without the names of program and command, hands to a
/// command. Operands stand in their order; options stand anywhere, as "--name value",
/// "--name=value" or "-n value"; "-" is an operand or a value, and after "--" everything is an
/// operand. Throws ToolError (kUsage) for anything that the command does not take or lacks.
Arguments ParseArguments(const Command& command, std::span<const std::string> words);

/// Runs the command line `words` (without the program's name) and returns the process's exit code.
/// Never throws.
int RunTool(const Tool& tool, std::span<const std::string> words, const ToolStreams& streams);

extern const Command kRecordCommand;
extern const Command kPlayCommand;
extern const Command kCopyCommand;
extern const Command kInfoCommand;
extern const Command kVerifyCommand;
extern const Command kExportCommand;
extern const Command kImportCommand;
extern const Command kCompareCommand;
extern const Command kBenchCommand;
#ifdef _WIN32
extern const Command kDiagnoseCommand;
extern const Command kConfigureCommand;
extern const Command kAboutCommand;
#endif

// Options that mean the same in every command that has them.

inline constexpr OptionSpec kJsonOption = {.name = "--json",
                                           .help = "print the result as one JSON object"};
inline constexpr OptionSpec kQuietOption = {
    .name = "--quiet",
    .letter = "-q",
    .help = "print no progress, no remarks and, without\n--json, no result"};

/// The codec that a command works with unless it is told otherwise.
inline constexpr FourCc kDefaultCodec = qivm::kQivm;
inline constexpr OptionSpec kCodecOption = {
    .name = "--codec", .value = "CODE", .help = "the code of the codec (default: QIVM)"};

inline constexpr std::uint32_t kBestQuality = 10000;
inline constexpr OptionSpec kQualityOption = {
    .name = "--quality",
    .value = "NUMBER",
    .help = "0 (smallest frames) to 10000 (best pictures);\ndefault: the codec's own"};

/// Of commands that write an AVI.
inline constexpr OptionSpec kAviOutputOption = {
    .name = "--output",
    .letter = "-o",
    .value = "OUT.avi",
    .help = "the AVI to write; an existing file is replaced",
    .isRequired = true};

/// Of commands whose output holds no sound.
inline constexpr OptionSpec kSoundOutputOption = {
    .name = "--sound", .value = "OUT.wav", .help = "write the AVI's PCM sound into this file"};
inline constexpr OptionSpec kSoundStreamOption = {
    .name = "--sound-stream",
    .value = "NUMBER",
    .help =
        "which sound stream --sound writes, as 'info'\nnumbers them (default: the first of PCM)"};

/// Of commands whose input holds no sound.
inline constexpr OptionSpec kSoundInputOption = {
    .name = "--sound", .value = "IN.wav", .help = "take the sound of this file (PCM; WAV or RF64)"};

inline constexpr OptionSpec kKeepGoingOption = {
    .name = "--keep-going",
    .help =
        "go on behind damaged frames, for each of which the\npicture before it stands, and sound "
        "that cannot be\nread, which becomes silence; exit code 8"};

/// How a command with kQuietOption shows its progress.
inline Progress::Style ProgressStyle(const Arguments& arguments, const ToolStreams& streams) {
  if (arguments.Has(kQuietOption.name)) {
    return Progress::Style::kSilent;
  }
  return streams.errorsAreTerminal ? Progress::Style::kTerminal : Progress::Style::kLines;
}

/// Prints a result as kJsonOption and kQuietOption ask for: `report` has Text and Json.
template <typename Report>
void PrintReport(const Report& report, const Arguments& arguments, std::ostream& stream) {
  if (arguments.Has(kJsonOption.name)) {
    stream << report.Json().Print() << '\n';
  } else if (!arguments.Has(kQuietOption.name)) {
    stream << report.Text();
  }
}

}  // namespace vfwtool
