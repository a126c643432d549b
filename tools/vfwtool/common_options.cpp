#include "tools/vfwtool/common_options.h"

#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {

std::optional<PixelFormat> PixelFormatArgument(const Arguments& arguments,
                                               std::string_view option) {
  const std::optional<std::string> name = arguments.Value(option);
  if (!name) {
    return std::nullopt;
  }
  const std::optional<PixelFormat> format = ParsePixelFormat(*name);
  if (!format) {
    throw ToolError(ExitCode::kUsage,
                    Concat(option, " takes yuy2, uyvy, rgb24 or rgb32, not '", *name, "'"));
  }
  return format;
}

std::optional<FourCc> FourCcArgument(const Arguments& arguments, std::string_view option) {
  const std::optional<std::string> text = arguments.Value(option);
  if (!text) {
    return std::nullopt;
  }
  const std::optional<FourCc> code = ParseFourCc(*text);
  if (!code) {
    throw ToolError(ExitCode::kUsage,
                    Concat(option, " takes a code of up to four characters, not '", *text, "'"));
  }
  return code;
}

Progress::Style ProgressStyle(const Arguments& arguments, const ToolStreams& streams) {
  if (arguments.Has(kQuietOption.name)) {
    return Progress::Style::kSilent;
  }
  return streams.errorsAreTerminal ? Progress::Style::kTerminal : Progress::Style::kLines;
}

}  // namespace qivm
