#include "tests/driver/driver_module.h"
#include "tests/driver/import_hook.h"

namespace qivm::test {

namespace {

/// What the codec last asked the system to show.
struct Dialog {
  int count = 0;
  HINSTANCE module = nullptr;
  UINT_PTR resource = 0;
  HWND parent = nullptr;
  LPARAM parameter = 0;
} g_dialog;
INT_PTR g_dialogResult = 0;

INT_PTR WINAPI RecordDialog(HINSTANCE module, LPCSTR resource, HWND parent, DLGPROC /*procedure*/,
                            LPARAM parameter) {
  g_dialog = {g_dialog.count + 1, module, reinterpret_cast<UINT_PTR>(resource), parent, parameter};
  return g_dialogResult;
}

/// The dialogs are not shown but recorded.
class DialogMessageTest : public DriverTest {
 protected:
  DialogMessageTest() {
    g_dialog = {};
    g_dialogResult = 0;
  }

  const HWND parent_ = reinterpret_cast<HWND>(LPARAM{0x5678});
  const ImportHook hook_{driver_.Handle(), "DialogBoxParamA",
                         reinterpret_cast<void*>(&RecordDialog)};
};

TEST_F(DialogMessageTest, ConfigureTheDriver) {
  for (const INT_PTR result : std::initializer_list<INT_PTR>{0, 1, -1}) {
    g_dialog = {};
    g_dialogResult = result;
    EXPECT_EQ(driver_.Send(0, DRV_CONFIGURE, parent_), 0);
    EXPECT_EQ(g_dialog.count, 1);
    EXPECT_EQ(g_dialog.module, driver_.Handle());
    EXPECT_EQ(g_dialog.resource, 101U);
    EXPECT_EQ(g_dialog.parent, parent_);
  }
}

TEST_F(DialogMessageTest, ConfigureTheDriverWithoutAParentShowsNothing) {
  EXPECT_EQ(driver_.Send(0, DRV_CONFIGURE, nullptr), 0);
  EXPECT_EQ(g_dialog.count, 0);
}

TEST_F(DialogMessageTest, TheQueryNeedsNoInstance) {
  const Instance instance(driver_);
  for (const UINT message : std::initializer_list<UINT>{ICM_CONFIGURE, ICM_ABOUT}) {
    for (const DWORD_PTR id : {DWORD_PTR{0}, DWORD_PTR{0xFFFFFFFF}, ~DWORD_PTR{0}, instance.Id()}) {
      EXPECT_EQ(driver_.Send(id, message, LPARAM{-1}), ICERR_OK);
      EXPECT_EQ(driver_.Send(id, message, DWORD_PTR{0xFFFFFFFF}), ICERR_OK);
    }
  }
  EXPECT_EQ(g_dialog.count, 0);
}

TEST_F(DialogMessageTest, WithoutAnInstanceNothingIsShown) {
  EXPECT_EQ(driver_.Send(0, ICM_CONFIGURE, parent_), ICERR_ERROR);
  EXPECT_EQ(driver_.Send(~DWORD_PTR{0}, ICM_ABOUT, parent_), ICERR_ERROR);
  EXPECT_EQ(g_dialog.count, 0);
}

TEST_F(DialogMessageTest, ConfigureAnInstance) {
  const Instance instance(driver_);
  for (const INT_PTR result : std::initializer_list<INT_PTR>{1, 0, -1}) {
    g_dialog = {};
    g_dialogResult = result;
    EXPECT_EQ(instance.Send(ICM_CONFIGURE, parent_), result);
    EXPECT_EQ(g_dialog.count, 1);
    EXPECT_EQ(g_dialog.module, driver_.Handle());
    EXPECT_EQ(g_dialog.resource, 103U);
    EXPECT_EQ(g_dialog.parent, parent_);
  }
  EXPECT_EQ(instance.Send(ICM_CONFIGURE, nullptr), -1);
  EXPECT_EQ(g_dialog.parent, nullptr);
}

TEST_F(DialogMessageTest, About) {
  for (const DWORD handler : std::initializer_list<DWORD>{kQivmCode, kMmesCode}) {
    const Instance instance(driver_, handler);
    g_dialogResult = 1;
    EXPECT_EQ(instance.Send(ICM_ABOUT, parent_), 1);
    EXPECT_EQ(g_dialog.module, driver_.Handle());
    EXPECT_EQ(g_dialog.resource, 102U);
    EXPECT_EQ(g_dialog.parent, parent_);
    EXPECT_EQ(static_cast<DWORD>(g_dialog.parameter), handler);
  }
}

}  // namespace

}  // namespace qivm::test
