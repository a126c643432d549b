#include "tools/vfwtool/common_options.h"

#include <array>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/tool_errors.h"

namespace qivm {
namespace {

constexpr std::array kOptions = {
    OptionSpec{.name = "--codec", .value = "CODE", .help = "a code"},
    OptionSpec{.name = "--format", .value = "NAME", .help = "a format"},
    OptionSpec{.name = "--rate", .value = "RATE", .help = "a rate"},
    OptionSpec{.name = "--size", .value = "WxH", .help = "a size"},
    kJsonOption,
    kQuietOption,
};

Arguments Parse(const std::vector<std::string>& words) { return {{}, kOptions, words}; }

TEST(CommonOptions, NameFormatsAndCodes) {
  EXPECT_EQ(PixelFormatArgument(Parse({"--format", "uyvy"}), "--format"), PixelFormat::kUyvy);
  EXPECT_FALSE(PixelFormatArgument(Parse({}), "--format").has_value());
  EXPECT_EQ(FourCcArgument(Parse({"--codec", "QIVM"}), "--codec"), MakeFourCc("QIVM"));
  EXPECT_FALSE(FourCcArgument(Parse({}), "--codec").has_value());
  EXPECT_EQ(MessageOf(ExitCode::kUsage,
                      [] {
                        PixelFormatArgument(Parse({"--format", "bgr"}), "--format");
                      }),
            "--format takes yuy2, uyvy, rgb24 or rgb32, not 'bgr'");
  EXPECT_EQ(MessageOf(ExitCode::kUsage,
                      [] {
                        FourCcArgument(Parse({"--codec", "QIVM2"}), "--codec");
                      }),
            "--codec takes a code of up to four characters, not 'QIVM2'");
}

TEST(CommonOptions, NameRatesAndSizes) {
  const auto rate = [](const char* text) {
    return FrameRateArgument(Parse({"--rate", text}), "--rate");
  };
  EXPECT_EQ(rate("25"), (FrameRate{25, 1}));
  EXPECT_EQ(rate("30000/1001"), (FrameRate{30000, 1001}));
  EXPECT_FALSE(FrameRateArgument(Parse({}), "--rate").has_value());
  for (const char* const text : {"", "0", "25/0", "25/", "/1", "25.5", "-25", "25/1/1", "x"}) {
    EXPECT_TRUE(MessageOf(ExitCode::kUsage, [&] {
                  rate(text);
                }).starts_with("--rate takes frames a second such as 25 or 30000/1001, not '"));
  }
  const auto size = [](const char* text) {
    return SizeArgument(Parse({"--size", text}), "--size");
  };
  EXPECT_EQ(size("720x576"), (PictureSize{720, 576}));
  EXPECT_FALSE(SizeArgument(Parse({}), "--size").has_value());
  for (const char* const text :
       {"", "720", "720x", "x576", "721x576", "0x16", "16x0", "16x16x16", "16386x16", "16*16"}) {
    EXPECT_TRUE(MessageOf(ExitCode::kUsage, [&] {
                  size(text);
                }).starts_with("--size takes a size such as 720x576, not '"));
  }
}

TEST(CommonOptions, ProgressDependsOnTheTerminal) {
  std::stringstream stream;
  const ToolStreams log{stream, stream, stream, false};
  const ToolStreams terminal{stream, stream, stream, true};
  EXPECT_EQ(ProgressStyle(Parse({}), log), Progress::Style::kLines);
  EXPECT_EQ(ProgressStyle(Parse({}), terminal), Progress::Style::kTerminal);
  EXPECT_EQ(ProgressStyle(Parse({"--quiet"}), terminal), Progress::Style::kSilent);
}

struct TestReport {
  static std::string Text() { return "text\n"; }
  static JsonObject Json() { return JsonObject().Integer("number", 1); }
};

TEST(CommonOptions, ChooseTheFormOfTheResult) {
  const auto printed = [](const std::vector<std::string>& words) {
    std::ostringstream stream;
    PrintReport(TestReport(), Parse(words), stream);
    return stream.str();
  };
  EXPECT_EQ(printed({}), "text\n");
  EXPECT_EQ(printed({"--json"}), "{\n  \"number\": 1\n}\n");
  EXPECT_EQ(printed({"-q"}), "");
  EXPECT_EQ(printed({"-q", "--json"}), "{\n  \"number\": 1\n}\n");
}

}  // namespace
}  // namespace qivm
