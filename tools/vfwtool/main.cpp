#include <array>
#include <string>
#include <vector>

#include "tools/vfwtool/base/system.h"
#include "tools/vfwtool/commands/command.h"

namespace {

/// In the order in which the help text lists them.
constexpr std::array kCommands = {
    &vfwtool::kRecordCommand,   &vfwtool::kPlayCommand,      &vfwtool::kCopyCommand,
    &vfwtool::kInfoCommand,     &vfwtool::kVerifyCommand,    &vfwtool::kExportCommand,
    &vfwtool::kImportCommand,   &vfwtool::kCompareCommand,   &vfwtool::kBenchCommand,
#ifdef _WIN32
    &vfwtool::kDiagnoseCommand, &vfwtool::kConfigureCommand, &vfwtool::kAboutCommand,
#endif
};

int Run(const std::vector<std::string>& arguments) {
  const vfwtool::ProcessStreams streams;
  const vfwtool::Tool tool{
      .name = "vfwtool",
      .purpose = "Records, plays and looks after the video of AVI files.",
      .version = sizeof(void*) == 8 ? VFWTOOL_VERSION " (64-bit)" : VFWTOOL_VERSION " (32-bit)",
      .commands = kCommands,
  };
  return vfwtool::RunTool(tool, arguments, vfwtool::ProcessStreams::Streams());
}

}  // namespace

#ifdef _WIN32
/// File names arrive in UTF-16, whatever the code page.
int wmain(int count, wchar_t** words) {
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(vfwtool::Utf8(words[i]));
  }
  return Run(arguments);
}
#else
int main(int count, char** words) { return Run({words + 1, words + count}); }
#endif
