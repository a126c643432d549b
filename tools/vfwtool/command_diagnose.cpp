#include <array>
#include <string>

#include "tools/vfwtool/codec_registry.h"
#include "tools/vfwtool/command_table.h"
#include "tools/vfwtool/common_options.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {
namespace {

constexpr std::array kOptions = {kCodecOption, kJsonOption};

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const FourCc code = FourCcArgument(arguments, kCodecOption.name).value_or(kDefaultCodec);
  const Diagnosis diagnosis = Diagnose(code);
  PrintReport(diagnosis, arguments, streams.output);
  if (!diagnosis.IsUsable()) {
    throw ToolError(
        ExitCode::kCodec,
        Concat(diagnosis.toolBits, "-bit programs cannot use the codec ", FourCcText(code)));
  }
}

}  // namespace

constinit const Command kDiagnoseCommand = {
    .name = "diagnose",
    .summary = "tell why a codec is not listed or does not open",
    .usage = "[options]",
    .description =
        "Looks up how a codec is registered for 32- and for 64-bit programs, whether its file is\n"
        "there, of the right bitness and can be loaded, whether this user may change that, and\n"
        "which driver answers for which code. Ends with what is wrong and what to do about it, "
        "and\n"
        "with exit code 4 when programs of the tool's own bitness cannot use the codec. To ask "
        "for\n"
        "the other bitness, run the other vfwtool.",
    .operands = {},
    .options = kOptions,
    .examples =
        "  vfwtool diagnose\n"
        "  vfwtool diagnose --codec MMES --json",
    .run = Run,
};

}  // namespace qivm
