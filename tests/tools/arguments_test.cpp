#include "tools/vfwtool/arguments.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/tool_errors.h"

namespace qivm {
namespace {

constexpr std::array kOperands = {OperandSpec{"INPUT", "what to read"}};
constexpr std::array kOptions = {
    OptionSpec{.name = "--output",
               .letter = "-o",
               .value = "FILE",
               .help = "where to\nwrite",
               .required = true},
    OptionSpec{.name = "--count", .value = "NUMBER", .help = "how many"},
    OptionSpec{.name = "--quiet", .letter = "-q", .help = "say nothing"},
};

Arguments Parse(const std::vector<std::string>& words) { return {kOperands, kOptions, words}; }

std::string Refusal(const std::vector<std::string>& words) {
  return MessageOf(ExitCode::kUsage, [&] { Parse(words); });
}

TEST(Arguments, TakesOptionsInEveryForm) {
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

TEST(Arguments, AfterTwoDashesEverythingIsAnOperand) {
  EXPECT_EQ(Parse({"-o", "out", "--", "--quiet"}).Operand(0), "--quiet");
}

TEST(Arguments, AValueMayLookLikeAnOptionOrBeEmpty) {
  EXPECT_EQ(Parse({"in", "-o", "-q"}).Value("--output"), "-q");
  EXPECT_EQ(Parse({"in", "--output="}).Value("--output"), "");
  EXPECT_EQ(Parse({"in", "--output=a=b"}).Value("--output"), "a=b");
}

TEST(Arguments, RefusesWhatTheCommandDoesNotTake) {
  EXPECT_EQ(Refusal({"in", "-o", "out", "--colour"}), "there is no option --colour");
  EXPECT_EQ(Refusal({"in", "-o", "out", "-x"}), "there is no option -x");
  EXPECT_EQ(Refusal({"in", "more", "-o", "out"}), "'more' is one argument too many");
  EXPECT_EQ(Refusal({"-o", "out"}), "INPUT is missing");
  EXPECT_EQ(Refusal({"in"}), "--output FILE is missing");
  EXPECT_EQ(Refusal({"in", "-o"}), "--output needs a value: --output FILE");
  EXPECT_EQ(Refusal({"in", "-o", "out", "--quiet=yes"}), "--quiet takes no value");
  EXPECT_EQ(Refusal({"in", "-o", "out", "--output", "out"}), "--output is given twice");
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

TEST(Arguments, HelpListsNamesInAColumn) {
  EXPECT_EQ(OperandHelp(kOperands), "  INPUT                 what to read\n");
  EXPECT_EQ(OptionHelp(kOptions),
            "  -o, --output FILE     where to\n"
            "                        write\n"
            "  --count NUMBER        how many\n"
            "  -q, --quiet           say nothing\n");
  EXPECT_EQ(HelpEntry("--a-name-beyond-the-column", "text"),
            "  --a-name-beyond-the-column\n"
            "                        text\n");
}

}  // namespace
}  // namespace qivm
