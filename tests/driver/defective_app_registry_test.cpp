#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

constexpr char kMakersKey[] = "Software\\Norvane";

std::string ValueName(std::size_t index) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  return std::string("Application") + kDigits[index / 16] + kDigits[index % 16];
}

/// Each test sets up the registry and asks the freshly attached library which hosts are listed.
class DefectiveAppRegistryTest : public ::testing::Test {
 protected:
  DefectiveAppRegistryTest() { DeleteTree(kMakersKey); }
  ~DefectiveAppRegistryTest() override { DeleteTree(kMakersKey); }

  static void WriteList(DWORD state, const std::vector<std::string>& names) {
    DeleteTree(kDefectiveAppsKey);
    WriteDword(kDefectiveAppsKey, "Correct state", state);
    for (std::size_t i = 0; i < names.size(); ++i) {
      WriteString(kDefectiveAppsKey, ValueName(i), names[i]);
    }
  }

  /// Whether a freshly attached library takes programs of these names for defective hosts.
  static std::vector<bool> AreListed(const std::vector<std::string>& names) {
    const DriverModule driver;
    const Instance instance(driver);
    const BITMAPINFOHEADER input = CompressedHeader(64, 32);
    const BITMAPINFOHEADER output = Header(kYuy2, 64, 32);
    std::vector<bool> listed;
    listed.reserve(names.size());
    for (const std::string& name : names) {
      const HostPath host(driver.Handle(), "C:\\" + name);
      listed.push_back(instance.Send(ICM_DECOMPRESS_QUERY, &input, &output) == ICERR_BADFORMAT);
    }
    return listed;
  }
  static bool IsListed(const std::string& name) { return AreListed({name}).front(); }

  static void ExpectStoredDefaults() {
    const std::optional<RegistryTree> tree = ReadTree(kDefectiveAppsKey);
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->values.size(), 2U);
    EXPECT_EQ(ReadString(kDefectiveAppsKey, "Application00"), "WMPLAYER.EXE");
    EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
  }
};

TEST_F(DefectiveAppRegistryTest, WithoutAKeyTheDefaultListIsStored) {
  EXPECT_TRUE(IsListed("wmplayer.exe"));
  ExpectStoredDefaults();
  EXPECT_TRUE(IsListed("wmplayer.exe"));
}

TEST_F(DefectiveAppRegistryTest, AListThatIsNotMarkedCorrectIsReplaced) {
  for (const DWORD state : std::initializer_list<DWORD>{0, 2}) {
    WriteList(state, {"A.EXE", "B.EXE", "C.EXE"});
    EXPECT_EQ(AreListed({"a.exe", "wmplayer.exe"}), (std::vector<bool>{false, true}));
    ExpectStoredDefaults();
  }
}

TEST_F(DefectiveAppRegistryTest, AListWithoutItsMarkIsReplaced) {
  WriteString(kDefectiveAppsKey, "Application00", "A.EXE");
  EXPECT_EQ(AreListed({"a.exe", "wmplayer.exe"}), (std::vector<bool>{false, true}));
  ExpectStoredDefaults();
}

TEST_F(DefectiveAppRegistryTest, AnEmptyListIsAList) {
  WriteList(1, {});
  EXPECT_FALSE(IsListed("wmplayer.exe"));
  EXPECT_EQ(ReadString(kDefectiveAppsKey, "Application00"), std::nullopt);
}

TEST_F(DefectiveAppRegistryTest, TheListEndsAtTheFirstMissingName) {
  WriteList(1, {"A.EXE", "B.EXE", "C.EXE", "D.EXE"});
  DeleteValue(kDefectiveAppsKey, "Application02");
  EXPECT_EQ(AreListed({"a.exe", "b.exe", "c.exe", "d.exe"}),
            (std::vector<bool>{true, true, false, false}));
}

TEST_F(DefectiveAppRegistryTest, SixteenNamesAreReadAndNoMore) {
  std::vector<std::string> names(17);
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = "host" + std::to_string(i) + ".exe";
  }
  WriteList(1, names);
  std::vector<bool> expected(16, true);
  expected.push_back(false);
  EXPECT_EQ(AreListed(names), expected);
  EXPECT_EQ(ReadString(kDefectiveAppsKey, "Application10"), names[16]);
}

TEST_F(DefectiveAppRegistryTest, TheListEndsAtTheFirstEmptyName) {
  WriteList(1, {"A.EXE", "", "C.EXE"});
  EXPECT_EQ(AreListed({"a.exe", "c.exe"}), (std::vector<bool>{true, false}));
}

TEST_F(DefectiveAppRegistryTest, NamesMatchInAnyCase) {
  WriteList(1, {"MiXeD.eXe"});
  EXPECT_EQ(AreListed({"mixed.exe", "MIXED.EXE", "mixed.ex"}),
            (std::vector<bool>{true, true, false}));
}

TEST_F(DefectiveAppRegistryTest, ANameThatIsTooLongEndsTheList) {
  WriteList(1, {"A.EXE", std::string(400, 'b'), "C.EXE"});
  EXPECT_EQ(AreListed({"a.exe", std::string(200, 'b'), "c.exe"}),
            (std::vector<bool>{true, false, false}));
}

TEST_F(DefectiveAppRegistryTest, ANameWithoutItsNulStaysInsideItsEntry) {
  WriteList(1, {"A.EXE", "B.EXE"});
  const std::string unterminated(300, 'x');
  WriteValue(kDefectiveAppsKey, "Application00", REG_SZ, unterminated.data(), 260);
  EXPECT_EQ(AreListed({"b.exe", std::string(250, 'x')}), (std::vector<bool>{true, false}));
}

TEST_F(DefectiveAppRegistryTest, AKeyThatCannotBeCreatedGivesTheDefaultList) {
  // No lasting key can be created inside a volatile one.
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, kMakersKey, 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  EXPECT_TRUE(IsListed("wmplayer.exe"));
  EXPECT_FALSE(KeyExists(kDefectiveAppsKey));
}

}  // namespace

}  // namespace qivm::test
