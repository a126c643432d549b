#include <windows.h>

#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "resources/resource.h"
#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"
#include "tests/ui/desktop.h"
#include "tests/ui/modal_call.h"

// Shows every dialog of the driver with the default settings, which it restores, and saves a
// picture of each.
//
// usage: dialog_screenshots FOLDER
//
// Writes launcher.bmp, settings-editor.bmp, defective-applications.bmp and about.bmp.

namespace qivm::test {
namespace {

/// The picture of a window, its caption and border included.
class Picture {
 public:
  explicit Picture(Window window) {
    window.WaitUntilDrawn();
    RECT rect = {};
    GetWindowRect(window.Handle(), &rect);
    header_.biSize = sizeof header_;
    header_.biWidth = rect.right - rect.left;
    header_.biHeight = rect.bottom - rect.top;
    header_.biPlanes = 1;
    header_.biBitCount = 32;
    pixels_.resize(static_cast<std::size_t>(header_.biWidth) *
                   static_cast<std::size_t>(header_.biHeight));

    const HDC source = GetWindowDC(window.Handle());
    const HDC target = CreateCompatibleDC(source);
    const HBITMAP bitmap = CreateCompatibleBitmap(source, header_.biWidth, header_.biHeight);
    const HGDIOBJ previous = SelectObject(target, bitmap);
    BitBlt(target, 0, 0, header_.biWidth, header_.biHeight, source, 0, 0, SRCCOPY);
    SelectObject(target, previous);
    BITMAPINFO info = {};
    info.bmiHeader = header_;
    const int lines = GetDIBits(target, bitmap, 0, static_cast<UINT>(header_.biHeight),
                                pixels_.data(), &info, DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(target);
    ReleaseDC(window.Handle(), source);
    if (lines != header_.biHeight) {
      throw std::runtime_error("cannot copy the picture of '" + window.Text() + "'");
    }
  }

  void Save(const std::string& path) const {
    const auto size = static_cast<DWORD>(pixels_.size() * sizeof(DWORD));
    BITMAPFILEHEADER fileHeader = {};
    fileHeader.bfType = 0x4d42;
    fileHeader.bfOffBits = sizeof fileHeader + sizeof header_;
    fileHeader.bfSize = fileHeader.bfOffBits + size;
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(&fileHeader), sizeof fileHeader);
    file.write(reinterpret_cast<const char*>(&header_), sizeof header_);
    file.write(reinterpret_cast<const char*>(pixels_.data()), static_cast<std::streamsize>(size));
    if (!file.flush()) {
      throw std::runtime_error("cannot write " + path);
    }
  }

 private:
  BITMAPINFOHEADER header_ = {};
  std::vector<DWORD> pixels_;
};

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
  Picture(launcher).Save(folder + "/launcher.bmp");

  launcher.ClickToOpen(IDC_I_FRAMES);
  const Window editor = launching.Dialog("Configure Norvane MPEG2 I-frames");
  Picture(editor).Save(folder + "/settings-editor.bmp");

  editor.ClickToOpen(IDC_ADVANCED);
  const Window defectiveApps = launching.Dialog("List of defective application");
  Picture(defectiveApps).Save(folder + "/defective-applications.bmp");
  defectiveApps.Click(IDCANCEL);

  editor.ClickToOpen(IDC_EDITOR_ABOUT);
  const Window about = launching.Dialog("About...");
  Picture(about).Save(folder + "/about.bmp");
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
