#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

const BITMAPINFOHEADER kHeader = Header(kYuy2, 128, 96);
constexpr DWORD kWorkerExitCode = 12;

using WorkerThreadTest = DriverTest;

TEST_F(WorkerThreadTest, NoneOnOneProcessor) {
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

TEST_F(WorkerThreadTest, OneOnMoreProcessors) {
  for (const DWORD count : std::initializer_list<DWORD>{2, 3, 64}) {
    const ProcessorCount processors(driver_.Handle(), count);
    const ThreadWatch threads(driver_.Handle());
    const EventWatch events(driver_.Handle(), 0);
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), 1U);
    EXPECT_EQ(events.Created(), 2);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), 2U);
    EXPECT_EQ(events.Created(), 4);
    EXPECT_TRUE(threads.IsRunning(0));
    EXPECT_TRUE(threads.IsRunning(1));
  }
}

TEST_F(WorkerThreadTest, LeavesWithItsExitCode) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const ThreadWatch threads(driver_.Handle());
  Instance instance(driver_);
  const auto expectLeft = [&](std::size_t thread) {
    EXPECT_FALSE(threads.IsRunning(thread));
    EXPECT_EQ(threads.ExitCode(thread), kWorkerExitCode);
  };
  // By the end, without and with a frame before it.
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  instance.Send(ICM_COMPRESS_END);
  instance.Send(ICM_DECOMPRESS_END);
  expectLeft(0);
  expectLeft(1);
  // By the next begin.
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  Decompress(instance, kHeader, Compress(instance, kHeader, MakePicture(kHeader)));
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  expectLeft(2);
  expectLeft(3);
  EXPECT_TRUE(threads.IsRunning(4));
  EXPECT_TRUE(threads.IsRunning(5));
  // By the close.
  instance.Close();
  expectLeft(4);
  expectLeft(5);
}

std::vector<HANDLE> g_waitedFor;
DWORD g_waitingThread = 0;
const ImportHook* g_waitHook = nullptr;

DWORD WINAPI RecordWait(HANDLE handle, DWORD milliseconds) {
  // The workers wait for their events by the same import.
  if (GetCurrentThreadId() == g_waitingThread) {
    g_waitedFor.push_back(handle);
  }
  return g_waitHook->Original<decltype(&WaitForSingleObject)>()(handle, milliseconds);
}

TEST_F(WorkerThreadTest, CloseEndsTheDecompressorFirst) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const ThreadWatch threads(driver_.Handle());
  const ImportHook hook(driver_.Handle(), "WaitForSingleObject",
                        reinterpret_cast<void*>(&RecordWait));
  g_waitHook = &hook;
  g_waitingThread = GetCurrentThreadId();
  Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  g_waitedFor.clear();
  instance.Close();
  EXPECT_EQ(g_waitedFor, (std::vector<HANDLE>{threads.DriversHandle(1), threads.DriversHandle(0)}));
}

TEST_F(WorkerThreadTest, TakesThePriorityOfTheCallerAtEveryFrame) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const ThreadWatch threads(driver_.Handle());
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  const auto picture = MakePicture(kHeader);
  for (const int priority :
       {THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_NORMAL}) {
    ASSERT_NE(SetThreadPriority(GetCurrentThread(), priority), FALSE);
    const auto frame = Compress(instance, kHeader, picture);
    EXPECT_EQ(threads.Priority(0), priority);
    Decompress(instance, kHeader, frame);
    EXPECT_EQ(threads.Priority(1), priority);
  }
}

/// The place of a start code.
std::size_t FindStartCode(std::span<const std::uint8_t> frame, std::uint8_t code) {
  const std::array<std::uint8_t, 4> pattern = {0, 0, 1, code};
  const auto found = std::search(frame.begin(), frame.end(), pattern.begin(), pattern.end());
  EXPECT_NE(found, frame.end());
  return static_cast<std::size_t>(found - frame.begin());
}

TEST_F(WorkerThreadTest, TheSamePicturesWithAndWithout) {
  for (const auto& [width, height] : {std::pair{16, 16}, {64, 32}, {64, 48}, {720, 576}}) {
    SCOPED_TRACE(::testing::Message() << width << 'x' << height);
    const BITMAPINFOHEADER header = Header(kYuy2, width, height);
    const auto picture = MakePicture(header);
    std::vector<std::vector<std::uint8_t>> frames;
    std::vector<std::vector<std::uint8_t>> pictures;
    for (const DWORD count : std::initializer_list<DWORD>{1, 2}) {
      const ProcessorCount processors(driver_.Handle(), count);
      frames.push_back(CompressAlone(driver_, header, picture));
      const Instance instance(driver_);
      ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
      pictures.push_back(Decompress(instance, header, frames.front()));
      pictures.push_back(Decompress(instance, header, frames.back()));
    }
    EXPECT_EQ(pictures, std::vector(4, pictures.front()));

    // The worker's half, or the end code alone where it has no row, begins at a multiple of 16. But
    // for the zeros before it the frames are the same.
    constexpr std::uint8_t kSequenceEnd = 0xB7;
    const int rows = height / 16;
    const int splitRow = (rows + 1) / 2;
    const std::size_t split = FindStartCode(
        frames[0], splitRow < rows ? static_cast<std::uint8_t>(splitRow + 1) : kSequenceEnd);
    auto expected = frames[0];
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(split), (16 - split % 16) % 16,
                    0);
    EXPECT_EQ(frames[1], expected);
  }
}

TEST_F(WorkerThreadTest, WithoutResourcesTheCallingThreadWorksAlone) {
  const ProcessorCount processors(driver_.Handle(), 2);
  const auto picture = MakePicture(kHeader);
  const auto frame = CompressAlone(driver_, kHeader, picture);
  const auto expectWorks = [&](const ThreadWatch& threads, std::size_t started) {
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_EQ(threads.Started(), started);
    const auto decoded = Decompress(instance, kHeader, Compress(instance, kHeader, picture));
    EXPECT_GT(Psnr(kHeader, picture, decoded), 40.0);
  };
  {
    ThreadWatch threads(driver_.Handle());
    threads.Refuse();
    expectWorks(threads, 0);
  }
  // The compressor creates the first two events, the decompressor the next.
  for (const int failing : {1, 2, 3, 4}) {
    const ThreadWatch threads(driver_.Handle());
    const EventWatch events(driver_.Handle(), failing);
    expectWorks(threads, 1);
  }
}

TEST_F(WorkerThreadTest, TwoInstancesOnTwoThreads) {
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
  const ProcessorCount processors(driver_.Handle(), 2);
  std::vector<Job> jobs;
  for (const auto& [format, seed] : {std::pair{kYuy2, 1U}, {kRgb24, 2U}}) {
    const BITMAPINFOHEADER header = Header(format, 176, 144);
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

TEST_F(WorkerThreadTest, OneInstanceFromDifferentThreadsInTurn) {
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
