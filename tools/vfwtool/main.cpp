#include <windows.h>

#include <cstdio>
#include <io.h>
#include <iostream>
#include <string>
#include <vector>

#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/windows_text.h"

namespace {

/// Makes the console show UTF-8, in which the tool prints, for as long as the object lives.
class Utf8Console {
 public:
  Utf8Console() : previousCodePage_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console() { SetConsoleOutputCP(previousCodePage_); }

 private:
  UINT previousCodePage_;
};

constexpr const char* kVersion =
    sizeof(void*) == 8 ? VFWTOOL_VERSION " (64-bit)" : VFWTOOL_VERSION " (32-bit)";

}  // namespace

int wmain(int count, wchar_t** words) {
  const Utf8Console console;
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(qivm::Utf8(words[i]));
  }
  const qivm::Tool tool{
      .name = "vfwtool",
      .purpose = "records and plays video with the installed Video for Windows codecs",
      .version = kVersion,
      .commands = qivm::AllCommands(),
  };
  const qivm::ToolStreams streams{.input = std::cin,
                                  .output = std::cout,
                                  .errors = std::cerr,
                                  .errorsAreTerminal = _isatty(_fileno(stderr)) != 0};
  return qivm::RunTool(tool, arguments, streams);
}
