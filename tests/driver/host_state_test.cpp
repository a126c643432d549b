#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/guarded_buffer.h"
#include "tests/driver/pictures.h"

namespace qivm::test {

namespace {

const BITMAPINFOHEADER kHeader = Header(kRgb32, 128, 96);

/// The x87 environment as fnstenv stores it.
struct X87Environment {
  std::uint16_t control;
  std::uint16_t reserved1;
  std::uint16_t status;
  std::uint16_t reserved2;
  std::uint16_t tags;
  std::uint16_t reserved3;
  std::array<std::uint32_t, 4> pointers;
};

X87Environment StoredX87() {
  X87Environment environment;
  __asm__ volatile("fnstenv %0\n\tfldenv %0" : "=m"(environment));
  return environment;
}

void LoadX87Control(std::uint16_t control) { __asm__ volatile("fldcw %0" : : "m"(control)); }

std::uint32_t StoredMxcsr() {
  std::uint32_t value = 0;
  __asm__ volatile("stmxcsr %0" : "=m"(value));
  return value;
}

void LoadMxcsr(std::uint32_t value) { __asm__ volatile("ldmxcsr %0" : : "m"(value)); }

constexpr std::uint16_t kAllTagsEmpty = 0xFFFF;

/// Runs a call under unusual floating-point settings and checks that it leaves them, and no MMX
/// register in use.
template <typename Call>
void ExpectStateKept(const Call& call) {
  // Single precision towards zero; SSE towards zero and flushing to zero.
  constexpr std::uint16_t kControl = 0x0C7F;
  constexpr std::uint32_t kMxcsr = 0xFF80;
  const std::uint16_t usualControl = StoredX87().control;
  const std::uint32_t usualMxcsr = StoredMxcsr();
  LoadX87Control(kControl);
  LoadMxcsr(kMxcsr);
  call();
  const X87Environment environment = StoredX87();
  const std::uint32_t mxcsr = StoredMxcsr();
  LoadX87Control(usualControl);
  LoadMxcsr(usualMxcsr);
  // The status bits are sticky and any floating-point code may set them.
  constexpr std::uint32_t kStatusBits = 0x3F;
  EXPECT_EQ(environment.control, kControl);
  EXPECT_EQ(environment.tags, kAllTagsEmpty);
  EXPECT_EQ(mxcsr & ~kStatusBits, kMxcsr & ~kStatusBits);
}

using HostStateTest = DriverTest;

TEST_F(HostStateTest, IsKeptByEveryStepOfAFrame) {
  const auto picture = MakePicture(kHeader);
  const auto reference = CompressAlone(driver_, kHeader, picture);
  const Instance instance(driver_);
  ExpectStateKept([&] { EXPECT_EQ(BeginCompress(instance, kHeader), ICERR_OK); });
  ExpectStateKept([&] { EXPECT_EQ(BeginDecompress(instance, kHeader), ICERR_OK); });

  std::vector<std::uint8_t> input = picture;
  CompressCall compress(kHeader);
  compress.request.lpInput = input.data();
  ExpectStateKept([&] { EXPECT_EQ(compress.Send(instance), ICERR_OK); });
  EXPECT_EQ(compress.Frame(), reference);

  const auto decoded = Decompress(instance, kHeader, reference);
  DecompressCall decompress(kHeader, reference);
  ExpectStateKept([&] { EXPECT_EQ(decompress.Send(instance), ICERR_OK); });
  EXPECT_TRUE(std::ranges::equal(decompress.output.Bytes(), decoded));

  ExpectStateKept([&] { EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK); });
  ExpectStateKept([&] { EXPECT_EQ(instance.Send(ICM_DECOMPRESS_END), ICERR_OK); });
}

TEST_F(HostStateTest, IsKeptByAFault) {
  const auto frame = CompressAlone(driver_, kHeader, MakePicture(kHeader));
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  // Half of each bitmap, so that the kernels are at work when the fault comes.
  GuardedBuffer half(BitmapBytes(kHeader) / 2, Edge::first);
  auto* const bitmap = half.Data() - half.Size();
  CompressCall compress(kHeader);
  compress.request.lpInput = bitmap;
  ExpectStateKept([&] { EXPECT_EQ(compress.Send(instance), ICERR_OK); });
  EXPECT_EQ(compress.outputHeader.biSizeImage, 0U);
  DecompressCall decompress(kHeader, frame);
  decompress.request.lpOutput = bitmap;
  ExpectStateKept([&] { EXPECT_EQ(decompress.Send(instance), ICERR_OK); });
}

TEST_F(HostStateTest, AFrameEndsWithNoMmxRegisterInUse) {
  auto picture = MakePicture(kHeader);
  const auto frame = CompressAlone(driver_, kHeader, picture);
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  CompressCall compress(kHeader);
  compress.request.lpInput = picture.data();
  DecompressCall decompress(kHeader, frame);
  // As after kernels that use MMX, whichever kernels this processor gets.
  const auto tagsAfter = [](const auto& call) {
    __asm__ volatile("pxor %mm0, %mm0");
    call();
    return StoredX87().tags;
  };
  EXPECT_EQ(tagsAfter([&] { compress.Send(instance); }), kAllTagsEmpty);
  EXPECT_EQ(tagsAfter([&] { decompress.Send(instance); }), kAllTagsEmpty);
  __asm__ volatile("emms");
}

#ifndef _WIN64
TEST_F(HostStateTest, AFrameLeavesNoExceptionHandlerBehind) {
  const auto frame = CompressAlone(driver_, kHeader, MakePicture(kHeader));
  const Instance instance(driver_);
  ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
  const auto chain = [] {
    void* first = nullptr;
    __asm__ volatile("movl %%fs:0, %0" : "=r"(first));
    return first;
  };
  void* const before = chain();
  DecompressCall call(kHeader, frame);
  EXPECT_EQ(call.Send(instance), ICERR_OK);
  EXPECT_EQ(chain(), before);
  call.request.lpOutput = nullptr;
  EXPECT_EQ(call.Send(instance), ICERR_OK);
  EXPECT_EQ(chain(), before);
}
#endif

}  // namespace

}  // namespace qivm::test
