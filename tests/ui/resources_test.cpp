#include <algorithm>
#include <cstring>

#include "tests/ui/dialog_test.h"

namespace qivm::test {
namespace {

/// A control as it is told apart from all others.
struct Control {
  int id;
  std::string className;
  std::string text;
  bool operator==(const Control&) const = default;
};
void PrintTo(const Control& control, std::ostream* out) {
  *out << control.id << ' ' << control.className << " '" << control.text << "'";
}

/// Id of the controls that have none of their own, as a window reports it.
constexpr int kNoId = -1;

std::vector<Control> ControlsOf(const Window& dialog) {
  std::vector<Control> controls;
  for (const Window& child : dialog.Children()) {
    const auto id = static_cast<short>(child.Id());
    controls.push_back({id, child.ClassName(), child.Text()});
  }
  return controls;
}

/// The fixed part of a dialog's template, its caption and its font.
struct Template {
  int width = 0;
  int height = 0;
  std::wstring caption;
  int fontSize = 0;
  std::wstring font;
  bool operator==(const Template&) const = default;
};

class ResourcesTest : public DialogTest {
 protected:
  /// Reads a template, in the older of its two forms.
  Template TemplateOf(int id) const {
    const HRSRC resource =
        FindResourceA(driver_.Handle(), MAKEINTRESOURCEA(id), MAKEINTRESOURCEA(5));
    EXPECT_NE(resource, nullptr) << id;
    const auto* words =
        static_cast<const WORD*>(LockResource(LoadResource(driver_.Handle(), resource)));
    Template result;
    // Style and extended style, number of controls, left, top, width, height.
    result.width = words[7];
    result.height = words[8];
    // Neither a menu nor a window class.
    EXPECT_EQ(words[9], 0);
    EXPECT_EQ(words[10], 0);
    words += 11;
    for (; *words != 0; ++words) {
      result.caption += static_cast<wchar_t>(*words);
    }
    result.fontSize = *++words;
    while (*++words != 0) {
      result.font += static_cast<wchar_t>(*words);
    }
    return result;
  }

  std::string String(UINT id) const {
    std::array<char, 4096> text = {};
    LoadStringA(driver_.Handle(), id, text.data(), static_cast<int>(text.size()));
    return text.data();
  }
};

TEST_F(ResourcesTest, DialogsHaveTheirSizeAndFont) {
  const auto dialog = [](int width, int height, const wchar_t* caption) {
    return Template{width, height, caption, 8, L"MS Sans Serif"};
  };
  EXPECT_EQ(TemplateOf(101), dialog(120, 120, L"Configure your MPEG2"));
  EXPECT_EQ(TemplateOf(102), dialog(289, 181, L"About..."));
  EXPECT_EQ(TemplateOf(103), dialog(258, 225, L""));
  EXPECT_EQ(TemplateOf(106), dialog(192, 174, L"List of defective application"));
}

TEST_F(ResourcesTest, LauncherHasItsControls) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  EXPECT_EQ(ControlsOf(launcher), (std::vector<Control>{
                                      {kNoId, "Static", "Norvane MPEG2 codecs"},
                                      {kNoId, "Button", "MPEG2 codecs configure"},
                                      {1001, "Button", "I frames only"},
                                      {1002, "Button", "About"},
                                      {2, "Button", "OK"},
                                  }));
  EXPECT_EQ(launcher.Children()[0].Style() & SS_TYPEMASK, SS_CENTER);
  launcher.Click(IDCANCEL);
  call.Result();
}

TEST_F(ResourcesTest, SettingsEditorHasItsControls) {
  const Instance instance(driver_);
  ModalCall call = CallEditor(instance);
  const Window editor = call.Dialog(kEditorTitle);
  std::vector<Control> controls = ControlsOf(editor);
  // The picture's number stands in place of a text.
  controls.at(0).text = "";
  EXPECT_EQ(controls,
            (std::vector<Control>{
                {1003, "Static", ""},
                {kNoId, "Button", "MPEG2 names"},
                {kNoId, "Static", "FCC abbreviation of decompressing types:"},
                {1004, "ListBox", ""},
                {1005, "Edit", ""},
                {1006, "Button", "&Add"},
                {1007, "Button", "&Remove"},
                {kNoId, "Button", "Draw Settings"},
                {kNoId, "Static", "Always work in fullscreen mode with following applications:"},
                {1008, "ListBox", ""},
                {1009, "Edit", ""},
                {1010, "Button", "&Add"},
                {1011, "Button", "&Remove"},
                {1012, "Button", "&Browse"},
                {1014, "Button", "Change fields order"},
                {3, "Button", "Advanced"},
                {1013, "Button", "About"},
                {1, "Button", "OK"},
                {2, "Button", "Cancel"},
            }));
  for (const int list : {1004, 1008}) {
    const DWORD style = editor.Child(list).Style();
    EXPECT_EQ(style & (LBS_SORT | LBS_NOTIFY), DWORD{LBS_SORT | LBS_NOTIFY}) << list;
  }
  for (const int edit : {1005, 1009}) {
    EXPECT_EQ(editor.Child(edit).Style() & ES_AUTOHSCROLL, DWORD{ES_AUTOHSCROLL}) << edit;
  }
  EXPECT_EQ(editor.Child(1014).Style() & BS_TYPEMASK, DWORD{BS_AUTOCHECKBOX});
  EXPECT_EQ(editor.Send(DM_GETDEFID), MAKELONG(1, DC_HASDEFID));
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(ResourcesTest, SettingsEditorShowsThePicture) {
  const Instance instance(driver_);
  ModalCall call = CallEditor(instance);
  const Window editor = call.Dialog(kEditorTitle);
  const Window picture = editor.Child(1003);
  EXPECT_EQ(picture.Style() & SS_TYPEMASK, DWORD{SS_BITMAP});
  const auto shown = reinterpret_cast<HBITMAP>(picture.Send(STM_GETIMAGE, IMAGE_BITMAP));
  ASSERT_NE(shown, nullptr);

  // The control's size on a standard screen, so that the picture is not stretched there.
  const HANDLE resource =
      LoadImageA(driver_.Handle(), MAKEINTRESOURCEA(104), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION);
  BITMAP bitmap = {};
  ASSERT_NE(GetObjectA(resource, sizeof bitmap, &bitmap), 0);
  const SIZE client = picture.ClientSize();
  EXPECT_EQ(bitmap.bmWidth, client.cx);
  EXPECT_EQ(bitmap.bmHeight, client.cy);
  EXPECT_GT(bitmap.bmWidth, 6 * bitmap.bmHeight);
  DeleteObject(resource);
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(ResourcesTest, DefectiveAppsDialogHasItsControls) {
  const Instance instance(driver_);
  ModalCall call = CallEditor(instance);
  call.Dialog(kEditorTitle).ClickToOpen(IDC_ADVANCED);
  const Window dialog = call.Dialog(kDefectiveAppsTitle);
  EXPECT_EQ(ControlsOf(dialog),
            (std::vector<Control>{
                {kNoId, "Static",
                 "Some applications incorrectly work with YUV formats. Codec works only in BGR(A) "
                 "mode with following application."},
                {kNoId, "Button", "List of defective application"},
                {1015, "ListBox", ""},
                {3, "Button", "Add..."},
                {4, "Button", "Delete"},
                {1, "Button", "OK"},
                {2, "Button", "Cancel"},
            }));
  EXPECT_EQ(dialog.Send(DM_GETDEFID), MAKELONG(1, DC_HASDEFID));
  const DWORD style = dialog.Child(1015).Style();
  EXPECT_EQ(style & (LBS_SORT | LBS_NOTIFY), DWORD{LBS_SORT | LBS_NOTIFY});
  dialog.Click(IDCANCEL);
  call.Dialog(kEditorTitle).Click(IDCANCEL);
  call.Result();
}

TEST_F(ResourcesTest, AboutBoxHasItsControls) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  const Window about = call.Dialog(kAboutTitle);
  std::vector<Control> controls = ControlsOf(about);
  controls.at(0).text = "";
  EXPECT_EQ(controls, (std::vector<Control>{
                          {1000, "Static", ""}, {1, "Button", "OK"}, {2, "Button", "Cancel"}}));
  EXPECT_EQ(about.Send(DM_GETDEFID), MAKELONG(1, DC_HASDEFID));
  RECT size = {0, 0, 275, 136};
  MapDialogRect(about.Handle(), &size);
  EXPECT_EQ(about.Child(1000).ClientSize().cx, size.right);
  EXPECT_EQ(about.Child(1000).ClientSize().cy, size.bottom);
  about.Click(IDOK);
  call.Result();
}

TEST_F(ResourcesTest, StringsAreThere) {
  EXPECT_EQ(String(3), "Configure Norvane MPEG2 I-frames");
  EXPECT_EQ(String(4), "Norvane MPEG2 I-frames");
  EXPECT_EQ(String(5), "QIVM");
  EXPECT_EQ(String(6), "Build");
  for (const UINT id : {1U, 2U}) {
    EXPECT_TRUE(String(id).starts_with("Norvane")) << id;
    EXPECT_EQ(String(id).find("www."), std::string::npos) << id;
    EXPECT_EQ(String(id).find("://"), std::string::npos) << id;
  }
}

TEST_F(ResourcesTest, VersionBlockDescribesTheDriver) {
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeA(DriverPath().c_str(), &handle);
  ASSERT_NE(size, 0U);
  std::vector<char> block(size);
  ASSERT_NE(GetFileVersionInfoA(DriverPath().c_str(), 0, size, block.data()), FALSE);

  void* value = nullptr;
  UINT length = 0;
  ASSERT_NE(VerQueryValueA(block.data(), "\\", &value, &length), FALSE);
  VS_FIXEDFILEINFO info = {};
  ASSERT_EQ(length, sizeof info);
  std::memcpy(&info, value, sizeof info);
  EXPECT_EQ(info.dwFileVersionMS, DWORD{MAKELONG(6, 3)});
  EXPECT_EQ(info.dwFileVersionLS, 0U);
  EXPECT_EQ(info.dwFileFlags & info.dwFileFlagsMask,
            static_cast<DWORD>(VS_FF_PRIVATEBUILD | VS_FF_SPECIALBUILD));
  EXPECT_EQ(info.dwFileOS, static_cast<DWORD>(VOS_NT_WINDOWS32));
  EXPECT_EQ(info.dwFileType, static_cast<DWORD>(VFT_DLL));

  ASSERT_NE(VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", &value, &length), FALSE);
  ASSERT_EQ(length, 4U);
  EXPECT_EQ(std::memcmp(value, "\x09\x04\xb0\x04", 4), 0);
  const auto text = [&](const char* name) -> std::string {
    const std::string path = std::string("\\StringFileInfo\\040904b0\\") + name;
    return VerQueryValueA(block.data(), path.c_str(), &value, &length)
               ? static_cast<const char*>(value)
               : "nothing";
  };
  EXPECT_EQ(text("SpecialBuild"), "07 april 2003");
  EXPECT_EQ(text("FileVersion"), "3.06");
  EXPECT_EQ(text("FileDescription"), "Driver for video in format MPEG2 (I frames)");
  EXPECT_EQ(text("InternalName"), "QIVM");
  EXPECT_EQ(text("OriginalFilename"), "qivm.dll");
}

}  // namespace
}  // namespace qivm::test
