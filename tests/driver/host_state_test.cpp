#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

const BITMAPINFOHEADER kHeader = Header(kRgb32, 256, 128);

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

/// The direction flag, which is clear between calls.
bool StringsRunBackwards() {
  std::uintptr_t flags = 0;
  __asm__ volatile("pushf\n\tpop %0" : "=r"(flags) : : "memory");
  constexpr std::uintptr_t kDirection = 0x400;
  return (flags & kDirection) != 0;
}

constexpr std::uint16_t kAllTagsEmpty = 0xFFFF;

/// Runs a call under unusual floating-point settings and checks that it leaves them, no MMX
/// register in use and strings running forwards.
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
  const bool backwards = StringsRunBackwards();
  const X87Environment environment = StoredX87();
  const std::uint32_t mxcsr = StoredMxcsr();
  LoadX87Control(usualControl);
  LoadMxcsr(usualMxcsr);
  // The status bits are sticky and any floating-point code may set them.
  constexpr std::uint32_t kStatusBits = 0x3F;
  EXPECT_FALSE(backwards);
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

TEST_F(HostStateTest, IsKeptByEveryOtherMessage) {
  DWORD_PTR id = 0;
  ExpectStateKept([&] { id = driver_.Open(); });
  ASSERT_NE(id, 0U);
  const BITMAPINFOHEADER stream = CompressedHeader(256, 128);
  ICINFO info = {};
  BITMAPINFOHEADER suggested = {};
  std::array<std::uint8_t, 1096> bytes = {};
  const auto expectKept = [&](UINT message, Parameter parameter1, Parameter parameter2) {
    SCOPED_TRACE(message);
    ExpectStateKept([&] { EXPECT_GE(driver_.Send(id, message, parameter1, parameter2), 0); });
  };
  expectKept(ICM_GETINFO, &info, sizeof(info));
  expectKept(ICM_GETSTATE, bytes.data(), sizeof(bytes));
  expectKept(ICM_SETSTATE, bytes.data(), sizeof(bytes));
  expectKept(ICM_COMPRESS_QUERY, &kHeader, &stream);
  expectKept(ICM_COMPRESS_GET_FORMAT, &kHeader, bytes.data());
  expectKept(ICM_COMPRESS_GET_SIZE, &kHeader, nullptr);
  expectKept(ICM_DECOMPRESS_QUERY, &stream, &kHeader);
  expectKept(ICM_DECOMPRESS_GET_FORMAT, &stream, &suggested);
  expectKept(ICM_CONFIGURE, LPARAM{-1}, nullptr);
  expectKept(DRV_LOAD, nullptr, nullptr);
  expectKept(DRV_CLOSE, nullptr, nullptr);
  ExpectStateKept([&] { driver_.Reload(); });
}

TEST_F(HostStateTest, IsKeptByAFault) {
  const auto frame = CompressAlone(driver_, kHeader, MakePicture(kHeader));
  for (const DWORD count : std::initializer_list<DWORD>{1, 2}) {
    const ProcessorCount processors(driver_.Handle(), count);
    const Instance instance(driver_);
    ASSERT_EQ(BeginCompress(instance, kHeader), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance, kHeader), ICERR_OK);
    // Half of each bitmap, so that the kernels are at work when the fault comes: with two
    // processors on the one thread or the other.
    GuardedBuffer half(BitmapBytes(kHeader));
    for (std::uint8_t* const blocked : {half.Data(), half.Data() + half.Size() / 2}) {
      half.Protect(GuardedBuffer::Access::readWrite);
      DWORD before = 0;
      ASSERT_NE(VirtualProtect(blocked, half.Size() / 2, PAGE_NOACCESS, &before), FALSE);
      CompressCall compress(kHeader);
      compress.request.lpInput = half.Data();
      ExpectStateKept([&] { EXPECT_EQ(compress.Send(instance), ICERR_OK); });
      EXPECT_EQ(compress.outputHeader.biSizeImage, 0U);
      DecompressCall decompress(kHeader, frame);
      decompress.request.lpOutput = half.Data();
      ExpectStateKept([&] { EXPECT_EQ(decompress.Send(instance), ICERR_OK); });
    }
  }
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
