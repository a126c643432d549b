#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"

namespace qivm::test {

namespace {

/// Large enough for three threads.
const BITMAPINFOHEADER kHeader = Header(kRgb32, 256, 192);

struct Direction {
  const char* name;
  LRESULT (*begin)(const Instance& instance, const BITMAPINFOHEADER& header);
  UINT end;
  LRESULT noContext;  // when the context itself cannot be allocated
  LRESULT noParts;    // when one of its parts cannot
};

class AllocationFailureTest : public DriverTest, public ::testing::WithParamInterface<Direction> {};

INSTANTIATE_TEST_SUITE_P(Directions, AllocationFailureTest,
                         ::testing::Values(Direction{"Compress", &BeginCompress, ICM_COMPRESS_END,
                                                     ICERR_INTERNAL, ICERR_BADFORMAT},
                                           Direction{"Decompress", &BeginDecompress,
                                                     ICM_DECOMPRESS_END, ICERR_BADFORMAT,
                                                     ICERR_ERROR}),
                         PixelFormatName());

TEST_P(AllocationFailureTest, EveryAllocationOfABegin) {
  const Direction& direction = GetParam();
  int neededAlone = 0;
  for (const DWORD processors : std::initializer_list<DWORD>{1, 3}) {
    const ProcessorCount count(driver_.Handle(), processors);
    HeapWatch heap(driver_.Handle());
    const ThreadWatch threads(driver_.Handle());
    const Instance instance(driver_);
    heap.Restart();
    ASSERT_EQ(direction.begin(instance, kHeader), ICERR_OK);
    const int allocations = heap.Allocations();
    ASSERT_EQ(threads.Started(), processors - 1);
    if (processors == 1) {
      neededAlone = allocations;
      ASSERT_GT(neededAlone, 2);
    } else {
      ASSERT_GT(allocations, neededAlone);
    }
    instance.Send(direction.end);
    EXPECT_EQ(heap.Outstanding(), 1) << "only the instance itself";

    for (int failing = 1; failing <= allocations; ++failing) {
      const std::size_t before = threads.Started();
      heap.Restart(failing);
      const LRESULT result = direction.begin(instance, kHeader);
      heap.Restart();
      if (failing > neededAlone) {
        // What further threads need may fail without failing the begin: then they are fewer.
        EXPECT_EQ(result, ICERR_OK) << failing;
        EXPECT_LT(threads.Started() - before, processors - 1) << failing;
      } else {
        EXPECT_EQ(result, failing == 1 ? direction.noContext : direction.noParts) << failing;
        EXPECT_EQ(heap.Outstanding(), 1) << failing;
        EXPECT_EQ(threads.Started(), before) << failing;
      }
      instance.Send(direction.end);
      EXPECT_EQ(heap.Outstanding(), 1) << failing;
    }
    EXPECT_EQ(direction.begin(instance, kHeader), ICERR_OK);
  }
}

TEST_P(AllocationFailureTest, AFailedBeginLeavesNoContext) {
  const Instance instance(driver_);
  HeapWatch heap(driver_.Handle());
  for (const int failing : {1, 2}) {
    heap.Restart();
    ASSERT_EQ(GetParam().begin(instance, kHeader), ICERR_OK);
    heap.Restart(failing);
    ASSERT_NE(GetParam().begin(instance, kHeader), ICERR_OK);
    EXPECT_EQ(instance.Send(ICM_COMPRESS, nullptr, sizeof(ICCOMPRESS)), ICERR_ERROR);
    EXPECT_EQ(instance.Send(ICM_DECOMPRESS, nullptr, sizeof(ICDECOMPRESS)), ICERR_ERROR);
  }
}

BOOL WINAPI NoLibrary(DWORD /*flags*/, LPCSTR /*address*/, HMODULE* library) {
  *library = nullptr;
  return FALSE;
}

TEST_P(AllocationFailureTest, ALibraryThatCannotBeKept) {
  HeapWatch heap(driver_.Handle());
  const Instance instance(driver_);
  {
    // A context that slept in code which the host may unload would end the host.
    const ImportHook refusal(driver_.Handle(), "GetModuleHandleExA",
                             reinterpret_cast<void*>(&NoLibrary));
    EXPECT_EQ(GetParam().begin(instance, kHeader), GetParam().noParts);
    EXPECT_EQ(heap.Outstanding(), 1) << "only the instance itself";
  }
  EXPECT_EQ(GetParam().begin(instance, kHeader), ICERR_OK);
}

TEST_F(DriverTest, FramesAllocateNothing) {
  HeapWatch heap(driver_.Handle());
  const Instance instance(driver_);
  const auto picture = MakePicture(kHeader);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  heap.Restart();
  for (int i = 0; i < 3; ++i) {
    Decompress(instance, kHeader, Compress(instance, kHeader, picture));
  }
  EXPECT_EQ(heap.Allocations(), 0);
}

TEST_F(DriverTest, NothingIsLeftAfterTheClose) {
  HeapWatch heap(driver_.Handle());
  for (int i = 0; i < 3; ++i) {
    Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    EXPECT_GT(heap.Outstanding(), 1);
    instance.Close();
    EXPECT_EQ(heap.Outstanding(), 0);
  }
}

}  // namespace

}  // namespace qivm::test
