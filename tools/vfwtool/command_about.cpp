#include <array>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"

namespace qivm {
namespace {

constexpr std::array kOptions = {kCodecOption};

void Run(const Arguments& arguments, const ToolStreams&) {
  const FourCc code = FourCcArgument(arguments, kCodecOption.name).value_or(kDefaultCodec);
  Codec::ForCompression(code).ShowAbout();
}

}  // namespace

constinit const Command kAboutCommand = {
    .name = "about",
    .summary = "show a codec's about box",
    .usage = "[options]",
    .description = "Shows the about box of an installed codec.",
    .operands = {},
    .options = kOptions,
    .examples = "  vfwtool about",
    .run = Run,
};

}  // namespace qivm
