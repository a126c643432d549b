#include "tools/vfwtool/common_options.h"

#include <charconv>
#include <system_error>

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

std::optional<FrameRate> FrameRateArgument(const Arguments& arguments, std::string_view option) {
  const std::optional<std::string> text = arguments.Value(option);
  if (!text) {
    return std::nullopt;
  }
  FrameRate rate{0, 1};
  const char* const textEnd = text->data() + text->size();
  std::from_chars_result parsed = std::from_chars(text->data(), textEnd, rate.numerator);
  if (parsed.ec == std::errc{} && parsed.ptr != textEnd && *parsed.ptr == '/') {
    parsed = std::from_chars(parsed.ptr + 1, textEnd, rate.denominator);
  }
  if (parsed.ec != std::errc{} || parsed.ptr != textEnd || rate.numerator == 0 ||
      rate.denominator == 0) {
    throw ToolError(
        ExitCode::kUsage,
        Concat(option, " takes frames a second such as 25 or 30000/1001, not '", *text, "'"));
  }
  return rate;
}

std::optional<PictureSize> SizeArgument(const Arguments& arguments, std::string_view option) {
  const std::optional<std::string> text = arguments.Value(option);
  if (!text) {
    return std::nullopt;
  }
  PictureSize size;
  const char* const textEnd = text->data() + text->size();
  std::from_chars_result parsed = std::from_chars(text->data(), textEnd, size.width);
  if (parsed.ec == std::errc{} && parsed.ptr != textEnd && *parsed.ptr == 'x') {
    parsed = std::from_chars(parsed.ptr + 1, textEnd, size.height);
  }
  if (parsed.ec != std::errc{} || parsed.ptr != textEnd || !IsPictureSide(size.width) ||
      !IsPictureSide(size.height) || size.width % 2 != 0) {
    throw ToolError(ExitCode::kUsage,
                    Concat(option, " takes a size such as 720x576, not '", *text, "'"));
  }
  return size;
}

Progress::Style ProgressStyle(const Arguments& arguments, const ToolStreams& streams) {
  if (arguments.Has(kQuietOption.name)) {
    return Progress::Style::kSilent;
  }
  return streams.errorsAreTerminal ? Progress::Style::kTerminal : Progress::Style::kLines;
}

}  // namespace qivm
