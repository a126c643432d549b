#include "tests/ui/dialog_test.h"
#include "tests/ui/file_choice.h"

namespace qivm::test {
namespace {

/// The "Browse" button of the settings editor.
class BrowseTest : public DialogTest {
 protected:
  BrowseTest() { editor_.SetText(IDC_APP_EDIT, "old text"); }
  void TearDown() override {
    editor_.Click(IDCANCEL);
    call_.Result();
  }

  FileDialog Browse() const {
    editor_.ClickToOpen(IDC_APP_BROWSE);
    return {call_, "Choose Application"};
  }
  /// Waits until the editor has taken the answer of a closed file dialog.
  void WaitForEdit(const std::string& text) const {
    WaitUntil("the edit holds '" + text + "'",
              [&] { return editor_.Enabled() && editor_.Text(IDC_APP_EDIT) == text; });
  }

  FileFolder folder_;
  const Instance instance_{driver_};
  ModalCall call_{CallEditor(instance_)};
  const Window editor_{call_.Dialog(kEditorTitle)};
};

TEST_F(BrowseTest, AsksForAnApplication) {
  const FileDialog files = Browse();
  EXPECT_EQ(files.Get().Owner().Handle(), editor_.Handle());
  EXPECT_EQ(files.FileName(), "*.exe");
  EXPECT_EQ(files.Filters(), Names{"Applications (*.exe)"});
  EXPECT_EQ(files.ChosenFilter(), 0);
  files.Cancel();
}

TEST_F(BrowseTest, TakesTheNameOfTheChosenFileForTheEdit) {
  Browse().Choose(folder_.MakeFile("Media Player.exe"));
  WaitForEdit("MEDIA PLAYER.EXE");
  EXPECT_EQ(editor_.Items(IDC_APP_LIST), (Names{"CLIPWRK.EXE", "PREMIERE.EXE"}));
  editor_.Click(IDC_APP_ADD);
  EXPECT_EQ(editor_.Items(IDC_APP_LIST),
            (Names{"CLIPWRK.EXE", "MEDIA PLAYER.EXE", "PREMIERE.EXE"}));
}

TEST_F(BrowseTest, AppendsTheExtensionOfApplications) {
  // Both files: whether the system looks for the extended name first depends on the system.
  folder_.MakeFile("viewer");
  folder_.MakeFile("viewer.exe");
  Browse().Choose(folder_.Path("viewer"));
  WaitForEdit("VIEWER.EXE");
}

TEST_F(BrowseTest, TakesANameThatIsLongerThanAnEntry) {
  const std::string name(80, 'a');
  Browse().Choose(folder_.MakeFile(name + ".exe"));
  WaitForEdit(std::string(80, 'A').append(".EXE"));
  editor_.Click(IDC_APP_ADD);
  EXPECT_EQ(editor_.Items(IDC_APP_LIST).front(), std::string(63, 'A'));
}

TEST_F(BrowseTest, LeavesTheEditWhenTheUserCancels) {
  Browse().Cancel();
  WaitForEdit("old text");
}

TEST_F(BrowseTest, RefusesAFileThatDoesNotExist) {
  const FileDialog files = Browse();
  files.Enter(folder_.Path("missing.exe"));
  // The system says so in a message box of its own and asks again.
  WaitUntil("the refusal", [&] { return !files.Get().Enabled(); });
  const Window refusal = call_.TopDialog();
  EXPECT_EQ(refusal.Owner().Handle(), files.Get().Handle());
  refusal.ClickToOpen(IDOK);
  refusal.WaitUntilClosed();
  files.Cancel();
  WaitForEdit("old text");
}

}  // namespace
}  // namespace qivm::test
