#include <array>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/codecs/diagnosis.h"
#include "tools/vfwtool/commands/command.h"

namespace vfwtool {
namespace {

constexpr std::array kOptions = {kCodecOption, kJsonOption};

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const FourCc code = arguments.Code(kCodecOption.name).value_or(kDefaultCodec);
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
    .description =
        "Looks up how a codec is registered for 32- and for 64-bit programs, whether its file is "
        "there, of the right bitness and can be loaded, whether this user may change that, and "
        "which driver answers for which code. Ends with what is wrong and what to do about it, and "
        "with exit code 4 when programs of the tool's own bitness cannot use the codec. To ask for "
        "the other bitness, run the other vfwtool.",
    .operands = {},
    .options = kOptions,
    .examples =
        "  vfwtool diagnose\n"
        "  vfwtool diagnose --codec MMES --json",
    .run = Run,
};

}  // namespace vfwtool
