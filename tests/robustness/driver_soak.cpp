// Uses the built driver for a long time: frames on one thread and on several, begins and ends, and
// faults in any row on any thread, in both directions. Results must stay the same, and what the
// process holds of the system as well.
//
// usage: driver_soak [--frames N] [--cycles N] [--faults N]      N for each direction

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/replaced_imports.h"
#include "tests/driver/resource_watch.h"
#include "tests/robustness/options.h"
#include "tests/robustness/steadiness.h"

namespace qivm::test {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kPage = GuardedBuffer::kPage;

/// A picture that two threads share; a row of its macroblocks is two pages.
const BITMAPINFOHEADER kSharedHeader = Header(kYuy2, 256, 128);

/// Ends the program: after a wrong result there is nothing left to watch.
void Require(bool sound, const char* what) {
  if (!sound) {
    std::fprintf(stderr, "driver_soak: %s\n", what);
    std::fflush(nullptr);
    std::exit(1);
  }
}

/// Frames in both directions, each compared with the first of its kind.
class Stream {
 public:
  Stream(const DriverModule& driver, const BITMAPINFOHEADER& header)
      : header_(header),
        picture_(MakePicture(header)),
        frame_(CompressAlone(driver, header, picture_)),
        compress_(header),
        decompress_(header, frame_) {
    const Instance instance(driver);
    Require(BeginDecompress(instance, header) == ICERR_OK, "no context");
    decoded_ = Decompress(instance, header, frame_);
  }

  const BITMAPINFOHEADER& Header() const { return header_; }

  void CompressOne(const Instance& instance) {
    compress_.request.lpInput = picture_.data();
    compress_.flags = 0;
    Require(compress_.Send(instance) == ICERR_OK && compress_.flags == AVIIF_KEYFRAME &&
                compress_.outputHeader.biSizeImage == frame_.size() &&
                std::equal(frame_.begin(), frame_.end(), compress_.output.Data()),
            "another frame than the first");
  }
  void DecompressOne(const Instance& instance) {
    decompress_.output.Fill(std::uint8_t{0});
    Require(decompress_.Send(instance) == ICERR_OK &&
                std::ranges::equal(decompress_.output.Bytes(), decoded_),
            "another picture than the first");
  }
  /// One frame with such a bitmap.
  void CompressFrom(const Instance& instance, std::uint8_t* bitmap) {
    compress_.request.lpInput = bitmap;
    compress_.flags = 0;
    Require(compress_.Send(instance) == ICERR_OK && compress_.flags == 0, "no fault");
  }
  void DecompressTo(const Instance& instance, std::uint8_t* bitmap) {
    decompress_.request.lpOutput = bitmap;
    Require(decompress_.Send(instance) == ICERR_OK, "a fault got through");
    decompress_.request.lpOutput = decompress_.output.Data();
  }

 private:
  BITMAPINFOHEADER header_;
  Bytes picture_;
  Bytes frame_;
  Bytes decoded_;
  CompressCall compress_;
  DecompressCall decompress_;
};

/// Both directions are driven by the same code.
struct Direction {
  const char* name;
  LRESULT (*begin)(const Instance& instance, const BITMAPINFOHEADER& bitmap);
  UINT end;
  void (Stream::*frame)(const Instance& instance);
  void (Stream::*frameAt)(const Instance& instance, std::uint8_t* bitmap);
};
constexpr Direction kDirections[] = {
    {"compress", &BeginCompress, ICM_COMPRESS_END, &Stream::CompressOne, &Stream::CompressFrom},
    {"decompress", &BeginDecompress, ICM_DECOMPRESS_END, &Stream::DecompressOne,
     &Stream::DecompressTo},
};

/// Runs an action a tenth of the times before it looks what the process holds, and then the times.
template <typename Action>
bool RunSteadily(const ResourceWatch& watch, const char* what, std::uint64_t times,
                 const Action& action) {
  for (std::uint64_t i = 0; i < times / 10 + 1; ++i) {
    action();
  }
  const Steadiness steadiness(watch);
  const ULONGLONG begin = GetTickCount64();
  for (std::uint64_t i = 0; i < times; ++i) {
    action();
  }
  std::printf("%llu in %llu ms: ", static_cast<unsigned long long>(times),
              static_cast<unsigned long long>(GetTickCount64() - begin));
  return steadiness.Check(what);
}

bool SoakFrames(const DriverModule& driver, const ResourceWatch& watch, std::uint64_t frames) {
  Stream small(driver, Header(kYuy2, 16, 16));
  Stream shared(driver, kSharedHeader);
  bool steady = true;
  for (const Direction& direction : kDirections) {
    for (Stream* const stream : {&small, &shared}) {
      const Instance instance(driver);
      Require(direction.begin(instance, stream->Header()) == ICERR_OK, "no context");
      std::printf("%s, %ld x %ld, frames: ", direction.name, stream->Header().biWidth,
                  stream->Header().biHeight);
      // A frame that threads share takes a multiple of the small one's time.
      steady = RunSteadily(watch, "frames", stream == &small ? frames : frames / 10,
                           [&] { (stream->*direction.frame)(instance); }) &&
               steady;
    }
  }
  return steady;
}

bool SoakCycles(const DriverModule& driver, const ResourceWatch& watch, std::uint64_t cycles) {
  Stream stream(driver, kSharedHeader);
  bool steady = true;
  for (const Direction& direction : kDirections) {
    std::printf("%s, begin, frame and end: ", direction.name);
    const Instance instance(driver);
    steady =
        RunSteadily(watch, "cycles", cycles,
                    [&] {
                      Require(direction.begin(instance, stream.Header()) == ICERR_OK, "no context");
                      (stream.*direction.frame)(instance);
                      Require(instance.Send(direction.end) == ICERR_OK, "no end");
                    }) &&
        steady;
  }
  return steady;
}

std::atomic<std::uint64_t> g_callersFaults = 0;
std::atomic<std::uint64_t> g_helpersFaults = 0;
DWORD g_caller = 0;

LONG CALLBACK CountFault(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
    ++(GetCurrentThreadId() == g_caller ? g_callersFaults : g_helpersFaults);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

bool SoakFaults(const DriverModule& driver, const ResourceWatch& watch, std::uint64_t faults) {
  Stream stream(driver, kSharedHeader);
  g_caller = GetCurrentThreadId();
  void* const handler = AddVectoredExceptionHandler(1, &CountFault);
  bool steady = true;
  for (const Direction& direction : kDirections) {
    GuardedBuffer bitmap(BitmapBytes(stream.Header()));
    const std::size_t pages = bitmap.Size() / kPage;
    Require(pages * kPage == bitmap.Size(), "the pages are not those of rows");
    const Instance instance(driver);
    Require(direction.begin(instance, stream.Header()) == ICERR_OK, "no context");
    g_callersFaults = 0;
    g_helpersFaults = 0;
    std::printf("%s, faults: ", direction.name);
    std::uint64_t frames = 0;
    steady = RunSteadily(watch, "faults", faults,
                         [&] {
                           const auto page = static_cast<std::size_t>(frames++ % pages);
                           const std::uint64_t before = g_callersFaults + g_helpersFaults;
                           bitmap.ProtectPage(page, GuardedBuffer::Access::none);
                           (stream.*direction.frameAt)(instance, bitmap.Data());
                           bitmap.ProtectPage(page, GuardedBuffer::Access::readWrite);
                           Require(g_callersFaults + g_helpersFaults > before, "no fault");
                         }) &&
             steady;
    std::printf("  on the calling thread %llu, on its helper %llu\n",
                static_cast<unsigned long long>(g_callersFaults.load()),
                static_cast<unsigned long long>(g_helpersFaults.load()));
    // As if nothing had been.
    (stream.*direction.frame)(instance);
  }
  RemoveVectoredExceptionHandler(handler);
  return steady;
}

bool Soak(std::uint64_t frames, std::uint64_t cycles, std::uint64_t faults) {
  const PreservedSettings settings;
  const DriverModule driver;
  const ProcessorCount processors(driver.Handle(), 2);
  const ResourceWatch watch(driver.Handle());
  const bool framesSteady = SoakFrames(driver, watch, frames);
  const bool cyclesSteady = SoakCycles(driver, watch, cycles);
  return SoakFaults(driver, watch, faults) && framesSteady && cyclesSteady &&
         watch.Held() == ResourceWatch::Holdings{};
}

}  // namespace

}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  std::uint64_t frames = 1000000;
  std::uint64_t cycles = 10000;
  std::uint64_t faults = 10000;
  // The utilities of the driver's tests report by GoogleTest.
  ::testing::InitGoogleTest();
  if (!qivm::test::ReadOptions(
          argumentCount, arguments,
          {{"--frames", frames}, {"--cycles", cycles}, {"--faults", faults}})) {
    return 2;
  }
  const bool steady = qivm::test::Soak(frames, cycles, faults);
  return steady && ::testing::UnitTest::GetInstance()->Passed() ? 0 : 1;
}
