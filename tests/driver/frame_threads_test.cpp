#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

/// Large enough for eight threads.
const BITMAPINFOHEADER kHeader = Header(kYuy2, 512, 256);
constexpr DWORD kExitCode = 12;

/// How a system lets threads wait for each other.
enum class Waits : std::uint8_t { onAddresses, forEvents };

/// What the driver's threads wait by is the system's choice: tests that use them take both.
class FrameThreadsTest : public DriverTest, public ::testing::WithParamInterface<Waits> {
 protected:
  FrameThreadsTest() {
    if (GetParam() == Waits::forEvents) {
      noAddressWaits_.emplace(driver_.Handle());
    }
  }

 private:
  std::optional<NoAddressWaits> noAddressWaits_;
};

INSTANTIATE_TEST_SUITE_P(Waits, FrameThreadsTest,
                         ::testing::Values(Waits::onAddresses, Waits::forEvents),
                         [](const ::testing::TestParamInfo<Waits>& test) {
                           return test.param == Waits::onAddresses ? "OnAddresses" : "ForEvents";
                         });

TEST_P(FrameThreadsTest, OnOneProcessorTheCallingThreadAlone) {
  const ProcessorCount processors(driver_.Handle(), 1);
  const ThreadWatch threads(driver_.Handle());
  const EventWatch events(driver_.Handle(), 0);
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  Decompress(instance, kHeader, Compress(instance, kHeader, MakePicture(kHeader)));
  EXPECT_EQ(threads.Started(), 0U);
  EXPECT_EQ(events.Created(), 0);
}

TEST_P(FrameThreadsTest, NoneForSmallPictures) {
  const ProcessorCount processors(driver_.Handle(), 64);
  const ThreadWatch threads(driver_.Handle());
  const Instance instance(driver_);
  for (const auto& [width, height] : {std::pair{16, 16}, {64, 48}, {2048, 16}}) {
    const BITMAPINFOHEADER header = Header(kYuy2, width, height);
    ASSERT_EQ(BeginCompress(instance, header), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
    Decompress(instance, header, Compress(instance, header, MakePicture(header)));
  }
  EXPECT_EQ(threads.Started(), 0U);
}

TEST_P(FrameThreadsTest, AsManyAsProcessors) {
  for (const DWORD count : std::initializer_list<DWORD>{2, 3, 8}) {
    const ProcessorCount processors(driver_.Handle(), count);
    const ThreadWatch threads(driver_.Handle());
    const EventWatch events(driver_.Handle(), 0);
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), count - 1);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), 2 * (count - 1));
    for (std::size_t thread = 0; thread < threads.Started(); ++thread) {
      EXPECT_TRUE(threads.IsRunning(thread));
    }
    // Nothing else shows which way the threads wait.
    EXPECT_EQ(events.Created() > 0, GetParam() == Waits::forEvents);
  }
}

TEST_P(FrameThreadsTest, NoMoreThanRows) {
  const BITMAPINFOHEADER header = Header(kYuy2, 720, 576);
  constexpr std::size_t kRows = 36;
  const ProcessorCount processors(driver_.Handle(), 1000);
  const ThreadWatch threads(driver_.Handle());
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, header), ICERR_OK);
  EXPECT_GE(threads.Started(), 8U);
  EXPECT_LT(threads.Started(), kRows);
  const std::size_t compressors = threads.Started();
  ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
  EXPECT_EQ(threads.Started(), 2 * compressors);
  const auto picture = MakePicture(header);
  for (int i = 0; i < 3; ++i) {
    const auto decoded = Decompress(instance, header, Compress(instance, header, picture));
    EXPECT_GT(Psnr(header, picture, decoded), 40.0);
  }
}

TEST_P(FrameThreadsTest, LeaveWithTheirExitCode) {
  const ProcessorCount processors(driver_.Handle(), 3);
  const ThreadWatch threads(driver_.Handle());
  Instance instance(driver_);
  std::size_t left = 0;
  const auto expectLeft = [&](std::size_t count) {
    for (; left < count; ++left) {
      EXPECT_FALSE(threads.IsRunning(left));
      EXPECT_EQ(threads.ExitCode(left), kExitCode);
    }
  };
  const auto begin = [&] {
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  };
  // By the end, without and with a frame before it.
  begin();
  instance.Send(ICM_COMPRESS_END);
  instance.Send(ICM_DECOMPRESS_END);
  expectLeft(4);
  // By the next begin.
  begin();
  Decompress(instance, kHeader, Compress(instance, kHeader, MakePicture(kHeader)));
  begin();
  expectLeft(8);
  for (std::size_t thread = 8; thread < threads.Started(); ++thread) {
    EXPECT_TRUE(threads.IsRunning(thread));
  }
  // By the close.
  instance.Close();
  EXPECT_EQ(threads.Started(), 12U);
  expectLeft(12);
}

std::vector<HANDLE> g_waitedFor;
DWORD g_waitingThread = 0;
const ImportHook* g_waitHook = nullptr;

DWORD WINAPI RecordWait(HANDLE handle, DWORD milliseconds) {
  // The helpers may wait for their events by the same import.
  if (GetCurrentThreadId() == g_waitingThread) {
    g_waitedFor.push_back(handle);
  }
  return g_waitHook->Original<decltype(&WaitForSingleObject)>()(handle, milliseconds);
}

TEST_P(FrameThreadsTest, CloseEndsTheDecompressorFirst) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const ThreadWatch threads(driver_.Handle());
  const ImportHook hook(driver_.Handle(), "WaitForSingleObject",
                        reinterpret_cast<void*>(&RecordWait));
  g_waitHook = &hook;
  g_waitingThread = GetCurrentThreadId();
  Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(threads.Started(), 2U);
  g_waitedFor.clear();
  instance.Close();
  EXPECT_EQ(g_waitedFor, (std::vector<HANDLE>{threads.DriversHandle(1), threads.DriversHandle(0)}));
}

TEST_P(FrameThreadsTest, TakeThePriorityOfTheCaller) {
  const ProcessorCount processors(driver_.Handle(), 3);
  const ThreadWatch threads(driver_.Handle());
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(threads.Started(), 4U);
  const auto picture = MakePicture(kHeader);
  const auto allHave = [&](int priority) {
    bool all = true;
    for (std::size_t thread = 0; thread < threads.Started(); ++thread) {
      all = all && threads.Priority(thread) == priority;
    }
    return all;
  };
  // The first frame has it at once, later ones as soon as the change is noticed.
  ASSERT_NE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL), FALSE);
  Decompress(instance, kHeader, Compress(instance, kHeader, picture));
  EXPECT_TRUE(allHave(THREAD_PRIORITY_BELOW_NORMAL));
  for (const int priority : {THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_NORMAL}) {
    ASSERT_NE(SetThreadPriority(GetCurrentThread(), priority), FALSE);
    constexpr ULONGLONG kPatience = 60000;
    const ULONGLONG begin = GetTickCount64();
    while (!allHave(priority) && GetTickCount64() - begin < kPatience) {
      Decompress(instance, kHeader, Compress(instance, kHeader, picture));
    }
    EXPECT_TRUE(allHave(priority));
  }
}

/// The place of a start code.
std::size_t FindStartCode(std::span<const std::uint8_t> frame, std::uint8_t code) {
  const std::array<std::uint8_t, 4> pattern = {0, 0, 1, code};
  const auto found = std::search(frame.begin(), frame.end(), pattern.begin(), pattern.end());
  EXPECT_NE(found, frame.end());
  return static_cast<std::size_t>(found - frame.begin());
}

TEST_P(FrameThreadsTest, TheSamePicturesOnAnyNumber) {
  for (const auto& [width, height] :
       {std::pair{16, 16}, {64, 32}, {64, 48}, {512, 256}, {720, 576}}) {
    SCOPED_TRACE(::testing::Message() << width << 'x' << height);
    const BITMAPINFOHEADER header = Header(kYuy2, width, height);
    const auto picture = MakePicture(header);
    std::vector<std::vector<std::uint8_t>> frames;
    std::vector<std::vector<std::uint8_t>> pictures;
    for (const DWORD count : std::initializer_list<DWORD>{1, 2, 3, 8}) {
      const ProcessorCount processors(driver_.Handle(), count);
      frames.push_back(CompressAlone(driver_, header, picture));
      const Instance instance(driver_);
      ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
      pictures.push_back(Decompress(instance, header, frames.front()));
      pictures.push_back(Decompress(instance, header, frames.back()));
    }
    EXPECT_EQ(pictures, std::vector(8, pictures.front()));

    // On several processors the lower half, or the end code alone where it has no row, begins at a
    // multiple of 16. But for the zeros before it the frames are the same.
    constexpr std::uint8_t kSequenceEnd = 0xB7;
    const int rows = height / 16;
    const int splitRow = (rows + 1) / 2;
    const std::size_t split = FindStartCode(
        frames[0], splitRow < rows ? static_cast<std::uint8_t>(splitRow + 1) : kSequenceEnd);
    auto expected = frames[0];
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(split), (16 - split % 16) % 16,
                    0);
    for (std::size_t i = 1; i < frames.size(); ++i) {
      EXPECT_EQ(frames[i], expected);
    }
  }
}

TEST_P(FrameThreadsTest, FewerThreadsMakeTheSameFrames) {
  const ProcessorCount processors(driver_.Handle(), 4);
  const auto picture = MakePicture(kHeader);
  const auto frame = CompressAlone(driver_, kHeader, picture);
  std::vector<std::uint8_t> decoded;
  const auto expectSameFrames = [&](const Instance& instance) {
    EXPECT_EQ(Compress(instance, kHeader, picture), frame);
    const auto shown = Decompress(instance, kHeader, frame);
    if (decoded.empty()) {
      decoded = shown;
    }
    EXPECT_EQ(shown, decoded);
  };
  for (const std::size_t allowed : std::initializer_list<std::size_t>{6, 5, 3, 1, 0}) {
    ThreadWatch threads(driver_.Handle());
    threads.RefuseAfter(allowed);
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), allowed);
    expectSameFrames(instance);
  }
  int events = 0;
  {
    const EventWatch watch(driver_.Handle(), 0);
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    events = watch.Created();
  }
  for (int failing = 1; failing <= events; ++failing) {
    const EventWatch watch(driver_.Handle(), failing);
    const ThreadWatch threads(driver_.Handle());
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_LT(threads.Started(), 6U);
    expectSameFrames(instance);
  }
}

TEST_P(FrameThreadsTest, TwoInstancesOnTwoThreads) {
  struct Job {
    const DriverModule* driver;
    BITMAPINFOHEADER header;
    std::vector<std::uint8_t> picture;
    std::vector<std::uint8_t> frame;
    int failures;

    static DWORD WINAPI Run(LPVOID self) {
      auto& job = *static_cast<Job*>(self);
      const Instance instance(*job.driver);
      for (int i = 0; i < 20; ++i) {
        const bool begun = BeginCompress(instance, job.header) == ICERR_OK &&
                           BeginDecompress(instance, job.header) == ICERR_OK;
        if (!begun || Compress(instance, job.header, job.picture) != job.frame ||
            Psnr(job.header, job.picture, Decompress(instance, job.header, job.frame)) < 30.0) {
          ++job.failures;
        }
      }
      return 0;
    }
  };
  const ProcessorCount processors(driver_.Handle(), 3);
  std::vector<Job> jobs;
  for (const auto& [format, seed] : {std::pair{kYuy2, 1U}, {kRgb24, 2U}}) {
    const BITMAPINFOHEADER header = Header(format, 352, 288);
    auto picture = MakePicture(header, seed);
    auto frame = CompressAlone(driver_, header, picture);
    jobs.push_back({&driver_, header, std::move(picture), std::move(frame), 0});
  }
  std::vector<HANDLE> threads;
  for (Job& job : jobs) {
    threads.push_back(CreateThread(nullptr, 0, &Job::Run, &job, 0, nullptr));
  }
  for (const HANDLE thread : threads) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
  EXPECT_EQ(jobs[0].failures, 0);
  EXPECT_EQ(jobs[1].failures, 0);
}

TEST_P(FrameThreadsTest, OneInstanceFromDifferentThreadsInTurn) {
  struct Turn {
    const Instance* instance;
    std::vector<std::uint8_t> picture;
    std::vector<std::uint8_t> frame;

    static DWORD WINAPI Run(LPVOID self) {
      auto& turn = *static_cast<Turn*>(self);
      turn.frame = Compress(*turn.instance, kHeader, turn.picture);
      return 0;
    }
  };
  const ProcessorCount processors(driver_.Handle(), 3);
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  Turn turn = {&instance, MakePicture(kHeader), {}};
  const auto reference = Compress(instance, kHeader, turn.picture);
  for (int i = 0; i < 5; ++i) {
    turn.frame.clear();
    const HANDLE thread = CreateThread(nullptr, 0, &Turn::Run, &turn, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_EQ(turn.frame, reference);
  }
}

}  // namespace

}  // namespace qivm::test
