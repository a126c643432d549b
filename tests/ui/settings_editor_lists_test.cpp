#include "tests/ui/settings_editor_fixture.h"

namespace qivm::test {
namespace {

TEST_F(SettingsEditorTest, AddsACodePaddedAndInUpperCase) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddCode(editor, "mp2");
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"MMES", "MP2 ", "QIVM"}));
  EXPECT_EQ(editor.Selection(IDC_CODE_LIST), 1);
  EXPECT_EQ(editor.Text(IDC_CODE_EDIT), "");
  AddCode(editor, "z");
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"MMES", "MP2 ", "QIVM", "Z   "}));
  AddCode(editor, "abcdefgh");
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"ABCD", "MMES", "MP2 ", "QIVM", "Z   "}));
  EXPECT_EQ(editor.Selection(IDC_CODE_LIST), 0);
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, DoesNotAddACodeTwice) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddCode(editor, "qivm");
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"MMES", "QIVM"}));
  EXPECT_EQ(editor.Selection(IDC_CODE_LIST), 0);
  EXPECT_EQ(editor.Text(IDC_CODE_EDIT), "");
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, AddsNothingWhenNothingIsEntered) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  editor.Click(IDC_CODE_ADD);
  editor.Click(IDC_APP_ADD);
  AddApplication(editor, "C:\\Apps\\");
  EXPECT_EQ(editor.Items(IDC_CODE_LIST), (Names{"MMES", "QIVM"}));
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"CLIPWRK.EXE", "PREMIERE.EXE"}));
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, RefusesASeventeenthCode) {
  CodecSettings settings = {};
  settings.fourCCList = NumberedCodes(15);
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddCode(editor, "n15");
  ASSERT_EQ(editor.Items(IDC_CODE_LIST).size(), 16U);

  const auto expectRefusal = [&] {
    editor.ClickToOpen(IDC_CODE_ADD);
    CheckMessageBox(call, editor, "Non critical error", "Max count of FCC abbreviation is 16",
                    IDI_EXCLAMATION);
    EXPECT_EQ(editor.Items(IDC_CODE_LIST).size(), 16U);
  };
  // Whatever is entered: nothing, a new code, one that is listed.
  expectRefusal();
  editor.SetText(IDC_CODE_EDIT, "new");
  expectRefusal();
  EXPECT_EQ(editor.Text(IDC_CODE_EDIT), "new");
  editor.SetText(IDC_CODE_EDIT, "n15");
  expectRefusal();
  editor.Click(IDOK);
  call.Result();
  EXPECT_EQ(StateOf(instance_).fourCCList, NumberedCodes(16));
}

TEST_F(SettingsEditorTest, RefusesASeventeenthApplication) {
  CodecSettings settings = {};
  const Names names = NumberedNames(15);
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i].copy(settings.applicationList[i].data(), names[i].size());
  }
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddApplication(editor, "n15");
  ASSERT_EQ(editor.Items(IDC_APP_LIST), NumberedNames(16));
  for (const char* entered : {"", "new.exe", "n15"}) {
    editor.SetText(IDC_APP_EDIT, entered);
    editor.ClickToOpen(IDC_APP_ADD);
    CheckMessageBox(call, editor, "Non critical error", "Max count of bad application is 16",
                    IDI_EXCLAMATION);
    EXPECT_EQ(editor.Items(IDC_APP_LIST), NumberedNames(16));
    EXPECT_EQ(editor.Text(IDC_APP_EDIT), entered);
  }
  editor.Click(IDCANCEL);
  call.Result();
}

/// The two lists of the editor behave alike when items are removed.
struct ListControls {
  const char* name;
  int list;
  int edit;
  int remove;
};
void PrintTo(const ListControls& controls, std::ostream* out) { *out << controls.name; }

class RemoveTest : public SettingsEditorTest, public testing::WithParamInterface<ListControls> {};

TEST_P(RemoveTest, RemovesTheSelectedItem) {
  const ListControls controls = GetParam();
  CodecSettings settings = {};
  settings.fourCCList = {MakeFourCC('A', 'A', 'A', 'A'), MakeFourCC('B', 'B', 'B', 'B'),
                         MakeFourCC('C', 'C', 'C', 'C')};
  settings.applicationList = {{{"AAAA"}, {"BBBB"}, {"CCCC"}}};
  SetState(instance_, settings);
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  editor.Select(controls.list, 1);
  editor.SetText(controls.edit, "text");
  editor.Click(controls.remove);
  EXPECT_EQ(editor.Items(controls.list), (Names{"AAAA", "CCCC"}));
  EXPECT_EQ(editor.Selection(controls.list), 1);
  EXPECT_EQ(editor.Text(controls.edit), "");
  // Behind the last one, the new last one is selected.
  editor.Click(controls.remove);
  EXPECT_EQ(editor.Items(controls.list), Names{"AAAA"});
  EXPECT_EQ(editor.Selection(controls.list), 0);
  editor.Click(controls.remove);
  EXPECT_EQ(editor.Items(controls.list), Names());
  // Nothing is left, and nothing happens but that the edit is cleared.
  editor.SetText(controls.edit, "text");
  editor.Click(controls.remove);
  EXPECT_EQ(editor.Text(controls.edit), "");
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_P(RemoveTest, RemovesNothingWithoutASelection) {
  const ListControls controls = GetParam();
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  editor.Select(controls.list, -1);
  editor.SetText(controls.edit, "text");
  editor.Click(controls.remove);
  EXPECT_EQ(editor.Items(controls.list).size(), 2U);
  EXPECT_EQ(editor.Selection(controls.list), -1);
  EXPECT_EQ(editor.Text(controls.edit), "");
  editor.Click(IDCANCEL);
  call.Result();
}

constexpr ListControls kLists[] = {
    {"Codes", IDC_CODE_LIST, IDC_CODE_EDIT, IDC_CODE_REMOVE},
    {"Applications", IDC_APP_LIST, IDC_APP_EDIT, IDC_APP_REMOVE},
};
INSTANTIATE_TEST_SUITE_P(SettingsEditor, RemoveTest, testing::ValuesIn(kLists),
                         NameOf<ListControls>);

TEST_F(SettingsEditorTest, AddsTheFileNameOfAnApplication) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddApplication(editor, "C:\\Apps\\Editor.exe");
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"CLIPWRK.EXE", "EDITOR.EXE", "PREMIERE.EXE"}));
  EXPECT_EQ(editor.Selection(IDC_APP_LIST), 1);
  EXPECT_EQ(editor.Text(IDC_APP_EDIT), "");
  AddApplication(editor, "some/where/a.exe");
  AddApplication(editor, "c:b.exe");
  AddApplication(editor, "plain.exe");
  EXPECT_EQ(editor.Items(IDC_APP_LIST),
            (Names{"A.EXE", "B.EXE", "CLIPWRK.EXE", "EDITOR.EXE", "PLAIN.EXE", "PREMIERE.EXE"}));
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, DoesNotAddAnApplicationTwice) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddApplication(editor, "d:\\premiere.exe");
  EXPECT_EQ(editor.Items(IDC_APP_LIST), (Names{"CLIPWRK.EXE", "PREMIERE.EXE"}));
  EXPECT_EQ(editor.Selection(IDC_APP_LIST), 0);
  EXPECT_EQ(editor.Text(IDC_APP_EDIT), "");
  editor.Click(IDCANCEL);
  call.Result();
}

TEST_F(SettingsEditorTest, ReadsSixtyThreeCharactersOfAnApplication) {
  ModalCall call = CallEditor(instance_);
  const Window editor = Open(call);
  AddApplication(editor, std::string(80, 'a'));
  EXPECT_EQ(editor.Items(IDC_APP_LIST),
            (Names{std::string(63, 'A'), "CLIPWRK.EXE", "PREMIERE.EXE"}));
  editor.Click(IDOK);
  call.Result();
  EXPECT_STREQ(StateOf(instance_).applicationList[0].data(), std::string(63, 'A').c_str());
}

}  // namespace
}  // namespace qivm::test
