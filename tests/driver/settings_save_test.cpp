#include <string>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/registry_tree.h"

namespace qivm::test {

namespace {

/// Stands in for a user who closes the launcher at once: however it is closed, it saves.
INT_PTR WINAPI CloseDialog(HINSTANCE /*module*/, LPCSTR /*resource*/, HWND /*parent*/,
                           DLGPROC procedure, LPARAM /*parameter*/) {
  procedure(nullptr, WM_COMMAND, IDCANCEL, 0);
  return 0;
}

constexpr DWORD kAbcdCode = MAKEFOURCC('A', 'B', 'C', 'D');

/// Each test loads settings, changes the registry behind the codec's back and lets the codec save.
class SettingsSaveTest : public ::testing::Test {
 protected:
  SettingsSaveTest() {
    Clear();
    // A hole in either list.
    WriteDword(kCodecKey, "ChangeFieldsOrder", 1);
    WriteDword(kCodecKey, "MPEG2NameCount", 3);
    WriteDword(kCodecKey, "MPEG2Name1", kQivmCode);
    WriteDword(kCodecKey, "MPEG2Name2", 0);
    WriteDword(kCodecKey, "MPEG2Name3", kAbcdCode);
    WriteDword(kBoardKey, "AppCount", 3);
    WriteString(kBoardKey, "App1", "");
    WriteString(kBoardKey, "App2", kLongName);
    WriteString(kBoardKey, "App3", "third.exe");
    driver_.Reload();
  }
  ~SettingsSaveTest() override { Clear(); }

  static void Clear() {
    DeleteTree("Software\\Norvane");
    DeleteTree("Software\\Pellaro");
  }

  void Save() {
    const ImportHook hook(driver_.Handle(), "DialogBoxParamA",
                          reinterpret_cast<void*>(&CloseDialog));
    EXPECT_EQ(driver_.Send(0, DRV_CONFIGURE, LPARAM{1}), 0);
  }

  const std::string kLongName = std::string(63, 'n');
  DriverModule driver_;
};

TEST_F(SettingsSaveTest, HolesAreClosed) {
  Save();
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 1U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 2U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name1"), kQivmCode);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name2"), kAbcdCode);
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 2U);
  EXPECT_EQ(ReadString(kBoardKey, "App1"), kLongName);
  EXPECT_EQ(ReadString(kBoardKey, "App2"), "third.exe");
}

TEST_F(SettingsSaveTest, ValuesOfLongerListsStay) {
  Save();
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name3"), kAbcdCode);
  EXPECT_EQ(ReadString(kBoardKey, "App3"), "third.exe");
}

TEST_F(SettingsSaveTest, WhatWasSavedIsLoadedAgain) {
  Save();
  driver_.Reload();
  const Instance instance(driver_);
  std::vector<DWORD> state(274);
  ASSERT_EQ(instance.Send(ICM_GETSTATE, state.data(), 1096), ICERR_OK);
  EXPECT_EQ(std::vector<DWORD>(state.begin(), state.begin() + 5),
            (std::vector<DWORD>{kQivmCode, 1, kQivmCode, kAbcdCode, 0}));
}

TEST_F(SettingsSaveTest, WithoutTheCodecsKeyNothingIsStored) {
  DeleteTree(kCodecKey);
  WriteDword(kBoardKey, "AppCount", 77);
  Save();
  EXPECT_FALSE(KeyExists(kCodecKey));
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 77U);
}

TEST_F(SettingsSaveTest, WithoutTheBoardsKeyTheCodecsIsStored) {
  DeleteTree("Software\\Pellaro");
  WriteDword(kCodecKey, "MPEG2NameCount", 77);
  Save();
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 2U);
  EXPECT_FALSE(KeyExists(kBoardKey));
}

}  // namespace

}  // namespace qivm::test
