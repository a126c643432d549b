// The commands that show a codec's dialogs.

#include <windows.h>

#include <mmsystem.h>
#include <vfw.h>

#include <array>
#include <memory>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/codecs/codec.h"
#include "tools/vfwtool/commands/command.h"

namespace vfwtool {
namespace {

constexpr std::array kOptions = {kCodecOption};

FourCc CodeOf(const Arguments& arguments) {
  return arguments.Code(kCodecOption.name).value_or(kDefaultCodec);
}

struct DriverCloser {
  void operator()(HDRVR driver) const { CloseDriver(driver, 0, 0); }
};

struct CodecCloser {
  void operator()(HIC codec) const { ICClose(codec); }
};

void Configure(const Arguments& arguments, const ToolStreams& streams) {
  constexpr wchar_t kSection[] = L"Drivers32";
  const FourCc code = CodeOf(arguments);
  const std::wstring name = Utf16(Concat("vidc.", FourCcText(code)));
  // Without codec parameters the driver is opened to be configured, and for nothing else.
  const std::unique_ptr<HDRVR__, DriverCloser> driver(OpenDriver(name.c_str(), kSection, 0));
  if (driver == nullptr) {
    FailWithoutCodec(Concat("no driver with the code ", FourCcText(code), " can be opened"));
  }
  if (SendDriverMessage(driver.get(), DRV_QUERYCONFIGURE, 0, 0) == 0) {
    throw ToolError(ExitCode::kCodec,
                    Concat("the driver of ", FourCcText(code), " has no settings"));
  }
  DRVCONFIGINFO info{};
  info.dwDCISize = sizeof(info);
  info.lpszDCISectionName = kSection;
  info.lpszDCIAliasName = name.c_str();
  const LRESULT result =
      SendDriverMessage(driver.get(), DRV_CONFIGURE, reinterpret_cast<LPARAM>(GetDesktopWindow()),
                        reinterpret_cast<LPARAM>(&info));
  if (result == DRVCNF_RESTART) {
    streams.output << "Windows has to be started anew for the settings to take effect.\n";
  }
}

void About(const Arguments& arguments, const ToolStreams&) {
  const FourCc code = CodeOf(arguments);
  const std::unique_ptr<HIC__, CodecCloser> codec(ICOpen(ICTYPE_VIDEO, code, ICMODE_QUERY));
  if (codec == nullptr) {
    FailWithoutCodec(Concat("no codec with the code ", FourCcText(code), " can be opened"));
  }
  if (!ICQueryAbout(codec.get())) {
    throw ToolError(ExitCode::kCodec, Concat("the codec ", FourCcText(code), " has no about box"));
  }
  ICAbout(codec.get(), GetDesktopWindow());
}

}  // namespace

constinit const Command kConfigureCommand = {
    .name = "configure",
    .summary = "show the settings that a codec has for all programs",
    .description =
        "Shows the settings dialog of an installed codec's driver, as the list of codecs in "
        "Windows' control panel does. What is saved there holds for programs that open the codec "
        "afterwards.",
    .operands = {},
    .options = kOptions,
    .examples = "  vfwtool configure",
    .run = Configure,
};

constinit const Command kAboutCommand = {
    .name = "about",
    .summary = "show a codec's about box",
    .description = "Shows the about box of an installed codec.",
    .operands = {},
    .options = kOptions,
    .examples = "  vfwtool about",
    .run = About,
};

}  // namespace vfwtool
