#include <windows.h>

#include <iostream>
#include <stdexcept>
#include <string>

#include "resources/resource.h"
#include "tests/driver/driver_module.h"
#include "tests/ui/desktop.h"
#include "tests/ui/layout.h"
#include "tests/ui/modal_call.h"

// Shows every dialog of the driver and says what is wrong with its layout.
//
// usage: layout_report
//
// Prints the screen's resolution, the number of controls of each dialog and a line for every
// problem. A program of its own: a process knows one resolution only.

namespace qivm::test {
namespace {

void Report(const char* name, const Window& dialog) {
  std::cout << name << ": " << dialog.Children().size() << " controls\n";
  for (const std::string& problem : LayoutProblems(dialog)) {
    std::cout << "  " << problem << '\n';
  }
}

void ReportAll() {
  const HDC screen = GetDC(nullptr);
  std::cout << GetDeviceCaps(screen, LOGPIXELSX) << " dots per inch\n";
  ReleaseDC(nullptr, screen);

  const DriverModule driver;
  if (driver.Function() == nullptr) {
    throw std::runtime_error("cannot load " + DriverPath());
  }
  ModalCall call([&](HWND parent) { return driver.Send(0, DRV_CONFIGURE, parent, 0); });
  const Window launcher = call.Dialog("Configure your MPEG2");
  Report("launcher", launcher);
  launcher.ClickToOpen(IDC_LAUNCHER_ABOUT);
  const Window generalAbout = call.Dialog("About...");
  Report("about box, general text", generalAbout);
  generalAbout.Click(IDCANCEL);
  generalAbout.WaitUntilClosed();

  call.Dialog("Configure your MPEG2").ClickToOpen(IDC_I_FRAMES);
  const Window editor = call.Dialog("Configure Norvane MPEG2 I-frames");
  Report("settings editor", editor);
  editor.ClickToOpen(IDC_EDITOR_ABOUT);
  const Window about = call.Dialog("About...");
  Report("about box, I-frames text", about);
  about.Click(IDCANCEL);
  about.WaitUntilClosed();

  call.Dialog("Configure Norvane MPEG2 I-frames").ClickToOpen(IDC_ADVANCED);
  const Window defectiveApps = call.Dialog("List of defective application");
  Report("defective applications", defectiveApps);
  defectiveApps.Click(IDCANCEL);
  defectiveApps.WaitUntilClosed();

  call.Dialog("Configure Norvane MPEG2 I-frames").Click(IDCANCEL);
  call.Dialog("Configure your MPEG2").Click(IDCANCEL);
  call.Result();
}

}  // namespace
}  // namespace qivm::test

int main() {
  try {
    qivm::test::PrepareDesktop();
    qivm::test::ReportAll();
  } catch (const std::exception& error) {
    std::cerr << "layout_report: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
