#include <array>
#include <string>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/driver_settings.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::array kOptions = {kCodecOption};

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const FourCc code = FourCcArgument(arguments, kCodecOption.name).value_or(kDefaultCodec);
  const bool needsRestart = ConfigureDriver(code);
  if (needsRestart) {
    streams.output << "Windows has to be started anew for the settings to take effect.\n";
  }
}

}  // namespace

constinit const Command kConfigureCommand = {
    .name = "configure",
    .summary = "show the settings that a codec has for all programs",
    .usage = "[options]",
    .description =
        "Shows the settings dialog of an installed codec's driver, as the list of codecs in\n"
        "Windows' control panel does. What is saved there holds for programs that open the codec\n"
        "afterwards.",
    .operands = {},
    .options = kOptions,
    .examples = "  vfwtool configure",
    .run = Run,
};

}  // namespace qivm
