#include <windows.h>

#include <iostream>
#include <stdexcept>
#include <string>

#include "resources/resource.h"
#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"
#include "tests/ui/desktop.h"
#include "tests/ui/modal_call.h"
#include "tests/ui/window_picture.h"

// Shows every dialog of the driver with the default settings, which it restores, and saves a
// picture of each.
//
// usage: dialog_screenshots FOLDER
//
// Writes launcher.bmp, settings-editor.bmp, defective-applications.bmp and about.bmp.

namespace qivm::test {
namespace {

void SaveAll(const std::string& folder) {
  // The driver makes the default settings when it finds none.
  DeleteTree("Software\\Norvane");
  DeleteTree("Software\\Pellaro");
  const DriverModule driver;
  if (driver.Function() == nullptr) {
    throw std::runtime_error("cannot load " + DriverPath());
  }
  ModalCall launching([&](HWND parent) { return driver.Send(0, DRV_CONFIGURE, parent, 0); });
  const Window launcher = launching.Dialog("Configure your MPEG2");
  WindowPicture(launcher).Save(folder + "/launcher.bmp");

  launcher.ClickToOpen(IDC_I_FRAMES);
  const Window editor = launching.Dialog("Configure Norvane MPEG2 I-frames");
  WindowPicture(editor).Save(folder + "/settings-editor.bmp");

  editor.ClickToOpen(IDC_ADVANCED);
  const Window defectiveApps = launching.Dialog("List of defective application");
  WindowPicture(defectiveApps).Save(folder + "/defective-applications.bmp");
  defectiveApps.Click(IDCANCEL);

  editor.ClickToOpen(IDC_EDITOR_ABOUT);
  const Window about = launching.Dialog("About...");
  WindowPicture(about).Save(folder + "/about.bmp");
  about.Click(IDCANCEL);

  editor.Click(IDCANCEL);
  launcher.Click(IDCANCEL);
  launching.Result();
}

}  // namespace
}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::cerr << "usage: dialog_screenshots FOLDER\n";
    return 2;
  }
  try {
    qivm::test::PrepareDesktop();
    qivm::test::SaveAll(arguments[1]);
  } catch (const std::exception& error) {
    std::cerr << "dialog_screenshots: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
