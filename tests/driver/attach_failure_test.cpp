#include <algorithm>
#include <array>
#include <vector>

#include "tests/driver/attach_watch.h"
#include "tests/driver/driver_module.h"
#include "tests/driver/process_resources.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/resource_watch.h"

namespace qivm::test {

namespace {

constexpr std::size_t kStateWords = 274;
using State = std::vector<DWORD>;

constexpr DWORD kAbcdCode = MAKEFOURCC('A', 'B', 'C', 'D');

/// The library is loaded into a process in which Windows refuses one call of the attach hook.
class AttachFailureTest : public ::testing::TestWithParam<bool> {
 protected:
  AttachFailureTest() { StoreSettings(); }
  ~AttachFailureTest() override {
    FreeLibrary(systems_);
    Clear();
  }

  static void Clear() {
    DeleteTree("Software\\Norvane");
    DeleteTree("Software\\Pellaro");
  }
  /// What the registry holds before every load: settings of a user, or none.
  static void StoreSettings() {
    Clear();
    if (GetParam()) {
      WriteDword(kCodecKey, "ChangeFieldsOrder", 1);
      WriteDword(kCodecKey, "MPEG2NameCount", 1);
      WriteDword(kCodecKey, "MPEG2Name1", kAbcdCode);
      WriteDword(kBoardKey, "AppCount", 1);
      WriteString(kBoardKey, "App1", "MINE.EXE");
      WriteDword(kDefectiveAppsKey, "Correct state", 1);
      WriteString(kDefectiveAppsKey, "Application00", "OTHER.EXE");
    }
  }
  static State StateOf(const DriverModule& driver) {
    const Instance instance(driver);
    State state(kStateWords);
    EXPECT_EQ(instance.Send(ICM_GETSTATE, state.data(), kStateWords * sizeof(DWORD)), ICERR_OK);
    return state;
  }
  static bool IsDefault(const State& state) {
    return state[1] == 0 && state[2] == kQivmCode && state[3] == kMmesCode && state[4] == 0;
  }
  static bool IsStored(const State& state) {
    return GetParam() && state[1] == 1 && state[2] == kAbcdCode && state[3] == 0;
  }

  /// Loads, looks and unloads with the given call refused; returns how many calls there were.
  int LoadWithRefusal(int failing) {
    ResourceWatch resources;
    const AttachWatch attach(resources);
    resources.Restart(failing);
    const DriverModule driver;
    const int calls = resources.Calls();
    const std::string refused = resources.RefusedFunction();
    SCOPED_TRACE("refused: " + refused);
    EXPECT_EQ(resources.Held(), ResourceWatch::Holdings{}) << "given back at once";
    if (refused == "HeapCreate") {
      ++withoutHeap_;
      // Without a heap there is no instance, and nothing worse.
      EXPECT_EQ(driver.Open(), 0U);
      EXPECT_EQ(driver.Send(0, ICM_GETINFO), ICERR_ERROR);
      EXPECT_EQ(driver.Send(0, DRV_CLOSE), 1);
    } else {
      const State state = StateOf(driver);
      EXPECT_TRUE(IsDefault(state) || IsStored(state));
      EXPECT_TRUE(failing != 0 || IsStored(state) == GetParam());
    }
    resources.Detach();
    return calls;
  }

  int withoutHeap_ = 0;
  /// Of the libraries that the driver brings along, this one keeps a handle of each load of its
  /// own.
  const HMODULE systems_ = LoadLibraryA("comdlg32.dll");
};

INSTANTIATE_TEST_SUITE_P(StoredSettings, AttachFailureTest, ::testing::Bool(),
                         ::testing::PrintToStringParamName());

TEST_P(AttachFailureTest, EveryCall) {
  const int calls = LoadWithRefusal(0);
  ASSERT_GT(calls, GetParam() ? 8 : 20);
  const ProcessResources before = ProcessResources::Now();
  ASSERT_GT(before.handles, 0U);
  for (int failing = 1; failing <= calls; ++failing) {
    SCOPED_TRACE(::testing::Message() << "call " << failing);
    StoreSettings();
    EXPECT_GE(LoadWithRefusal(failing), failing);
    // The next process finds settings that it can load, or heals them.
    const DriverModule next;
    const State state = StateOf(next);
    EXPECT_TRUE(IsDefault(state) || IsStored(state));
    EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), IsDefault(state) ? 2U : 1U);
    EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
  }
  EXPECT_EQ(withoutHeap_, 1);
  const ProcessResources after = ProcessResources::Now();
  EXPECT_EQ(after.heaps, before.heaps);
  EXPECT_EQ(after.handles, before.handles);
}

}  // namespace

}  // namespace qivm::test
