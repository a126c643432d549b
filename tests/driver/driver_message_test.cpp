#include "tests/driver/driver_module.h"
#include "tests/driver/replaced_imports.h"
#include "tests/driver/resource_watch.h"

namespace qivm::test {

namespace {

using DriverMessageTest = DriverTest;

/// The id of an open without ICOPEN: all bits set.
constexpr DWORD_PTR kConfigureOnlyId = ~DWORD_PTR{0};

TEST_F(DriverMessageTest, MessagesWithoutEffectReturnOne) {
  for (const UINT message :
       std::initializer_list<UINT>{DRV_LOAD, DRV_ENABLE, DRV_DISABLE, DRV_FREE, DRV_QUERYCONFIGURE,
                                   DRV_INSTALL, DRV_REMOVE}) {
    for (const DWORD_PTR id : {DWORD_PTR{0}, kConfigureOnlyId}) {
      EXPECT_EQ(driver_.Send(id, message, 1, 2), 1) << "message " << message;
    }
  }
}

TEST_F(DriverMessageTest, OpenWithoutRequestGivesNoInstance) {
  EXPECT_EQ(static_cast<DWORD_PTR>(driver_.Send(0, DRV_OPEN, nullptr, nullptr)), kConfigureOnlyId);
}

TEST_F(DriverMessageTest, TheConfigureOnlyIdIsNoInstance) {
  for (const DWORD_PTR id : {kConfigureOnlyId, DWORD_PTR{0xFFFFFFFF}, DWORD_PTR{0}}) {
    ICINFO info = {};
    EXPECT_EQ(driver_.Send(id, ICM_GETINFO, &info, sizeof(info)), ICERR_ERROR);
    EXPECT_EQ(info.dwVersion, 0U);
    EXPECT_EQ(driver_.Send(id, DRV_CLOSE), 1);
  }
}

TEST_F(DriverMessageTest, OpenDoesNotCareForTypeVersionOrFlags) {
  ICOPEN open = {};
  open.fccType = MAKEFOURCC('a', 'u', 'd', 'c');
  open.fccHandler = MAKEFOURCC('z', '0', ' ', '!');
  open.dwVersion = 0xFFFFFFFF;
  open.dwFlags = 0xFFFFFFFF;
  open.dwError = 77;
  const LRESULT id = driver_.Send(0, DRV_OPEN, nullptr, &open);
  ASSERT_NE(id, 0);
  ASSERT_NE(static_cast<DWORD_PTR>(id), kConfigureOnlyId);
  EXPECT_EQ(open.dwError, 77);
  EXPECT_EQ(driver_.Send(static_cast<DWORD_PTR>(id), DRV_CLOSE), 1);
}

TEST_F(DriverMessageTest, EveryOpenGivesAnInstanceOfItsOwn) {
  const Instance first(driver_);
  const Instance second(driver_);
  EXPECT_NE(first.Id(), second.Id());
  DWORD quality = 1234;
  first.Send(ICM_SETQUALITY, &quality);
  second.Send(ICM_GETQUALITY, &quality);
  EXPECT_EQ(quality, 8000U);
}

TEST_F(DriverMessageTest, OpenWithoutMemoryReturnsZero) {
  HeapWatch heap(driver_.Handle());
  heap.Restart(1);
  EXPECT_EQ(driver_.Open(), 0U);
  heap.Restart();
  const Instance instance(driver_);
}

// Programs open every codec that there is to fill their list of them, and to find the one for a
// file.
TEST_F(DriverMessageTest, OpeningAndAskingAThousandTimesHoldsNoMoreThanOnce) {
  constexpr int kTimes = 1000;
  const auto ask = [](const Instance& instance) {
    ICINFO info = {};
    ASSERT_EQ(instance.Send(ICM_GETINFO, &info, sizeof(info)), LRESULT{sizeof(info)});
    BITMAPINFOHEADER header = {};
    header.biWidth = 320;
    header.biHeight = 240;
    header.biBitCount = 24;
    ASSERT_EQ(instance.Send(ICM_COMPRESS_QUERY, &header, nullptr), ICERR_OK);
    header.biCompression = kQivmCode;
    ASSERT_EQ(instance.Send(ICM_DECOMPRESS_QUERY, &header, nullptr), ICERR_OK);
  };
  const ResourceWatch resources(driver_.Handle());
  ResourceWatch::Holdings once;
  {
    const Instance instance(driver_);
    once = resources.Held();
    EXPECT_GT(once.blocks, 0);
    // Neither a thread nor an event for an instance that may never see a frame.
    EXPECT_EQ(once.handles, 0);
    for (int i = 0; i < kTimes; ++i) {
      ASSERT_NO_FATAL_FAILURE(ask(instance));
      ASSERT_EQ(resources.Held(), once);
    }
  }
  for (int i = 0; i < kTimes; ++i) {
    ASSERT_EQ(resources.Held(), ResourceWatch::Holdings{});
    const Instance instance(driver_);
    ASSERT_NO_FATAL_FAILURE(ask(instance));
    ASSERT_EQ(resources.Held(), once);
  }
  EXPECT_EQ(resources.Held(), ResourceWatch::Holdings{});
}

struct DefaultCall {
  int count = 0;
  DWORD_PTR id = 0;
  HDRVR driver = nullptr;
  UINT message = 0;
  LPARAM parameter1 = 0;
  LPARAM parameter2 = 0;
} g_defaultCall;

LRESULT WINAPI RecordDefaultCall(DWORD_PTR id, HDRVR driver, UINT message, LPARAM parameter1,
                                 LPARAM parameter2) {
  g_defaultCall = {g_defaultCall.count + 1, id, driver, message, parameter1, parameter2};
  return 4711;
}

TEST_F(DriverMessageTest, OtherDriverMessagesReachTheSystemsDefaultUnchanged) {
  const ImportHook hook(driver_.Handle(), "DefDriverProc",
                        reinterpret_cast<void*>(&RecordDefaultCall));
  for (const UINT message :
       std::initializer_list<UINT>{0U, UINT{DRV_EXITSESSION}, UINT{DRV_POWER}, 0x800U, 0x3FFFU}) {
    for (const DWORD_PTR id : {DWORD_PTR{0}, DWORD_PTR{0xFFFFFFFF}, kConfigureOnlyId}) {
      g_defaultCall = {};
      EXPECT_EQ(driver_.Send(id, message, 11, 22), 4711);
      EXPECT_EQ(g_defaultCall.count, 1);
      EXPECT_EQ(g_defaultCall.id, id);
      EXPECT_EQ(g_defaultCall.driver, DriverModule::HostHandle());
      EXPECT_EQ(g_defaultCall.message, message);
      EXPECT_EQ(g_defaultCall.parameter1, 11);
      EXPECT_EQ(g_defaultCall.parameter2, 22);
    }
  }
}

TEST_F(DriverMessageTest, HandledMessagesDoNotReachTheSystemsDefault) {
  const ImportHook hook(driver_.Handle(), "DefDriverProc",
                        reinterpret_cast<void*>(&RecordDefaultCall));
  g_defaultCall = {};
  driver_.Send(0, DRV_LOAD);
  driver_.Send(0, DRV_CLOSE);
  driver_.Send(0, DRV_CONFIGURE);
  driver_.Send(0, DRV_USER);
  driver_.Send(0, ICM_GETINFO);
  EXPECT_EQ(g_defaultCall.count, 0);
}

TEST_F(DriverMessageTest, TheLibraryCanBeUnloadedWithInstancesOpen) {
  ASSERT_NE(driver_.Open(), 0U);
  driver_.Reload();
  const Instance instance(driver_);
}

TEST_F(DriverMessageTest, TheLibraryStaysWhileAContextIsOpen) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const Instance instance(driver_);
  BITMAPINFOHEADER bitmap = {};
  bitmap.biWidth = 256;
  bitmap.biHeight = 128;
  bitmap.biBitCount = 24;
  BITMAPINFOHEADER stream = bitmap;
  stream.biCompression = kQivmCode;
  const auto isLoadedBesidesTheTest = [&] {
    FreeLibrary(driver_.Handle());
    const bool loaded = GetModuleHandleA("qivm.dll") != nullptr;
    return loaded && LoadLibraryA(DriverPath().c_str()) == driver_.Handle();
  };
  // The second begin replaces the first one's context, which must not count twice.
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(instance.Send(ICM_COMPRESS_BEGIN, &bitmap, &stream), ICERR_OK);
    ASSERT_EQ(instance.Send(ICM_DECOMPRESS_BEGIN, &stream, &bitmap), ICERR_OK);
  }
  EXPECT_TRUE(isLoadedBesidesTheTest());
  EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK);
  EXPECT_TRUE(isLoadedBesidesTheTest());
  // That nothing holds the library in the end is checked when the test unloads it.
}

}  // namespace

}  // namespace qivm::test
