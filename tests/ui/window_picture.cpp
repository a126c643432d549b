#include "tests/ui/window_picture.h"

#include <fstream>
#include <stdexcept>

namespace qivm::test {

WindowPicture::WindowPicture(const Window& window, WindowPart part) {
  window.WaitUntilDrawn();
  RECT rect = {};
  if (part == WindowPart::whole) {
    GetWindowRect(window.Handle(), &rect);
  } else {
    GetClientRect(window.Handle(), &rect);
  }
  header_.biSize = sizeof header_;
  header_.biWidth = rect.right - rect.left;
  header_.biHeight = rect.bottom - rect.top;
  header_.biPlanes = 1;
  header_.biBitCount = 32;
  pixels_.resize(static_cast<std::size_t>(header_.biWidth) *
                 static_cast<std::size_t>(header_.biHeight));

  const HDC source =
      part == WindowPart::whole ? GetWindowDC(window.Handle()) : GetDC(window.Handle());
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

void WindowPicture::Save(const std::string& path) const {
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

}  // namespace qivm::test
