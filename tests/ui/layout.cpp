#include "tests/ui/layout.h"

#include <algorithm>

namespace qivm::test {
namespace {

/// Room that text needs besides itself, at 96 dots per inch: a button's borders and focus rectangle
/// on both sides, the frame's line before and behind a group's title, an edit's border.
constexpr int kButtonMargins = 8;
constexpr int kGroupTitleMargins = 18;
constexpr int kEditMargins = 2;
constexpr int kCheckBoxGap = 4;

/// Measures text as a window would draw it.
class TextMeter {
 public:
  explicit TextMeter(const Window& window)
      : TextMeter(window, reinterpret_cast<HFONT>(window.Send(WM_GETFONT))) {}
  TextMeter(const Window& window, HFONT font)
      : window_(window.Handle()), context_(GetDC(window_)), before_(SelectObject(context_, font)) {}
  ~TextMeter() {
    SelectObject(context_, before_);
    ReleaseDC(window_, context_);
  }
  TextMeter(const TextMeter&) = delete;
  TextMeter& operator=(const TextMeter&) = delete;

  /// Size of the text, broken into lines between words where it is wider than `width`.
  SIZE Wrapped(const std::string& text, int width, UINT flags) const {
    RECT rect = {0, 0, width, 0};
    DrawTextA(context_, text.c_str(), -1, &rect, DT_CALCRECT | DT_WORDBREAK | flags);
    return {rect.right, rect.bottom};
  }
  SIZE Line(const std::string& text) const {
    RECT rect = {};
    DrawTextA(context_, text.c_str(), -1, &rect, DT_CALCRECT | DT_SINGLELINE);
    return {rect.right, rect.bottom};
  }

 private:
  HWND window_;
  HDC context_;
  HGDIOBJ before_;
};

int Scaled(int pixels) {
  const HDC screen = GetDC(nullptr);
  const int scaled = MulDiv(pixels, GetDeviceCaps(screen, LOGPIXELSX), 96);
  ReleaseDC(nullptr, screen);
  return scaled;
}

bool IsGroup(const Window& control) {
  return control.ClassName() == "Button" && (control.Style() & BS_TYPEMASK) == BS_GROUPBOX;
}

bool Fits(SIZE text, int width, int height) { return text.cx <= width && text.cy <= height; }

bool ButtonFits(const Window& button) {
  const SIZE client = button.ClientSize();
  const SIZE text = TextMeter(button).Line(button.Text());
  switch (button.Style() & BS_TYPEMASK) {
    case BS_GROUPBOX:
      return Fits(text, client.cx - Scaled(kGroupTitleMargins), client.cy);
    case BS_AUTOCHECKBOX:
      return Fits(text, client.cx - GetSystemMetrics(SM_CXMENUCHECK) - Scaled(kCheckBoxGap),
                  client.cy);
    default:
      return Fits(text, client.cx - Scaled(kButtonMargins), client.cy - Scaled(kButtonMargins));
  }
}

bool StaticFits(const Window& control) {
  if ((control.Style() & SS_TYPEMASK) == SS_BITMAP) {
    return true;
  }
  const SIZE client = control.ClientSize();
  const UINT flags = (control.Style() & SS_NOPREFIX) != 0 ? DT_NOPREFIX : 0;
  return Fits(TextMeter(control).Wrapped(control.Text(), client.cx, flags), client.cx, client.cy);
}

bool ListFits(const Window& list, const Window& dialog) {
  const SIZE client = list.ClientSize();
  const TextMeter meter(list);
  const std::vector<std::string> items = dialog.Items(list.Id());
  const bool wide = std::all_of(items.begin(), items.end(), [&](const std::string& item) {
    return meter.Line(item).cx <= client.cx;
  });
  // Whether the last line in view is whole is up to the system.
  const auto line = static_cast<int>(list.Send(LB_GETITEMHEIGHT));
  return wide && client.cy >= 2 * line && meter.Line("Xg").cy <= line;
}

bool TextFits(const Window& control, const Window& dialog) {
  const std::string name = control.ClassName();
  if (name == "Button") {
    return ButtonFits(control);
  }
  if (name == "Static") {
    return StaticFits(control);
  }
  if (name == "ListBox") {
    return ListFits(control, dialog);
  }
  const int height = control.ClientSize().cy;
  return TextMeter(control).Line("Xg").cy + Scaled(kEditMargins) <= height;
}

bool CaptionFits(const Window& dialog) {
  NONCLIENTMETRICSA metrics = {};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  const HFONT font = CreateFontIndirectA(&metrics.lfCaptionFont);
  const int width = TextMeter(dialog, font).Line(dialog.Text()).cx;
  DeleteObject(font);
  return width <= dialog.ClientSize().cx - GetSystemMetrics(SM_CXSIZE);
}

bool Contains(const RECT& outer, const RECT& inner) {
  return outer.left <= inner.left && outer.top <= inner.top && inner.right <= outer.right &&
         inner.bottom <= outer.bottom;
}

bool Overlap(const Window& a, const Window& b) {
  const RECT rectA = a.RectInParent();
  const RECT rectB = b.RectInParent();
  RECT common = {};
  if (!IntersectRect(&common, &rectA, &rectB)) {
    return false;
  }
  return !(IsGroup(a) && Contains(rectA, rectB)) && !(IsGroup(b) && Contains(rectB, rectA));
}

std::string Describe(const Window& control) {
  return control.ClassName() + ' ' + std::to_string(control.Id()) + " '" + control.Text() + "'";
}

}  // namespace

std::vector<std::string> LayoutProblems(const Window& dialog) {
  std::vector<std::string> problems;
  if (!CaptionFits(dialog)) {
    problems.push_back("the caption '" + dialog.Text() + "' is cut off");
  }
  const SIZE client = dialog.ClientSize();
  const std::vector<Window> controls = dialog.Children();
  for (auto control = controls.begin(); control != controls.end(); ++control) {
    if (!TextFits(*control, dialog)) {
      problems.push_back(Describe(*control) + " is too small for its text");
    }
    if (!Contains({0, 0, client.cx, client.cy}, control->RectInParent())) {
      problems.push_back(Describe(*control) + " sticks out of the dialog");
    }
    for (auto other = control + 1; other != controls.end(); ++other) {
      if (Overlap(*control, *other)) {
        problems.push_back(Describe(*control) + " overlaps " + Describe(*other));
      }
    }
  }
  return problems;
}

}  // namespace qivm::test
