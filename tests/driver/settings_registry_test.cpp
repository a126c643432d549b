#include <aclapi.h>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

constexpr char kCodecMakersKey[] = "Software\\Norvane";
constexpr char kBoardMakersKey[] = "Software\\Pellaro";

constexpr DWORD Code(const char (&text)[5]) {
  return MAKEFOURCC(text[0], text[1], text[2], text[3]);
}

/// The settings as an instance sees them.
struct Settings {
  DWORD handler;
  DWORD changeFieldsOrder;
  std::array<DWORD, 16> codes;
  std::array<std::array<char, 64>, 16> applications;

  std::vector<std::string> Applications() const {
    std::vector<std::string> names;
    for (const auto& entry : applications) {
      names.emplace_back(entry.data(), strnlen(entry.data(), entry.size()));
    }
    while (!names.empty() && names.back().empty()) {
      names.pop_back();
    }
    return names;
  }
  std::vector<DWORD> Codes() const {
    std::vector<DWORD> list(codes.begin(), codes.end());
    while (!list.empty() && list.back() == 0) {
      list.pop_back();
    }
    return list;
  }
};
static_assert(sizeof(Settings) == 1096);

/// Each test sets up the registry, attaches the library, and sees what it made of it.
class SettingsRegistryTest : public ::testing::Test {
 protected:
  SettingsRegistryTest() { Clear(); }
  ~SettingsRegistryTest() override { Clear(); }

  static void Clear() {
    DeleteTree(kCodecMakersKey);
    DeleteTree(kBoardMakersKey);
  }

  /// A complete and valid set of values.
  static void WriteSound(DWORD order, const std::vector<DWORD>& codes,
                         const std::vector<std::string>& applications) {
    WriteDword(kCodecKey, "ChangeFieldsOrder", order);
    WriteDword(kCodecKey, "MPEG2NameCount", static_cast<DWORD>(codes.size()));
    for (std::size_t i = 0; i < codes.size(); ++i) {
      WriteDword(kCodecKey, "MPEG2Name" + std::to_string(i + 1), codes[i]);
    }
    WriteDword(kBoardKey, "AppCount", static_cast<DWORD>(applications.size()));
    for (std::size_t i = 0; i < applications.size(); ++i) {
      WriteString(kBoardKey, "App" + std::to_string(i + 1), applications[i]);
    }
  }

  static Settings Attach() {
    const DriverModule driver;
    const Instance instance(driver);
    Settings settings = {};
    EXPECT_EQ(instance.Send(ICM_GETSTATE, &settings, sizeof(settings)), ICERR_OK);
    return settings;
  }

  static void ExpectDefaults(const Settings& settings) {
    EXPECT_EQ(settings.handler, kQivmCode);
    EXPECT_EQ(settings.changeFieldsOrder, 0U);
    EXPECT_EQ(settings.Codes(), (std::vector<DWORD>{kQivmCode, kMmesCode}));
    EXPECT_EQ(settings.Applications(), (std::vector<std::string>{"PREMIERE.EXE", "CLIPWRK.EXE"}));
  }
  static void ExpectStoredDefaults() {
    EXPECT_EQ(ReadDword(kCodecKey, "ChangeFieldsOrder"), 0U);
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 2U);
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name1"), kQivmCode);
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name2"), kMmesCode);
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2Name3"), std::nullopt);
    EXPECT_EQ(ReadDword(kBoardKey, "AppCount"), 2U);
    EXPECT_EQ(ReadString(kBoardKey, "App1"), "PREMIERE.EXE");
    EXPECT_EQ(ReadString(kBoardKey, "App2"), "CLIPWRK.EXE");
  }
  /// Attaches, and expects that the load has failed and was healed.
  static void ExpectReset() {
    ExpectDefaults(Attach());
    ExpectStoredDefaults();
  }
};

TEST_F(SettingsRegistryTest, WithoutKeysTheDefaultsAreStored) { ExpectReset(); }

TEST_F(SettingsRegistryTest, StoredDefaultsLoad) {
  Attach();
  WriteDword(kCodecKey, "a stranger", 1);
  ExpectDefaults(Attach());
  EXPECT_EQ(ReadDword(kCodecKey, "a stranger"), 1U) << "a sound key must not be rewritten";
}

TEST_F(SettingsRegistryTest, SoundValuesLoad) {
  WriteSound(1, {Code("ABCD"), Code("QIVM"), Code("X264")}, {"one.exe", "Two.EXE"});
  const Settings settings = Attach();
  EXPECT_EQ(settings.handler, kQivmCode);
  EXPECT_EQ(settings.changeFieldsOrder, 1U);
  EXPECT_EQ(settings.Codes(), (std::vector<DWORD>{Code("ABCD"), Code("QIVM"), Code("X264")}));
  EXPECT_EQ(settings.Applications(), (std::vector<std::string>{"one.exe", "Two.EXE"}));
}

TEST_F(SettingsRegistryTest, CodesAreLoadedInUpperCase) {
  WriteSound(0, {Code("mmes"), Code("aB1z")}, {});
  EXPECT_EQ(Attach().Codes(), (std::vector<DWORD>{Code("MMES"), Code("AB1Z")}));
}

TEST_F(SettingsRegistryTest, ACodeEndsAtItsNul) {
  WriteSound(0, {MAKEFOURCC('a', 'b', 0, 'c')}, {});
  EXPECT_EQ(Attach().Codes(), (std::vector<DWORD>{MAKEFOURCC('A', 'B', 0, 'c')}));
}

TEST_F(SettingsRegistryTest, OnlySixteenOfFortyAreLoaded) {
  std::vector<DWORD> codes;
  std::vector<std::string> names;
  for (DWORD i = 0; i < 40; ++i) {
    codes.push_back(Code("AAAA") + i);
    names.push_back("app" + std::to_string(i));
  }
  WriteSound(0, codes, names);
  const Settings settings = Attach();
  EXPECT_EQ(settings.Codes(), std::vector<DWORD>(codes.begin(), codes.begin() + 16));
  EXPECT_EQ(settings.Applications(), std::vector<std::string>(names.begin(), names.begin() + 16));
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 40U) << "a sound key must not be rewritten";
}

TEST_F(SettingsRegistryTest, CountsOfZeroAndBelowGiveEmptyLists) {
  for (const DWORD count :
       std::initializer_list<DWORD>{DWORD{0}, DWORD{0xFFFFFFFF}, DWORD{0x80000000}}) {
    WriteSound(0, {Code("ABCD")}, {"a.exe"});
    WriteDword(kCodecKey, "MPEG2NameCount", count);
    WriteDword(kBoardKey, "AppCount", count);
    const Settings settings = Attach();
    EXPECT_TRUE(settings.Codes().empty());
    EXPECT_TRUE(settings.Applications().empty());
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), count);
  }
}

TEST_F(SettingsRegistryTest, AFieldOrderOutOfRangeResets) {
  WriteSound(2, {Code("ABCD")}, {"a.exe"});
  ExpectReset();
}

TEST_F(SettingsRegistryTest, AFieldOrderOfAnotherTypeOrLengthResets) {
  constexpr std::uint8_t kBytes[8] = {1};
  WriteSound(0, {Code("ABCD")}, {"a.exe"});
  WriteValue(kCodecKey, "ChangeFieldsOrder", REG_BINARY, kBytes, 4);
  ExpectReset();
  for (const std::size_t size : std::initializer_list<std::size_t>{0, 2, 8}) {
    WriteSound(0, {Code("ABCD")}, {"a.exe"});
    WriteValue(kCodecKey, "ChangeFieldsOrder", REG_DWORD, kBytes, size);
    ExpectReset();
  }
}

TEST_F(SettingsRegistryTest, AMissingValueResets) {
  for (const auto& [key, name] : {std::pair{kCodecKey, "ChangeFieldsOrder"},
                                  {kCodecKey, "MPEG2NameCount"},
                                  {kCodecKey, "MPEG2Name1"},
                                  {kCodecKey, "MPEG2Name2"},
                                  {kBoardKey, "AppCount"},
                                  {kBoardKey, "App1"},
                                  {kBoardKey, "App2"}}) {
    SCOPED_TRACE(name);
    Clear();
    WriteSound(1, {Code("ABCD"), Code("EFGH")}, {"a.exe", "b.exe"});
    DeleteValue(key, name);
    ExpectReset();
  }
}

TEST_F(SettingsRegistryTest, ANameOfAnotherTypeResets) {
  constexpr char kText[] = "ABC";
  WriteSound(1, {Code("ABCD"), Code("EFGH")}, {"a.exe"});
  WriteValue(kCodecKey, "MPEG2Name2", REG_SZ, kText, sizeof(kText));
  ExpectReset();
  WriteSound(1, {Code("ABCD")}, {"a.exe", "b.exe"});
  WriteDword(kBoardKey, "App2", 7);
  ExpectReset();
}

TEST_F(SettingsRegistryTest, AMissingBoardKeyResetsBoth) {
  WriteSound(1, {Code("ABCD")}, {});
  DeleteTree(kBoardMakersKey);
  ExpectReset();
  ExpectDefaults(Attach());
}

TEST_F(SettingsRegistryTest, AResetDeletesTheCodecsOldValuesButNotTheBoards) {
  WriteSound(2, {Code("ABCD"), Code("EFGH"), Code("IJKL")}, {"a.exe", "b.exe", "c.exe"});
  WriteDword(kCodecKey, "a stranger", 1);
  WriteDword(kBoardKey, "the board's own", 2);
  ExpectReset();
  EXPECT_EQ(ReadDword(kCodecKey, "a stranger"), std::nullopt);
  EXPECT_EQ(ReadString(kBoardKey, "App3"), "c.exe");
  EXPECT_EQ(ReadDword(kBoardKey, "the board's own"), 2U);
  ExpectDefaults(Attach());
}

TEST_F(SettingsRegistryTest, AnApplicationNameOf63CharactersIsLoadedWhole) {
  const std::string name(63, 'n');
  WriteSound(0, {}, {name});
  EXPECT_EQ(Attach().Applications(), (std::vector<std::string>{name}));
}

TEST_F(SettingsRegistryTest, ALongerApplicationNameResets) {
  WriteSound(0, {}, {std::string(64, 'n')});
  ExpectReset();
  WriteSound(0, {}, {std::string(5000, 'n')});
  ExpectReset();
}

TEST_F(SettingsRegistryTest, AnApplicationNameWithoutItsNulStaysInsideItsEntry) {
  WriteSound(0, {}, {"first", "second"});
  // As long as an entry, and nothing that the system could take for the missing NUL.
  const std::string unterminated(80, 'x');
  WriteValue(kBoardKey, "App1", REG_SZ, unterminated.data(), 64);
  EXPECT_EQ(Attach().Applications(), (std::vector<std::string>{std::string(63, 'x'), "second"}));
}

TEST_F(SettingsRegistryTest, AKeyThatCannotBeCreatedLeavesTheBoardsAlone) {
  // No lasting key can be created inside a volatile one.
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, kCodecMakersKey, 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  ExpectDefaults(Attach());
  EXPECT_FALSE(KeyExists(kCodecKey));
  EXPECT_FALSE(KeyExists(kBoardKey));
}

/// Lets nobody do more than read a key, for its lifetime.
class ReadOnlyKey {
 public:
  explicit ReadOnlyKey(const char* path) {
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, KEY_READ | WRITE_DAC, &key_),
              ERROR_SUCCESS);
    EXPECT_EQ(Set(KEY_READ), ERROR_SUCCESS);
  }
  ~ReadOnlyKey() {
    EXPECT_EQ(Set(KEY_ALL_ACCESS), ERROR_SUCCESS);
    RegCloseKey(key_);
  }
  ReadOnlyKey(const ReadOnlyKey&) = delete;
  ReadOnlyKey& operator=(const ReadOnlyKey&) = delete;

 private:
  DWORD Set(DWORD access) const {
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID everyone = nullptr;
    AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &everyone);
    std::array<std::uint8_t, 256> list = {};
    auto* const acl = reinterpret_cast<ACL*>(list.data());
    InitializeAcl(acl, list.size(), ACL_REVISION);
    AddAccessAllowedAce(acl, ACL_REVISION, access, everyone);
    SECURITY_DESCRIPTOR descriptor = {};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE);
    const LSTATUS status = RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, &descriptor);
    FreeSid(everyone);
    return static_cast<DWORD>(status);
  }

  HKEY key_ = nullptr;
};

TEST_F(SettingsRegistryTest, AKeyWithoutWriteRightsIsLoadedAndLeft) {
  WriteSound(1, {Code("ABCD")}, {"a.exe"});
  const ReadOnlyKey readOnly(kCodecKey);
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, kCodecKey, 0, KEY_WRITE, &key), ERROR_ACCESS_DENIED)
      << "the system does not enforce the rights of this test's key";
  EXPECT_EQ(Attach().Codes(), (std::vector<DWORD>{Code("ABCD")}));
}

}  // namespace

}  // namespace qivm::test
