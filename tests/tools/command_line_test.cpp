#include <array>
#include <gtest/gtest.h>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/commands/command.h"

namespace vfwtool {
namespace {

constexpr std::array kInput = {OperandSpec{"INPUT", "what to read"}};
constexpr std::array kInputOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "FILE",
               .help = "where to\nwrite",
               .isRequired = true},
    OptionSpec{.name = "--count", .value = "NUMBER", .help = "how many"},
    OptionSpec{.name = "--quiet", .letter = "-q", .help = "say nothing"},
};
constexpr Command kCommand = {.name = "copy",
                              .summary = "",
                              .description = "",
                              .operands = kInput,
                              .options = kInputOptions,
                              .examples = "",
                              .run = nullptr};

Arguments Parse(const std::vector<std::string>& words) { return ParseArguments(kCommand, words); }

std::string Refusal(const std::vector<std::string>& words) {
  return MessageOf(ExitCode::kUsage, [&] { Parse(words); });
}

TEST(Arguments, TakesOptionsInEveryFormAndAnywhere) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"in", "-o", "out"},
                                                {"--output", "out", "in"},
                                                {"--output=out", "in"}}) {
    const Arguments arguments = Parse(words);
    EXPECT_EQ(arguments.Operand(0), "in");
    EXPECT_EQ(arguments.Value("--output"), "out");
    EXPECT_FALSE(arguments.Has("--quiet"));
    EXPECT_FALSE(arguments.Value("--count").has_value());
  }
}

TEST(Arguments, ADashIsAnOperandAndAValue) {
  const Arguments arguments = Parse({"-", "-o", "-", "-q"});
  EXPECT_EQ(arguments.Operand(0), "-");
  EXPECT_EQ(arguments.Value("--output"), "-");
  EXPECT_TRUE(arguments.Has("--quiet"));
}

TEST(Arguments, ASlashBeginsAFileName) {
  EXPECT_EQ(Parse({"/o", "-o", "/q"}).Operand(0), "/o");
  EXPECT_EQ(Parse({"/o", "-o", "/q"}).Value("--output"), "/q");
}

TEST(Arguments, AfterTwoDashesEverythingIsAnOperand) {
  EXPECT_EQ(Parse({"-o", "out", "--", "--quiet"}).Operand(0), "--quiet");
}

TEST(Arguments, AValueMayLookLikeAnOption) {
  EXPECT_EQ(Parse({"in", "-o", "-q"}).Value("--output"), "-q");
  EXPECT_EQ(Parse({"in", "--output=a=b"}).Value("--output"), "a=b");
}

TEST(Arguments, ListsTakeOneOrMore) {
  constexpr std::array kFiles = {OperandSpec{.name = "FILE", .help = "", .isList = true}};
  Command command = kCommand;
  command.operands = kFiles;
  const std::vector<std::string> words = {"a", "-o", "out", "b", "c"};
  EXPECT_EQ(ParseArguments(command, words).Operands(), (std::vector<std::string>{"a", "b", "c"}));
  const std::vector<std::string> none = {"-o", "out"};
  const auto parse = [&] { ParseArguments(command, none); };
  EXPECT_TRUE(Contains(MessageOf(ExitCode::kUsage, parse), "FILE"));
}

TEST(Arguments, RefusesWhatTheCommandDoesNotTake) {
  EXPECT_TRUE(Contains(Refusal({"in", "-o", "out", "--colour"}), "--colour"));
  EXPECT_TRUE(Contains(Refusal({"in", "-o", "out", "-x"}), "-x"));
  EXPECT_TRUE(Contains(Refusal({"in", "more", "-o", "out"}), "more"));
  EXPECT_EQ(Refusal({"in", "-o", "out", "--quiet=yes"}), "--quiet takes no value");
  // Rather than that the output is missing.
  EXPECT_EQ(Refusal({"in", "--outputs"}), "The following argument was not expected: --outputs");
  EXPECT_TRUE(Contains(Refusal({"-o", "out"}), "INPUT"));
  EXPECT_TRUE(Contains(Refusal({"in"}), "--output"));
  EXPECT_TRUE(Contains(Refusal({"in", "-o"}), "--output"));
  EXPECT_TRUE(Contains(Refusal({"in", "-o", "out", "--output", "out"}), "--output"));
}

TEST(Arguments, NumbersKeepToTheirRange) {
  const auto number = [](const std::string& text) {
    return Parse({"in", "-o", "out", "--count", text}).Number("--count", 5, 10000);
  };
  EXPECT_EQ(number("5"), 5U);
  EXPECT_EQ(number("10000"), 10000U);
  for (const char* const text :
       {"4", "10001", "-6", "+6", "6.0", "six", "", " 6", "6 ", "0x10", "4294967301"}) {
    const std::string message = MessageOf(ExitCode::kUsage, [&] { number(text); });
    EXPECT_EQ(message,
              std::string("--count takes a whole number from 5 to 10000, not '") + text + "'");
  }
  EXPECT_FALSE(Parse({"in", "-o", "out"}).Number("--count", 0, 1).has_value());
}

TEST(Arguments, NameFormatsCodesRatesAndSizes) {
  const auto with = [](const std::string& text) {
    return Parse({"in", "-o", "out", "--count", text});
  };
  EXPECT_EQ(with("uyvy").Format("--count"), PixelFormat::kUyvy);
  EXPECT_EQ(MessageOf(ExitCode::kUsage, [&] { with("bgr").Format("--count"); }),
            "--count takes yuy2, uyvy, rgb24 or rgb32, not 'bgr'");
  EXPECT_EQ(with("QIVM").Code("--count"), "QIVM"_fourcc);
  EXPECT_EQ(MessageOf(ExitCode::kUsage, [&] { with("QIVM2").Code("--count"); }),
            "--count takes a code of up to four characters, not 'QIVM2'");
  EXPECT_EQ(with("25").Rate("--count"), (FrameRate{25, 1}));
  EXPECT_EQ(with("30000/1001").Rate("--count"), (FrameRate{30000, 1001}));
  for (const char* const text :
       {"", "0", "25/0", "25/", "/1", "25.5", "-25", "25/1/1", "x", "4294967295/1"}) {
    EXPECT_TRUE(MessageOf(ExitCode::kUsage, [&] {
                  with(text).Rate("--count");
                }).starts_with("--count takes frames a second such as 25 or 30000/1001, not '"));
  }
  EXPECT_EQ(with("720x576").Size("--count"), (PictureSize{720, 576}));
  for (const char* const text :
       {"", "720", "720x", "x576", "721x576", "0x16", "16x0", "16x16x16", "16386x16", "16*16"}) {
    EXPECT_TRUE(MessageOf(ExitCode::kUsage, [&] {
                  with(text).Size("--count");
                }).starts_with("--count takes a size such as 720x576, not '"));
  }
}

constexpr std::array kWord = {OperandSpec{"WORD", "what to say"}};
constexpr std::array kLoud = {OptionSpec{.name = "--loud", .help = "shout"}};

void Say(const Arguments& arguments, const ToolStreams& streams) {
  const std::string& word = arguments.Operand(0);
  if (word == "codec") {
    throw ToolError(ExitCode::kCodec, "the codec is gone");
  }
  if (word == "memory") {
    throw std::bad_alloc();
  }
  if (word == "surprise") {
    throw std::runtime_error("something else");
  }
  if (word == "break") {
    streams.output.setstate(std::ios::badbit);
  }
  streams.output << word << (arguments.Has("--loud") ? "!" : ".") << '\n';
}

constexpr Command kSay = {.name = "say",
                          .summary = "says a word",
                          .description = "Says a word, once.",
                          .operands = kWord,
                          .options = kLoud,
                          .examples = "  parrot say hello",
                          .run = Say};
constexpr std::array kCommands = {&kSay};
constexpr Tool kParrot = {
    .name = "parrot", .purpose = "Speaks.", .version = "1.2 (test)", .commands = kCommands};

struct Outcome {
  int code;
  std::string output;
  std::string errors;
};

Outcome RunParrot(const std::vector<std::string>& words) {
  std::istringstream input;
  std::ostringstream output;
  std::ostringstream errors;
  const int code = RunTool(kParrot, words, {input, output, errors});
  return {code, output.str(), errors.str()};
}

TEST(CommandLine, RunsACommandWithItsArguments) {
  const Outcome outcome = RunParrot({"say", "hello", "--loud"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.output, "hello!\n");
  EXPECT_EQ(outcome.errors, "");
}

TEST(CommandLine, FailuresBecomeMessagesAndExitCodes) {
  const Outcome codec = RunParrot({"say", "codec"});
  EXPECT_EQ(codec.code, 4);
  EXPECT_EQ(codec.errors, "parrot say: the codec is gone\n");
  const Outcome memory = RunParrot({"say", "memory"});
  EXPECT_EQ(memory.code, 1);
  EXPECT_EQ(memory.errors, "parrot say: there is not enough memory\n");
  const Outcome surprise = RunParrot({"say", "surprise"});
  EXPECT_EQ(surprise.code, 1);
  EXPECT_EQ(surprise.errors, "parrot say: something else\n");
}

TEST(CommandLine, ALostResultIsAFailure) {
  const Outcome outcome = RunParrot({"say", "break"});
  EXPECT_EQ(outcome.code, 5);
  EXPECT_EQ(outcome.errors, "parrot say: the standard output cannot be written\n");
}

TEST(CommandLine, UsageErrorsPointToTheHelp) {
  const Outcome none = RunParrot({});
  EXPECT_EQ(none.code, 2);
  EXPECT_TRUE(none.errors.starts_with("parrot: ")) << none.errors;
  EXPECT_TRUE(none.errors.ends_with("\nTry 'parrot --help'.\n")) << none.errors;
  const Outcome unknown = RunParrot({"sing", "hello"});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_EQ(unknown.errors, "parrot: there is no command 'sing'\nTry 'parrot --help'.\n");
  const Outcome missing = RunParrot({"say"});
  EXPECT_EQ(missing.code, 2);
  EXPECT_EQ(missing.output, "");
  EXPECT_TRUE(missing.errors.starts_with("parrot say: WORD")) << missing.errors;
  EXPECT_TRUE(
      RunParrot({"say", "--hel"})
          .errors.starts_with("parrot say: The following argument was not expected: --hel\n"));
  EXPECT_TRUE(missing.errors.ends_with("\nTry 'parrot say --help'.\n")) << missing.errors;
}

TEST(CommandLine, HelpAndVersionAreResults) {
  for (const char* const option : {"--help", "-h"}) {
    const Outcome tool = RunParrot({option});
    EXPECT_EQ(tool.code, 0);
    EXPECT_EQ(tool.errors, "");
    EXPECT_TRUE(Contains(tool.output, "says a word")) << tool.output;
    for (const ExitCodeMeaning& entry : kExitCodeMeanings) {
      EXPECT_TRUE(Contains(tool.output, std::string(entry.meaning))) << tool.output;
    }
    const Outcome command = RunParrot({"say", "hello", option});
    EXPECT_EQ(command.code, 0);
    for (const char* const part :
         {"Says a word, once.", "parrot say [OPTIONS] WORD", "--loud", "shout",
          "Examples:\n  parrot say hello\n", "Exit codes:\n  0   done\n"}) {
      EXPECT_TRUE(Contains(command.output, part)) << command.output;
    }
  }
  EXPECT_EQ(RunParrot({"--version"}).output, "parrot 1.2 (test)\n");
}

TEST(CommandLine, AfterTwoDashesHelpIsAnOperand) {
  EXPECT_EQ(RunParrot({"say", "--", "--help"}).output, "--help.\n");
}

constexpr std::array kReportOptions = {kJsonOption, kQuietOption};
constexpr Command kReport = {.name = "report",
                             .summary = "",
                             .description = "",
                             .operands = {},
                             .options = kReportOptions,
                             .examples = "",
                             .run = nullptr};

TEST(Options, ProgressDependsOnTheTerminal) {
  std::stringstream stream;
  const ToolStreams log{stream, stream, stream, false};
  const ToolStreams terminal{stream, stream, stream, true};
  EXPECT_EQ(ProgressStyle(ParseArguments(kReport, {}), log), Progress::Style::kLines);
  EXPECT_EQ(ProgressStyle(ParseArguments(kReport, {}), terminal), Progress::Style::kTerminal);
  const std::vector<std::string> quiet = {"--quiet"};
  EXPECT_EQ(ProgressStyle(ParseArguments(kReport, quiet), terminal), Progress::Style::kSilent);
}

struct TestReport {
  static std::string Text() { return "text\n"; }
  static JsonObject Json() { return JsonObject().Integer("number", 1); }
};

TEST(Options, ChooseTheFormOfTheResult) {
  const auto printed = [](const std::vector<std::string>& words) {
    std::ostringstream stream;
    PrintReport(TestReport(), ParseArguments(kReport, words), stream);
    return stream.str();
  };
  EXPECT_EQ(printed({}), "text\n");
  EXPECT_EQ(printed({"--json"}), "{\n  \"number\": 1\n}\n");
  EXPECT_EQ(printed({"-q"}), "");
  EXPECT_EQ(printed({"-q", "--json"}), "{\n  \"number\": 1\n}\n");
}

}  // namespace
}  // namespace vfwtool
