#include "tests/ui/dialog_test.h"
#include "tests/ui/file_choice.h"
#include "tests/ui/overstating_list.h"

namespace qivm::test {
namespace {

constexpr int kMaxNames = 16;

/// The name under which a list's entry is in the registry.
std::string ValueName(int index) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  return std::string("Application0") + kDigits[index];
}

/// The list as the registry has it.
Names StoredNames() {
  Names names;
  for (int index = 0; index < kMaxNames; ++index) {
    const auto name = ReadString(kDefectiveAppsKey, ValueName(index));
    if (!name) {
      break;
    }
    names.push_back(*name);
  }
  return names;
}

/// Puts a list into the registry.
void StoreNames(const Names& names) {
  DeleteTree(kDefectiveAppsKey);
  for (std::size_t index = 0; index < names.size(); ++index) {
    WriteString(kDefectiveAppsKey, ValueName(static_cast<int>(index)), names[index]);
  }
  WriteDword(kDefectiveAppsKey, "Correct state", 1);
}

/// The dialog of the defective applications, which the settings editor opens.
class DefectiveAppsTest : public DialogTest {
 protected:
  /// The open dialog and the editor under it.
  class Session {
   public:
    Session(const DefectiveAppsTest& test, const Instance& instance)
        : call(test.CallEditor(instance)), editor(call.Dialog(kEditorTitle)) {
      Open();
    }
    /// Leaves the editor without OK: the list's dialog has saved on its own, or not.
    ~Session() {
      try {
        editor.Click(IDCANCEL);
        call.Result();
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    void Open() {
      editor.ClickToOpen(IDC_ADVANCED);
      dialog = call.Dialog(kDefectiveAppsTitle);
    }
    void Close(int button) const {
      dialog.Click(button);
      dialog.WaitUntilClosed();
      call.Dialog(kEditorTitle);
    }
    Names Items() const { return dialog.Items(IDC_DEFECTIVE_LIST); }
    int Selection() const { return dialog.Selection(IDC_DEFECTIVE_LIST); }
    FileDialog AskForFile() const {
      dialog.ClickToOpen(IDC_DEFECTIVE_ADD);
      return {call, "Choose application"};
    }
    /// Chooses a file that is expected to be taken.
    void Add(const std::string& path) const {
      AskForFile().Choose(path);
      WaitUntil("the dialog goes on", [&] { return dialog.Enabled(); });
    }
    void Delete(int index) const {
      dialog.Select(IDC_DEFECTIVE_LIST, index);
      dialog.Click(IDC_DEFECTIVE_DELETE);
    }

    ModalCall call;
    Window editor;
    Window dialog;
  };

  FileFolder folder_;
};

TEST_F(DefectiveAppsTest, ShowsTheList) {
  StoreNames({"WMPLAYER.EXE", "editor.exe"});
  driver_.Reload();
  const Instance instance(driver_);
  const Session session(*this, instance);
  EXPECT_EQ(session.dialog.Owner().Handle(), session.editor.Handle());
  EXPECT_FALSE(session.editor.Enabled());
  EXPECT_EQ(session.Items(), (Names{"EDITOR.EXE", "WMPLAYER.EXE"}));
  EXPECT_EQ(session.Selection(), -1);
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, AsksForAFile) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  const FileDialog files = session.AskForFile();
  EXPECT_EQ(files.Get().Owner().Handle(), session.dialog.Handle());
  EXPECT_EQ(files.FileName(), "");
  EXPECT_EQ(files.Filters(), (Names{"Executable files (*.exe)", "All files (*.*)"}));
  EXPECT_EQ(files.ChosenFilter(), 0);
  files.Cancel();
  EXPECT_EQ(session.Items(), Names{"WMPLAYER.EXE"});
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, OkSavesTheListInAlphabeticalOrder) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  session.Add(folder_.MakeFile("Zoom.exe"));
  session.Add(folder_.MakeFile("editor.bin"));
  EXPECT_EQ(session.Items(), (Names{"EDITOR.BIN", "WMPLAYER.EXE", "ZOOM.EXE"}));
  EXPECT_EQ(StoredNames(), Names{"WMPLAYER.EXE"});
  session.Close(IDOK);
  EXPECT_EQ(StoredNames(), (Names{"EDITOR.BIN", "WMPLAYER.EXE", "ZOOM.EXE"}));
  EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
}

TEST_F(DefectiveAppsTest, OkSavesNamesWhoseLengthIsOverstated) {
  const Names names = {"EDITOR.EXE", std::string(255, 'N')};
  StoreNames(names);
  driver_.Reload();
  const Instance instance(driver_);
  const Session session(*this, instance);
  const OverstatingList list(session.dialog.Child(IDC_DEFECTIVE_LIST));
  session.Close(IDOK);
  EXPECT_EQ(StoredNames(), names);
}

TEST_F(DefectiveAppsTest, OkSavesAnEmptyList) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  session.Delete(0);
  EXPECT_EQ(session.Items(), Names());
  session.Close(IDOK);
  EXPECT_EQ(StoredNames(), Names());
  EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
}

TEST_F(DefectiveAppsTest, OkSavesWhatTheRegistryLostInTheMeantime) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  DeleteTree(kDefectiveAppsKey);
  session.Close(IDOK);
  EXPECT_EQ(StoredNames(), Names{"WMPLAYER.EXE"});
  EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
}

TEST_F(DefectiveAppsTest, OkTakesEffectAtOnce) {
  const Instance instance(driver_);
  BITMAPINFOHEADER compressed = {};
  compressed.biSize = sizeof compressed;
  compressed.biWidth = 64;
  compressed.biHeight = 64;
  compressed.biPlanes = 1;
  compressed.biBitCount = 24;
  compressed.biCompression = kQivmCode;
  BITMAPINFOHEADER yuv = compressed;
  yuv.biBitCount = 16;
  yuv.biCompression = MAKEFOURCC('Y', 'U', 'Y', '2');
  const auto query = [&] { return instance.Send(ICM_DECOMPRESS_QUERY, &compressed, &yuv); };

  const Session session(*this, instance);
  ASSERT_EQ(query(), ICERR_OK);
  // This very program is the host that is to get RGB only.
  char program[MAX_PATH] = {};
  ASSERT_NE(GetModuleFileNameA(nullptr, program, MAX_PATH), 0U);
  session.Add(program);
  EXPECT_EQ(query(), ICERR_OK);
  session.Close(IDOK);
  EXPECT_NE(query(), ICERR_OK);
}

TEST_F(DefectiveAppsTest, CancelLeavesTheListAsItWas) {
  const Instance instance(driver_);
  const KeyContent key(kDefectiveAppsKey);
  Session session(*this, instance);
  session.Add(folder_.MakeFile("editor.exe"));
  session.Delete(1);
  EXPECT_EQ(session.Items(), Names{"EDITOR.EXE"});
  session.Close(IDCANCEL);
  EXPECT_EQ(KeyContent(kDefectiveAppsKey), key);
  session.Open();
  EXPECT_EQ(session.Items(), Names{"WMPLAYER.EXE"});
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, EscapeAndTheCloseBoxAreCancel) {
  const Instance instance(driver_);
  const KeyContent key(kDefectiveAppsKey);
  Session session(*this, instance);
  session.Delete(0);
  session.call.PressKey(VK_ESCAPE);
  session.dialog.WaitUntilClosed();
  session.call.Dialog(kEditorTitle);
  session.Open();
  EXPECT_EQ(session.Items(), Names{"WMPLAYER.EXE"});
  session.Delete(0);
  session.dialog.PushCloseBox();
  session.dialog.WaitUntilClosed();
  session.call.Dialog(kEditorTitle);
  EXPECT_EQ(KeyContent(kDefectiveAppsKey), key);
}

TEST_F(DefectiveAppsTest, IsKeptWhenTheEditorIsCancelled) {
  const Instance instance(driver_);
  {
    const Session session(*this, instance);
    session.Add(folder_.MakeFile("editor.exe"));
    session.Close(IDOK);
  }
  const Session session(*this, instance);
  EXPECT_EQ(session.Items(), (Names{"EDITOR.EXE", "WMPLAYER.EXE"}));
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, RefusesAFileThatIsListed) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  session.AskForFile().Choose(folder_.MakeFile("WmPlayer.exe"));
  CheckMessageBox(session.call, session.dialog, "Multiple selection", "This file already selected",
                  IDI_ERROR);
  EXPECT_EQ(session.Items(), Names{"WMPLAYER.EXE"});
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, HoldsSixteenFiles) {
  StoreNames(NumberedNames(kMaxNames - 1));
  driver_.Reload();
  const Instance instance(driver_);
  const Session session(*this, instance);
  session.Add(folder_.MakeFile("n15"));
  EXPECT_EQ(session.Items(), NumberedNames(kMaxNames));

  session.AskForFile().Choose(folder_.MakeFile("more.exe"));
  CheckMessageBox(session.call, session.dialog, "Maximum selection",
                  "Maximum application number is reached", IDI_ERROR);
  // That a file is listed is said first.
  session.AskForFile().Choose(folder_.Path("n15"));
  CheckMessageBox(session.call, session.dialog, "Multiple selection", "This file already selected",
                  IDI_ERROR);
  EXPECT_EQ(session.Items(), NumberedNames(kMaxNames));
  session.Close(IDOK);
  EXPECT_EQ(StoredNames(), NumberedNames(kMaxNames));
}

TEST_F(DefectiveAppsTest, DeletesTheSelectedName) {
  StoreNames(NumberedNames(3));
  driver_.Reload();
  const Instance instance(driver_);
  const Session session(*this, instance);
  session.dialog.Click(IDC_DEFECTIVE_DELETE);
  EXPECT_EQ(session.Items(), NumberedNames(3));
  session.Delete(0);
  EXPECT_EQ(session.Items(), (Names{"N01", "N02"}));
  EXPECT_EQ(session.Selection(), 0);
  session.Delete(1);
  EXPECT_EQ(session.Items(), Names{"N01"});
  EXPECT_EQ(session.Selection(), -1);
  session.dialog.Click(IDC_DEFECTIVE_DELETE);
  EXPECT_EQ(session.Items(), Names{"N01"});
  session.Close(IDCANCEL);
}

TEST_F(DefectiveAppsTest, TheKeyboardReachesEveryControl) {
  const Instance instance(driver_);
  const Session session(*this, instance);
  EXPECT_EQ(session.call.TabOrder(), (std::vector{IDC_DEFECTIVE_LIST, IDC_DEFECTIVE_ADD,
                                                  IDC_DEFECTIVE_DELETE, IDOK, IDCANCEL}));
  session.call.PressKey(VK_DOWN);
  WaitUntil("the Down key selects", [&] { return session.Selection() == 0; });
  session.Delete(0);
  session.call.PressKey(VK_RETURN);
  session.dialog.WaitUntilClosed();
  session.call.Dialog(kEditorTitle);
  EXPECT_EQ(StoredNames(), Names());
}

}  // namespace
}  // namespace qivm::test
