#include <windows.h>

#include <aclapi.h>
#include <array>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/pictures.h"
#include "tests/driver/registry_tree.h"

namespace qivm::test {

namespace {

/// Every key of the codec's, from the outside in.
constexpr const char* kKeys[] = {
    "Software\\Norvane", kCodecKey,           "Software\\Norvane\\Common codec's settings",
    kDefectiveAppsKey,   "Software\\Pellaro", "Software\\Pellaro\\Meridel",
    kBoardKey,
};

/// Gives everybody these rights on a key and no others.
void SetRights(const char* path, REGSAM rights) {
  EXPLICIT_ACCESSA entry = {};
  char everyone[] = "Everyone";
  BuildExplicitAccessWithNameA(&entry, everyone, rights, SET_ACCESS, NO_INHERITANCE);
  PACL list = nullptr;
  ASSERT_EQ(SetEntriesInAclA(1, &entry, nullptr, &list), DWORD{ERROR_SUCCESS});
  SECURITY_DESCRIPTOR descriptor = {};
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, WRITE_DAC, &key), ERROR_SUCCESS);
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, &descriptor), ERROR_SUCCESS);
  RegCloseKey(key);
  LocalFree(list);
}

INT_PTR WINAPI CloseDialog(HINSTANCE /*module*/, LPCSTR /*resource*/, HWND /*parent*/,
                           DLGPROC procedure, LPARAM /*parameter*/) {
  procedure(nullptr, WM_COMMAND, IDCANCEL, 0);
  return 0;
}

/// The registry holds settings that the process may read, or not even that, but not write.
class RegistryRightsTest : public ::testing::Test {
 protected:
  RegistryRightsTest() {
    WriteDword(kCodecKey, "ChangeFieldsOrder", 1);
    WriteDword(kCodecKey, "MPEG2NameCount", 1);
    WriteDword(kCodecKey, "MPEG2Name1", kQivmCode);
    WriteDword(kBoardKey, "AppCount", 0);
    WriteDword(kDefectiveAppsKey, "Correct state", 1);
    // Windows asks for a right to delete, wine does not; both refuse where there is a key inside.
    WriteDword("Software\\Norvane\\MPEG2 codec\\Inner", "Value", 0);
    WriteDword("Software\\Norvane\\Common codec's settings\\YUV defective application\\Inner",
               "Value", 0);
  }
  ~RegistryRightsTest() override {
    SetRightsOfAll(KEY_ALL_ACCESS);
    DeleteTree("Software\\Norvane");
    DeleteTree("Software\\Pellaro");
  }

  static void SetRightsOfAll(REGSAM rights) {
    for (const char* const key : kKeys) {
      SetRights(key, rights);
    }
  }
  /// The settings of the process by which it would swap fields, and its first two codes.
  static std::array<DWORD, 3> LoadedSettings(const DriverModule& driver) {
    const Instance instance(driver);
    std::vector<DWORD> state(274);
    EXPECT_EQ(instance.Send(ICM_GETSTATE, state.data(), 1096), ICERR_OK);
    return {state[1], state[2], state[3]};
  }
  static void ExpectWorks(const DriverModule& driver) {
    const BITMAPINFOHEADER header = Header(kYuy2, 64, 48);
    const auto picture = MakePicture(header);
    const auto frame = CompressAlone(driver, header, picture);
    const Instance instance(driver);
    EXPECT_EQ(BeginDecompress(instance, header), ICERR_OK);
    EXPECT_GT(Psnr(header, picture, Decompress(instance, header, frame)), 20.0);
  }
  static void Save(const DriverModule& driver) {
    const ImportHook hook(driver.Handle(), "DialogBoxParamA",
                          reinterpret_cast<void*>(&CloseDialog));
    EXPECT_EQ(driver.Send(0, DRV_CONFIGURE, LPARAM{1}), 0);
  }

  /// A driver that has these rights alone loads the expected settings, works and tries to save.
  static void UseAndSave(REGSAM rights, const std::array<DWORD, 3>& expected) {
    SetRightsOfAll(rights);
    {
      const DriverModule driver;
      EXPECT_EQ(LoadedSettings(driver), expected);
      ExpectWorks(driver);
      Save(driver);
    }
    SetRightsOfAll(KEY_ALL_ACCESS);
  }

  static constexpr std::array<DWORD, 3> kStored = {1, kQivmCode, 0};
  static constexpr std::array<DWORD, 3> kDefaults = {0, kQivmCode, kMmesCode};
  static constexpr REGSAM kReadOnly = KEY_READ | WRITE_DAC;
};

TEST_F(RegistryRightsTest, SettingsThatCanBeReadAreUsed) {
  UseAndSave(kReadOnly, kStored);
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 1U);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 1U);
}

TEST_F(RegistryRightsTest, BadSettingsAreNotHealedButReplacedInMemory) {
  WriteDword(kCodecKey, "ChangeFieldsOrder", 2);
  UseAndSave(kReadOnly, kDefaults);
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 2U);
  EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 0U);
}

TEST_F(RegistryRightsTest, WithoutAnyRightTheDefaultsAreUsed) {
  UseAndSave(WRITE_DAC, kDefaults);
  EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 1U);
}

}  // namespace

}  // namespace qivm::test
