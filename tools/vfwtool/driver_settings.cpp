#include "tools/vfwtool/driver_settings.h"

#include <windows.h>

#include <mmsystem.h>

#include <memory>
#include <string>

#include "tools/vfwtool/codec.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/windows_text.h"

namespace qivm {
namespace {

constexpr wchar_t kSection[] = L"Drivers32";

struct DriverCloser {
  void operator()(HDRVR driver) const { CloseDriver(driver, 0, 0); }
};

}  // namespace

bool ConfigureDriver(FourCc code) {
  const std::wstring name = Utf16(Concat("vidc.", FourCcText(code)));
  // Without codec parameters the driver is opened to be configured, and for nothing else.
  const std::unique_ptr<HDRVR__, DriverCloser> driver(OpenDriver(name.c_str(), kSection, 0));
  if (driver == nullptr) {
    throw ToolError(ExitCode::kCodec,
                    Concat("no driver with the code ", FourCcText(code),
                           " can be opened (installed: ", InstalledCodecs(), "). ", BitnessHint()));
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
  return result == DRVCNF_RESTART;
}

}  // namespace qivm
