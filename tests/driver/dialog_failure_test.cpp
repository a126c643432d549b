#include <cstring>
#include <initializer_list>

#include "tests/driver/driver_module.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/resource_watch.h"

namespace qivm::test {

namespace {

constexpr UINT_PTR kLauncher = 101;
constexpr UINT_PTR kAbout = 102;
constexpr UINT_PTR kEditor = 103;
constexpr UINT_PTR kDefectiveApps = 106;
constexpr WPARAM kAdvancedButton = 3;
constexpr ResourceWatch::Holdings kNothing = {};

LPARAM g_editorParameter = 0;

/// Stands in for the dialogs and their user, without windows: the launcher is closed, the about box
/// comes up, in the editor "Advanced" is pressed and the list there is confirmed as it is.
INT_PTR WINAPI ActAsUser(HINSTANCE /*module*/, LPCSTR resource, HWND /*parent*/, DLGPROC procedure,
                         LPARAM parameter) {
  switch (reinterpret_cast<UINT_PTR>(resource)) {
    case kLauncher:
      procedure(nullptr, WM_COMMAND, IDCANCEL, 0);
      return 0;
    case kAbout:
      procedure(nullptr, WM_INITDIALOG, 0, parameter);
      return 1;
    case kEditor:
      g_editorParameter = parameter;
      procedure(nullptr, WM_COMMAND, kAdvancedButton, 0);
      return 0;
    case kDefectiveApps:
      procedure(nullptr, WM_COMMAND, IDOK, 0);
      return IDOK;
    default:
      ADD_FAILURE() << "an unknown dialog";
      return -1;
  }
}

/// What the editor keeps at its window.
LONG_PTR WINAPI EditorsParameter(HWND /*dialog*/, int /*index*/) { return g_editorParameter; }

/// A list box with one name in it.
LRESULT WINAPI ListOfOneName(HWND /*list*/, UINT message, WPARAM index, LPARAM text) {
  constexpr char kName[] = "WMPLAYER.EXE";
  if (index != 0 || (message != LB_GETTEXTLEN && message != LB_GETTEXT)) {
    return LB_ERR;
  }
  if (message == LB_GETTEXT) {
    std::memcpy(reinterpret_cast<char*>(text), kName, sizeof(kName));
  }
  return sizeof(kName) - 1;
}

#ifdef _WIN64
constexpr char kWindowValue[] = "GetWindowLongPtrA";
#else
constexpr char kWindowValue[] = "GetWindowLongA";
#endif

/// Windows refuses one call of what a dialog asks for.
class DialogFailureTest : public DriverTest {
 protected:
  ~DialogFailureTest() override {
    DeleteTree("Software\\Norvane");
    DeleteTree("Software\\Pellaro");
  }

  /// Shows the dialog once undisturbed and once for every call that it makes; returns the number of
  /// these calls.
  template <typename Show>
  int ShowWithEveryRefusal(const Show& show) {
    const Instance instance(driver_);
    ResourceWatch resources(driver_.Handle());
    show(instance);
    const int calls = resources.Calls();
    for (int failing = 1; failing <= calls; ++failing) {
      SCOPED_TRACE(::testing::Message() << "call " << failing);
      resources.Restart(failing);
      show(instance);
      EXPECT_EQ(resources.Held(), kNothing);
      resources.Restart();
      show(instance);
      EXPECT_EQ(resources.Calls(), calls) << "the next time all is as before";
      EXPECT_EQ(resources.Held(), kNothing);
    }
    return calls;
  }

  const ImportHook dialog_{driver_.Handle(), "DialogBoxParamA",
                           reinterpret_cast<void*>(&ActAsUser)};
  const ImportHook window_{driver_.Handle(), kWindowValue,
                           reinterpret_cast<void*>(&EditorsParameter)};
  const ImportHook list_{driver_.Handle(), "SendMessageA", reinterpret_cast<void*>(&ListOfOneName)};
};

TEST_F(DialogFailureTest, ClosingTheLauncher) {
  const int calls = ShowWithEveryRefusal(
      [](const Instance& instance) { EXPECT_EQ(instance.Send(DRV_CONFIGURE, LPARAM{1}), 0); });
  // Two keys, two lists of two names, two counts and the order of fields.
  EXPECT_GE(calls, 9);
  EXPECT_EQ(ReadDword(kCodecKey, "MPEG2NameCount"), 2U);
  EXPECT_EQ(ReadString(kBoardKey, "App2"), "CLIPWRK.EXE");
}

TEST_F(DialogFailureTest, ConfirmingTheListOfDefectiveApplications) {
  const int calls = ShowWithEveryRefusal(
      [](const Instance& instance) { EXPECT_EQ(instance.Send(ICM_CONFIGURE, nullptr), 0); });
  EXPECT_GE(calls, 8);
  EXPECT_EQ(ReadDword(kDefectiveAppsKey, "Correct state"), 1U);
  EXPECT_EQ(ReadString(kDefectiveAppsKey, "Application00"), "WMPLAYER.EXE");
}

TEST_F(DialogFailureTest, TheAboutBox) {
  const int calls = ShowWithEveryRefusal(
      [](const Instance& instance) { EXPECT_EQ(instance.Send(ICM_ABOUT, nullptr), 1); });
  EXPECT_GE(calls, 1);
}

}  // namespace

}  // namespace qivm::test
