#include <array>

#include "tests/ui/overstating_list.h"
#include "tests/ui/settings_editor_fixture.h"

namespace qivm::test {
namespace {

TEST_F(SettingsEditorTest, AnswersTheQueryWithoutADialog) {
  EXPECT_EQ(instance_.Send(ICM_CONFIGURE, LPARAM{-1}, LPARAM{0}), ICERR_OK);
  EXPECT_EQ(instance_.Send(ICM_ABOUT, LPARAM{-1}, LPARAM{0}), ICERR_OK);
}

TEST_F(SettingsEditorTest, IsModal) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(editor.Owner().Handle(), call.Parent().Handle());
  EXPECT_FALSE(call.Parent().Enabled());
  editor.Click(IDCANCEL);
  EXPECT_EQ(call.Result(), 0);
}

TEST_F(SettingsEditorTest, ShowsTheInstancesSettings) {
  CodecSettings settings = {.changeFieldsOrder = 7};
  settings.fourCCList = {MakeFourCC('x', 'y', 'z', '1'), 0, MakeFourCC('Y', '1', '6', '\0'), kQivm};
  settings.applicationList = {{{"player.exe"}, {""}, {"Editor.exe"}}};
  SetState(instance_, settings);

  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"QIVM", "XYZ1", "Y16"}));
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"EDITOR.EXE", "PLAYER.EXE"}));
  EXPECT_EQ(editor.Selection(IDC_CODE_LIST), 0);
  EXPECT_EQ(editor.Selection(IDC_APP_LIST), 0);
  EXPECT_EQ(editor.Text(IDC_CODE_EDIT), "");
  EXPECT_EQ(editor.Text(IDC_APP_EDIT), "");
  EXPECT_TRUE(editor.Checked(IDC_CHANGE_FIELDS));
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, ShowsEmptySettings) {
  SetState(instance_, {});
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), Names());
  EXPECT_EQ(editor.Items(IDC_APP_LIST), Names());
  EXPECT_FALSE(editor.Checked(IDC_CHANGE_FIELDS));
  editor.Click(IDOK);
  EXPECT_EQ(call.Result(), 1);
  EXPECT_EQ(Bytes(StateOf(instance_)), Bytes({}));
}

TEST_F(SettingsEditorTest, OkStoresWhatIsShown) {
  const Instance mmes(driver_, kMmesCode);
  const KeyContent codecKey(kCodecKey);
  const KeyContent boardKey(kBoardKey);
  ModalCall call = CallEditor(mmes);
  const Window editor = Open(call);
  AddCode(editor, "mp2");
  AddApplication(editor, "C:\\Apps\\Editor.exe");
  editor.Click(IDC_CHANGE_FIELDS);
  editor.Click(IDOK);
  EXPECT_EQ(call.Result(), 1);

  const CodecSettings state = StateOf(mmes);
  EXPECT_EQ(state.handlerFourCC, kMmes);
  EXPECT_EQ(state.changeFieldsOrder, 1U);
  EXPECT_EQ(state.fourCCList,
            (std::array<FourCC, kMaxFourCCs>{kMmes, MakeFourCC('M', 'P', '2', ' '), kQivm}));
  EXPECT_STREQ(state.applicationList[0].data(), "CLIPWRK.EXE");
  EXPECT_STREQ(state.applicationList[1].data(), "EDITOR.EXE");
  EXPECT_STREQ(state.applicationList[2].data(), "PREMIERE.EXE");
  for (std::size_t i = 3; i < kMaxApplications; ++i) {
    EXPECT_STREQ(state.applicationList[i].data(), "") << i;
  }
  // An instance's settings are its own: neither the registry nor another instance has them.
  EXPECT_EQ(KeyContent(kCodecKey), codecKey);
  EXPECT_EQ(KeyContent(kBoardKey), boardKey);
  EXPECT_EQ(Bytes(StateOf(Instance(driver_))), Bytes(StateOf(instance_)));
  EXPECT_EQ(StateOf(instance_).fourCCList, (std::array<FourCC, kMaxFourCCs>{kQivm, kMmes}));
}

TEST_F(SettingsEditorTest, OkStoresAClearedFlagAndEmptiedLists) {
  CodecSettings settings = StateOf(instance_);
  settings.changeFieldsOrder = 1;
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  editor.Click(IDC_CHANGE_FIELDS);
  for (int i = 0; i < 2; ++i) {
    editor.Click(IDC_CODE_REMOVE);
    editor.Click(IDC_APP_REMOVE);
  }
  editor.Click(IDOK);
  call.Result();
  const CodecSettings state = StateOf(instance_);
  EXPECT_EQ(state.changeFieldsOrder, 0U);
  EXPECT_EQ(state.fourCCList, (std::array<FourCC, kMaxFourCCs>{}));
  for (std::size_t i = 0; i < kMaxApplications; ++i) {
    EXPECT_STREQ(state.applicationList[i].data(), "") << i;
  }
}

TEST_F(SettingsEditorTest, OkKeepsFullLists) {
  CodecSettings settings = {};
  settings.fourCCList = NumberedCodes(16);
  const Names names = NumberedNames(16);
  for (std::size_t i = 0; i < kMaxApplications; ++i) {
    names[i].copy(settings.applicationList[i].data(), names[i].size());
  }
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(editor.Items(IDC_APP_LIST), names);
  editor.Click(IDOK);
  call.Result();
  EXPECT_EQ(Bytes(StateOf(instance_)), Bytes(settings));
}

TEST_F(SettingsEditorTest, OkKeepsItemsWhoseLengthIsOverstated) {
  CodecSettings settings = {};
  settings.fourCCList = {kMmes, kQivm};
  // Of all the characters that an entry holds.
  settings.applicationList = {{{"EDITOR.EXE"}}};
  settings.applicationList[1].fill('X');
  settings.applicationList[1].back() = '\0';
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  const OverstatingList codes(editor.Child(IDC_CODE_LIST));
  const OverstatingList applications(editor.Child(IDC_APP_LIST));
  editor.Click(IDOK);
  call.Result();
  EXPECT_EQ(Bytes(StateOf(instance_)), Bytes(settings));
}

// The lists are the system's: other programs can put items into them.
TEST_F(SettingsEditorTest, OkCutsItemsThatAreTooLong) {
  CodecSettings settings = {};
  settings.fourCCList = {MakeFourCC('A', 'A', 'A', 'A'), kQivm};
  settings.applicationList = {{{"A.EXE"}, {"Z.EXE"}}};
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  const auto add = [&editor](int list, const std::string& item) {
    editor.Child(list).Send(LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item.c_str()));
  };
  add(IDC_CODE_LIST, "ABCDE");
  add(IDC_APP_LIST, std::string(3000, 'N'));
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"AAAA", "ABCDE", "QIVM"}));
  editor.Click(IDOK);
  call.Result();
  const CodecSettings state = StateOf(instance_);
  EXPECT_EQ(state.fourCCList,
            (std::array<FourCC, kMaxFourCCs>{MakeFourCC('A', 'A', 'A', 'A'),
                                             MakeFourCC('A', 'B', 'C', 'D'), kQivm}));
  EXPECT_STREQ(state.applicationList[0].data(), "A.EXE");
  EXPECT_STREQ(state.applicationList[1].data(), std::string(63, 'N').c_str());
  EXPECT_STREQ(state.applicationList[2].data(), "Z.EXE");
  EXPECT_STREQ(state.applicationList[3].data(), "");
}

TEST_F(SettingsEditorTest, ACodeThatIsNotAsciiIsFoundAsItWasEntered) {
  constexpr DWORD kEntered = MAKEFOURCC('\xe4', 'b', 'c', '1');
  BITMAPINFOHEADER stream = {};
  stream.biWidth = 64;
  stream.biHeight = 48;
  stream.biCompression = kEntered;
  ASSERT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, &stream), ICERR_BADFORMAT);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddCode(editor,
          "\xe4"
          "bc1");
  editor.Click(IDOK);
  call.Result();
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, &stream), ICERR_OK);
}

TEST_F(SettingsEditorTest, NamesOfAWholeEntryEndInsideIt) {
  CodecSettings settings = {};
  settings.applicationList[0].fill('x');
  settings.applicationList[1] = {"A.EXE"};
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"A.EXE", std::string(63, 'X')}));
  editor.Click(IDOK);
  call.Result();
  const CodecSettings state = StateOf(instance_);
  EXPECT_STREQ(state.applicationList[0].data(), "A.EXE");
  EXPECT_STREQ(state.applicationList[1].data(), std::string(63, 'X').c_str());
  EXPECT_STREQ(state.applicationList[2].data(), "");
}

/// Every way to leave the editor without keeping the changes.
struct Ending {
  const char* name;
  void (*close)(const ModalCall& call, const Window& editor);
};
void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.name; }

class SettingsEditorEndTest : public SettingsEditorTest,
                              public testing::WithParamInterface<Ending> {};

TEST_P(SettingsEditorEndTest, LeavesTheSettingsAsTheyWere) {
  const CodecSettings before = StateOf(instance_);
  const KeyContent codecKey(kCodecKey);
  const KeyContent boardKey(kBoardKey);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddCode(editor, "mp2");
  AddApplication(editor, "editor.exe");
  editor.Select(IDC_CODE_LIST, 0);
  editor.Click(IDC_CODE_REMOVE);
  editor.Select(IDC_APP_LIST, 0);
  editor.Click(IDC_APP_REMOVE);
  editor.Click(IDC_CHANGE_FIELDS);
  GetParam().close(call, editor);
  EXPECT_EQ(call.Result(), 0);
  EXPECT_EQ(Bytes(StateOf(instance_)), Bytes(before));
  EXPECT_EQ(KeyContent(kCodecKey), codecKey);
  EXPECT_EQ(KeyContent(kBoardKey), boardKey);
}

constexpr Ending kEndings[] = {
    {"Cancel", [](const ModalCall&, const Window& editor) { editor.Click(IDCANCEL); }},
    {"Escape", [](const ModalCall& call, const Window&) { call.PressKey(VK_ESCAPE); }},
    {"CloseBox", [](const ModalCall&, const Window& editor) { editor.PushCloseBox(); }},
};
INSTANTIATE_TEST_SUITE_P(SettingsEditor, SettingsEditorEndTest, testing::ValuesIn(kEndings),
                         NameOf<Ending>);

TEST_F(SettingsEditorTest, ShowsTheAboutTextOfItsInstance) {
  const Instance mmes(driver_, kMmesCode);
  for (const Instance* each : {&instance_, &mmes}) {
    ModalCall call = CallEditor(*each);
    const Window editor = Open(call);
    editor.ClickToOpen(IDC_EDITOR_ABOUT);
    const Window about = call.Dialog(kAboutTitle);
    EXPECT_EQ(about.Owner().Handle(), editor.Handle());
    EXPECT_TRUE(
        about.Text(IDC_ABOUT_TEXT)
            .starts_with(each == &mmes ? "Norvane MPEG2 codecs" : "Norvane MPEG2 I-frames"));
    about.Click(IDOK);
    call.Dialog(kEditorTitle).Click(IDCANCEL);
    call.Result();
  }
}

TEST_F(SettingsEditorTest, TheTabKeyGoesFromControlToControl) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  EXPECT_EQ(call.TabOrder(),
            (std::vector{IDC_CODE_LIST, IDC_CODE_EDIT, IDC_CODE_ADD, IDC_CODE_REMOVE, IDC_APP_LIST,
                         IDC_APP_EDIT, IDC_APP_ADD, IDC_APP_REMOVE, IDC_APP_BROWSE,
                         IDC_CHANGE_FIELDS, IDC_ADVANCED, IDC_EDITOR_ABOUT, IDOK, IDCANCEL}));
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, EnterIsOk) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  editor.Click(IDC_CHANGE_FIELDS);
  editor.Send(WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(editor.Child(IDC_CODE_LIST).Handle()), TRUE);
  call.PressKey(VK_RETURN);
  EXPECT_EQ(call.Result(), 1);
  EXPECT_EQ(StateOf(instance_).changeFieldsOrder, 1U);
}

TEST_F(SettingsEditorTest, AltKeysPushTheButtonsNextToTheFocus) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  const auto focus = [&](int id) {
    editor.Send(WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(editor.Child(id).Handle()), TRUE);
  };
  const auto waitForItems = [&](int list, const Names& items) {
    WaitUntil("the list changes", [&] { return editor.Items(list) == items; });
  };
  focus(IDC_CODE_EDIT);
  editor.SetText(IDC_CODE_EDIT, "mp2");
  call.PressAlt('a');
  waitForItems(IDC_CODE_LIST, {"MMES", "MP2 ", "QIVM"});
  focus(IDC_CODE_EDIT);
  call.PressAlt('r');
  waitForItems(IDC_CODE_LIST, {"MMES", "QIVM"});
  focus(IDC_APP_EDIT);
  editor.SetText(IDC_APP_EDIT, "b.exe");
  call.PressAlt('a');
  waitForItems(IDC_APP_LIST, {"B.EXE", "CLIPWRK.EXE", "PREMIERE.EXE"});
  focus(IDC_APP_EDIT);
  call.PressAlt('r');
  waitForItems(IDC_APP_LIST, {"CLIPWRK.EXE", "PREMIERE.EXE"});
  focus(IDC_APP_EDIT);
  call.PressAlt('b');
  const Window files = call.Dialog("Choose Application");
  files.ClickToOpen(IDCANCEL);
  files.WaitUntilClosed();
  editor.Click(IDCANCEL);
  call.Result();
}

}  // namespace
}  // namespace qivm::test
