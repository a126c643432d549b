#include <array>
#include <optional>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/process_resources.h"
#include "tests/driver/replaced_imports.h"
#include "tests/driver/resource_watch.h"

namespace qivm::test {

namespace {

/// Large enough for two threads.
const BITMAPINFOHEADER kHeader = Header(kYuy2, 256, 128);
constexpr ResourceWatch::Holdings kNothing = {};

/// The system that the driver meets.
struct System {
  const char* name;
  DWORD processors;
  bool waitsOnAddresses;
};

/// A host's use of the codec from open to close, in which Windows refuses the driver one call of
/// all those that can be refused: memory, events, threads, registry.
class ResourceFailureTest : public DriverTest, public ::testing::WithParamInterface<System> {
 protected:
  ResourceFailureTest() {
    if (!GetParam().waitsOnAddresses) {
      noAddressWaits_.emplace(driver_.Handle());
    }
  }

  /// Runs one step and says which of the step's own calls was refused, counted from 1; 0 for none.
  template <typename Step>
  int Refused(int failing, const Step& step) {
    const int before = resources_.Calls();
    step();
    return failing > before && failing <= resources_.Calls() ? failing - before : 0;
  }

  void RunStream(int failing);
  void CompressWithRefusal(int failing, const Instance& instance);
  void DecompressWithRefusal(int failing, const Instance& instance);

  std::optional<NoAddressWaits> noAddressWaits_;
  const ProcessorCount processors_{driver_.Handle(), GetParam().processors};
  const std::vector<std::uint8_t> picture_ = MakePicture(kHeader);
  const std::vector<std::uint8_t> frame_ = CompressAlone(driver_, kHeader, picture_);
  std::vector<std::uint8_t> decoded_;
  ResourceWatch resources_{driver_.Handle()};
};

INSTANTIATE_TEST_SUITE_P(Systems, ResourceFailureTest,
                         ::testing::Values(System{"OneProcessor", 1, true},
                                           System{"TwoProcessors", 2, true},
                                           System{"TwoProcessorsAndEvents", 2, false}),
                         PixelFormatName());

void ResourceFailureTest::CompressWithRefusal(int failing, const Instance& instance) {
  LRESULT result = ICERR_OK;
  const int refused = Refused(failing, [&] { result = BeginCompress(instance, kHeader); });
  if (refused == 0) {
    EXPECT_EQ(result, ICERR_OK);
  } else if (refused == 1) {
    EXPECT_EQ(result, ICERR_INTERNAL) << "the context";
  } else {
    // A second thread is not needed.
    EXPECT_TRUE(result == ICERR_BADFORMAT || (result == ICERR_OK && GetParam().processors > 1))
        << result;
  }
  if (result != ICERR_OK) {
    EXPECT_EQ(instance.Send(ICM_COMPRESS, nullptr, sizeof(ICCOMPRESS)), ICERR_ERROR);
    return;
  }
  EXPECT_EQ(Refused(failing, [&] { EXPECT_EQ(Compress(instance, kHeader, picture_), frame_); }), 0)
      << "a frame asks for nothing";
}

void ResourceFailureTest::DecompressWithRefusal(int failing, const Instance& instance) {
  LRESULT result = ICERR_OK;
  const int refused = Refused(failing, [&] { result = BeginDecompress(instance, kHeader); });
  if (refused == 0) {
    EXPECT_EQ(result, ICERR_OK);
  } else if (refused == 1) {
    EXPECT_EQ(result, ICERR_BADFORMAT) << "the context";
  } else {
    EXPECT_TRUE(result == ICERR_ERROR || (result == ICERR_OK && GetParam().processors > 1))
        << result;
  }
  if (result != ICERR_OK) {
    EXPECT_EQ(instance.Send(ICM_DECOMPRESS, nullptr, sizeof(ICDECOMPRESS)), ICERR_ERROR);
    return;
  }
  EXPECT_EQ(Refused(failing, [&] { EXPECT_EQ(Decompress(instance, kHeader, frame_), decoded_); }),
            0);
}

void ResourceFailureTest::RunStream(int failing) {
  resources_.Restart(failing);
  DWORD_PTR id = 0;
  const int refused = Refused(failing, [&] { id = driver_.Open(); });
  EXPECT_EQ(id == 0, refused == 1);
  if (id == 0) {
    return;
  }
  const Instance instance(driver_, id, Instance::Adopt());
  CompressWithRefusal(failing, instance);
  DecompressWithRefusal(failing, instance);
  // Again, on contexts that take the place of others.
  CompressWithRefusal(failing, instance);
  DecompressWithRefusal(failing, instance);
  EXPECT_EQ(Refused(failing,
                    [&] {
                      EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK);
                      EXPECT_EQ(instance.Send(ICM_DECOMPRESS_END), ICERR_OK);
                    }),
            0)
      << "an end asks for nothing";
}

TEST_P(ResourceFailureTest, EveryCallOfAStream) {
  {
    const Instance instance(driver_);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    decoded_ = Decompress(instance, kHeader, frame_);
  }
  RunStream(0);
  const int calls = resources_.Calls();
  ASSERT_GT(calls, 10);
  // What the system makes once for a process that is refused something is none of the driver's.
  RunStream(1);
  RunStream(0);
  const ProcessResources before = ProcessResources::Now();
  ASSERT_GT(before.handles, 0U);
  int reached = 0;
  for (int failing = 1; failing <= calls; ++failing) {
    SCOPED_TRACE(::testing::Message() << "call " << failing);
    RunStream(failing);
    reached += resources_.Calls() >= failing ? 1 : 0;
    ASSERT_EQ(resources_.Held(), kNothing);
    // As if nothing had been.
    RunStream(0);
    ASSERT_EQ(resources_.Held(), kNothing);
  }
  EXPECT_EQ(reached, calls);
  const ProcessResources after = ProcessResources::Now();
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.handles, before.handles);
}

}  // namespace

}  // namespace qivm::test
