#include "tools/vfwtool/command.h"

#include <array>
#include <gtest/gtest.h>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/tools/tool_errors.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {OperandSpec{"WORD", "what to say"}};
constexpr std::array kOptions = {OptionSpec{.name = "--loud", .help = "shout"}};

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
                          .usage = "WORD [options]",
                          .description = "Says a word, once.",
                          .operands = kOperands,
                          .options = kOptions,
                          .examples = "  parrot say hello",
                          .run = Say};
constexpr std::array kCommands = {&kSay};
constexpr Tool kParrot = {
    .name = "parrot", .purpose = "speaks", .version = "1.2 (test)", .commands = kCommands};

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

TEST(Command, RunsWithItsArguments) {
  const Outcome outcome = RunParrot({"say", "hello", "--loud"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.output, "hello!\n");
  EXPECT_EQ(outcome.errors, "");
}

TEST(Command, FailuresBecomeMessagesAndExitCodes) {
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

TEST(Command, ALostResultIsAFailure) {
  const Outcome outcome = RunParrot({"say", "break"});
  EXPECT_EQ(outcome.code, 5);
  EXPECT_EQ(outcome.errors, "parrot say: the standard output cannot be written\n");
}

TEST(Command, UsageErrorsPointToTheHelp) {
  const Outcome none = RunParrot({});
  EXPECT_EQ(none.code, 2);
  EXPECT_EQ(none.errors, "parrot: a command is missing\nTry 'parrot --help'.\n");
  const Outcome unknown = RunParrot({"sing", "hello"});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_EQ(unknown.errors, "parrot: there is no command 'sing'\nTry 'parrot --help'.\n");
  const Outcome missing = RunParrot({"say"});
  EXPECT_EQ(missing.code, 2);
  EXPECT_EQ(missing.errors, "parrot say: WORD is missing\nTry 'parrot say --help'.\n");
}

TEST(Command, HelpAndVersionAreResults) {
  for (const char* const option : {"--help", "-h"}) {
    const Outcome tool = RunParrot({option});
    EXPECT_EQ(tool.code, 0);
    EXPECT_EQ(tool.errors, "");
    EXPECT_TRUE(Contains(tool.output, "  say                   says a word\n"));
    EXPECT_TRUE(Contains(tool.output, "Exit codes:\n  0                     done\n"));
    const Outcome command = RunParrot({"say", "hello", option});
    EXPECT_EQ(command.code, 0);
    EXPECT_TRUE(Contains(command.output, "Usage: parrot say WORD [options]\n\nSays a word, once."));
    EXPECT_TRUE(Contains(command.output, "  --loud                shout\n"));
    EXPECT_TRUE(Contains(command.output, "Examples:\n  parrot say hello\n"));
  }
  EXPECT_EQ(RunParrot({"--version"}).output, "parrot 1.2 (test)\n");
}

TEST(Command, AfterTwoDashesHelpIsAnOperand) {
  EXPECT_EQ(RunParrot({"say", "--", "--help"}).output, "--help.\n");
}

}  // namespace
}  // namespace qivm
