#include "tests/ui/dialog_test.h"

namespace qivm::test {
namespace {

class LauncherTest : public DialogTest {
 protected:
  /// Opens the settings editor from the launcher.
  static Window OpenEditor(const ModalCall& call, const Window& launcher) {
    launcher.ClickToOpen(IDC_I_FRAMES);
    return call.Dialog(kEditorTitle);
  }
};

/// Registry content of the default settings, in the order in which the editor stores lists.
void ExpectSavedDefaults(const char* firstCode, const char* secondCode) {
  const auto code = [](const char* text) {
    return std::optional<DWORD>(MAKEFOURCC(text[0], text[1], text[2], text[3]));
  };
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 0U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 2U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name1"), code(firstCode));
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name2"), code(secondCode));
}

TEST_F(LauncherTest, NeedsAParent) {
  ModalCall call([this](HWND) { return driver_.Send(0, DRV_CONFIGURE); });
  EXPECT_EQ(call.Result(), 0);
}

TEST_F(LauncherTest, IsModal) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  EXPECT_EQ(launcher.Owner().Handle(), call.Parent().Handle());
  EXPECT_FALSE(call.Parent().Enabled());
  launcher.Click(IDCANCEL);
  EXPECT_EQ(call.Result(), 0);
}

/// Every way to close the launcher.
struct Ending {
  const char* name;
  void (*close)(const ModalCall& call, const Window& launcher);
};
void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.name; }

class LauncherEndTest : public LauncherTest, public testing::WithParamInterface<Ending> {};

TEST_P(LauncherEndTest, SavesTheSettings) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  WriteDword(kCodecKey, "ChangeFieldsOrder", 1);
  WriteDword(kCodecKey, "MPEG2NameCount", 0);
  WriteDword(kBoardKey, "AppCount", 0);
  WriteString(kBoardKey, "App1", "OTHER.EXE");
  GetParam().close(call, launcher);
  EXPECT_EQ(call.Result(), 0);
  ExpectSavedDefaults("QIVM", "MMES");
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 2U);
  EXPECT_EQ(ReadString(kBoardKey, "App1"), "PREMIERE.EXE");
  EXPECT_EQ(ReadString(kBoardKey, "App2"), "CLIPWRK.EXE");
}

constexpr Ending kEndings[] = {
    {"Ok", [](const ModalCall&, const Window& launcher) { launcher.Click(IDCANCEL); }},
    {"Escape", [](const ModalCall& call, const Window&) { call.PressKey(VK_ESCAPE); }},
    {"CloseBox", [](const ModalCall&, const Window& launcher) { launcher.PushCloseBox(); }},
};
INSTANTIATE_TEST_SUITE_P(Launcher, LauncherEndTest, testing::ValuesIn(kEndings), NameOf<Ending>);

TEST_F(LauncherTest, EditsTheProcessSettings) {
  const Instance before(driver_);
  const CodecSettings stateBefore = StateOf(before);
  const KeyContent codecKey(kCodecKey);
  const KeyContent boardKey(kBoardKey);

  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  const Window editor = OpenEditor(call, launcher);
  EXPECT_EQ(editor.Owner().Handle(), launcher.Handle());
  EXPECT_FALSE(launcher.Enabled());
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"MMES", "QIVM"}));
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"CLIPWRK.EXE", "PREMIERE.EXE"}));
  editor.SetText(IDC_CODE_EDIT, "abc");
  editor.Click(IDC_CODE_ADD);
  editor.SetText(IDC_APP_EDIT, "editor.exe");
  editor.Click(IDC_APP_ADD);
  editor.Click(IDC_CHANGE_FIELDS);
  editor.Click(IDOK);
  editor.WaitUntilClosed();

  // Instances that are opened now have the settings, those from before have not.
  CodecSettings expected = {.changeFieldsOrder = 1};
  expected.fourCCList = {MakeFourCC('A', 'B', 'C', ' '), kMmes, kQivm};
  CodecSettings state = {};
  {
    const Instance after(driver_, kMmesCode);
    state = StateOf(after);
  }
  EXPECT_EQ(state.handlerFourCC, kMmes);
  EXPECT_EQ(state.changeFieldsOrder, expected.changeFieldsOrder);
  EXPECT_EQ(state.fourCCList, expected.fourCCList);
  EXPECT_STREQ(state.applicationList[0].data(), "CLIPWRK.EXE");
  EXPECT_STREQ(state.applicationList[1].data(), "EDITOR.EXE");
  EXPECT_STREQ(state.applicationList[2].data(), "PREMIERE.EXE");
  EXPECT_STREQ(state.applicationList[3].data(), "");
  EXPECT_EQ(Bytes(StateOf(before)), Bytes(stateBefore));

  // The registry has them when the launcher is closed.
  EXPECT_EQ(KeyContent(kCodecKey), codecKey);
  EXPECT_EQ(KeyContent(kBoardKey), boardKey);
  launcher.Click(IDCANCEL);
  EXPECT_EQ(call.Result(), 0);
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 1U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 3U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name1"), MakeFourCC('A', 'B', 'C', ' '));
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name2"), kMmesCode);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name3"), kQivmCode);
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 3U);
  EXPECT_EQ(ReadString(kBoardKey, "App1"), "CLIPWRK.EXE");
  EXPECT_EQ(ReadString(kBoardKey, "App2"), "EDITOR.EXE");
  EXPECT_EQ(ReadString(kBoardKey, "App3"), "PREMIERE.EXE");
}

TEST_F(LauncherTest, TheEditorsOkAloneSortsTheLists) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  OpenEditor(call, launcher).Click(IDOK);
  call.Dialog(kLauncherTitle).Click(IDCANCEL);
  call.Result();
  ExpectSavedDefaults("MMES", "QIVM");
}

TEST_F(LauncherTest, TheEditorsCancelChangesNothing) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  const Window editor = OpenEditor(call, launcher);
  editor.SetText(IDC_CODE_EDIT, "abc");
  editor.Click(IDC_CODE_ADD);
  editor.Click(IDC_APP_REMOVE);
  editor.Click(IDC_CHANGE_FIELDS);
  editor.Click(IDCANCEL);
  call.Dialog(kLauncherTitle).Click(IDCANCEL);
  call.Result();
  ExpectSavedDefaults("QIVM", "MMES");
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 2U);
}

TEST_F(LauncherTest, KeepsWhatTheEditorChangedForTheNextTime) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  const Window editor = OpenEditor(call, launcher);
  editor.Click(IDC_CODE_REMOVE);
  editor.Click(IDC_CHANGE_FIELDS);
  editor.Click(IDOK);
  call.Dialog(kLauncherTitle);
  const Window again = OpenEditor(call, launcher);
  EXPECT_EQ(again.Items(IDC_CODE_LIST), Names{"QIVM"});
  EXPECT_TRUE(again.Checked(IDC_CHANGE_FIELDS));
  again.Click(IDCANCEL);
  call.Dialog(kLauncherTitle).Click(IDCANCEL);
  call.Result();
}

TEST_F(LauncherTest, ShowsTheGeneralAboutText) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  launcher.ClickToOpen(IDC_LAUNCHER_ABOUT);
  const Window about = call.Dialog(kAboutTitle);
  EXPECT_EQ(about.Owner().Handle(), launcher.Handle());
  EXPECT_TRUE(about.Text(IDC_ABOUT_TEXT).starts_with("Norvane MPEG2 codecs"));
  about.Click(IDOK);
  call.Dialog(kLauncherTitle).Click(IDCANCEL);
  call.Result();
}

TEST_F(LauncherTest, TheEditorsAboutTextIsThatOfTheCodec) {
  ModalCall call = CallLauncher();
  const Window launcher = call.Dialog(kLauncherTitle);
  const Window editor = OpenEditor(call, launcher);
  editor.ClickToOpen(IDC_EDITOR_ABOUT);
  const Window about = call.Dialog(kAboutTitle);
  EXPECT_TRUE(about.Text(IDC_ABOUT_TEXT).starts_with("Norvane MPEG2 I-frames"));
  about.Click(IDOK);
  call.Dialog(kEditorTitle).Click(IDCANCEL);
  call.Dialog(kLauncherTitle).Click(IDCANCEL);
  call.Result();
}

TEST_F(LauncherTest, TheKeyboardReachesEveryButton) {
  ModalCall call = CallLauncher();
  call.Dialog(kLauncherTitle);
  EXPECT_EQ(call.TabOrder(), (std::vector{IDC_I_FRAMES, IDC_LAUNCHER_ABOUT, IDCANCEL}));
  call.PressKey(VK_RETURN);
  const Window editor = call.Dialog(kEditorTitle);
  call.PressKey(VK_ESCAPE);
  editor.WaitUntilClosed();
  call.Dialog(kLauncherTitle);
  call.PressKey(VK_ESCAPE);
  EXPECT_EQ(call.Result(), 0);
}

}  // namespace
}  // namespace qivm::test
