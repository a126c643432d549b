#include <windows.h>

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"
#include "tests/support/guarded_buffer.h"
#ifndef _WIN64
#include "tests/driver/call_at_stack_offset.h"
#endif

namespace qivm::test {

namespace {

/// The smallest stack that Windows reserves for a thread. The fiber of the test has more, so that
/// what is used can be measured.
constexpr std::size_t kSmallStackBytes = 65536;
constexpr std::size_t kFiberStackBytes = 4 * kSmallStackBytes;
constexpr std::uint8_t kUnusedByte = 0xC3;

/// What a host does on its small stack, and what it got. Everything that the calls need is made
/// before, everything is looked at afterwards: only the driver shall use the stack.
struct HostCalls {
  const DriverModule* driver;
  unsigned offset;  // of the stack pointer from a multiple of 16
  BITMAPINFOHEADER* bitmap;
  BITMAPINFOHEADER* stream;
  CompressCall* compress;
  DecompressCall* decompress;
  std::span<std::uint8_t> inaccessible;
  void* hostFiber;

  std::size_t used = 0;  // of the stack, in bytes
  std::array<LRESULT, 12> results = {};

  LRESULT Send(DWORD_PTR id, UINT message, Parameter parameter1 = 0, Parameter parameter2 = 0) {
#ifdef _WIN64
    // 64-bit callers keep the stack aligned.
    return driver->Send(id, message, parameter1, parameter2);
#else
    const LPARAM arguments[] = {static_cast<LPARAM>(id), 0, static_cast<LPARAM>(message),
                                parameter1.Value(), parameter2.Value()};
    return QivmCallAtStackOffset(driver->Function(), offset, arguments);
#endif
  }

  void SendAll() {
    ICOPEN open = {};
    open.fccHandler = kQivmCode;
    const auto id = static_cast<DWORD_PTR>(Send(0, DRV_OPEN, 0, &open));
    ICINFO info = {};
    std::size_t at = 0;
    results[at++] = Send(id, ICM_GETINFO, &info, sizeof(info));
    results[at++] = Send(id, ICM_COMPRESS_QUERY, bitmap, stream);
    results[at++] = Send(id, ICM_DECOMPRESS_QUERY, stream, bitmap);
    results[at++] = Send(id, ICM_COMPRESS_BEGIN, bitmap, stream);
    results[at++] = Send(id, ICM_DECOMPRESS_BEGIN, stream, bitmap);
    // A fault in each direction before the frame whose result counts.
    void* const picture = compress->request.lpInput;
    compress->request.lpInput = inaccessible.data();
    results[at++] = Send(id, ICM_COMPRESS, &compress->request, sizeof(ICCOMPRESS));
    compress->request.lpInput = picture;
    results[at++] = Send(id, ICM_COMPRESS, &compress->request, sizeof(ICCOMPRESS));
    void* const output = decompress->request.lpOutput;
    decompress->request.lpOutput = inaccessible.data();
    results[at++] = Send(id, ICM_DECOMPRESS, &decompress->request, sizeof(ICDECOMPRESS));
    decompress->request.lpOutput = output;
    results[at++] = Send(id, ICM_DECOMPRESS, &decompress->request, sizeof(ICDECOMPRESS));
    results[at++] = Send(id, ICM_COMPRESS_END);
    results[at++] = Send(id, ICM_DECOMPRESS_END);
    results[at++] = Send(id, DRV_CLOSE);
  }

  static void CALLBACK Run(LPVOID self) {
    auto& calls = *static_cast<HostCalls*>(self);
    // What lies below this function is filled, and how deep it was written is found afterwards.
    auto* const here = static_cast<std::uint8_t*>(__builtin_frame_address(0));
    constexpr std::size_t kOwnBytes = 2048;
    const std::span<std::uint8_t> below(here - kFiberStackBytes / 2,
                                        kFiberStackBytes / 2 - kOwnBytes);
    std::ranges::fill(below, kUnusedByte);
    calls.SendAll();
    const auto deepest =
        std::ranges::find_if(below, [](std::uint8_t byte) { return byte != kUnusedByte; });
    calls.used = static_cast<std::size_t>(here - &*deepest);
    SwitchToFiber(calls.hostFiber);
  }
};

/// Hosts start threads with as little stack as they think is enough, and before their compilers
/// kept the stack pointer aligned it was a multiple of 4. A fiber stands for such a thread: its
/// stack is the test's to look at.
class SmallStackTest : public DriverTest, public ::testing::WithParamInterface<unsigned> {};

#ifdef _WIN64
INSTANTIATE_TEST_SUITE_P(Offsets, SmallStackTest, ::testing::Values(0),
                         ::testing::PrintToStringParamName());
#else
INSTANTIATE_TEST_SUITE_P(Offsets, SmallStackTest, ::testing::Values(0, 4, 8, 12),
                         ::testing::PrintToStringParamName());
#endif

TEST_P(SmallStackTest, EveryCallOfAStream) {
  for (const PixelFormat& format : kPixelFormats) {
    if (format.compression == kY16ACode) {
      continue;  // not decompressed to
    }
    SCOPED_TRACE(format.name);
    for (const DWORD count : std::initializer_list<DWORD>{1, 2}) {
      const ProcessorCount processors(driver_.Handle(), count);
      BITMAPINFOHEADER header = Header(format, 256, 128);
      BITMAPINFOHEADER stream = CompressedHeader(256, 128);
      auto picture = MakePicture(header);
      const auto frame = CompressAlone(driver_, header, picture);
      const Instance reference(driver_);
      ASSERT_EQ(BeginDecompress(reference, header), ICERR_OK);
      const auto decoded = Decompress(reference, header, frame);

      GuardedBuffer wall(picture.size());
      wall.Protect(GuardedBuffer::Access::none);
      CompressCall compress(header);
      compress.request.lpInput = picture.data();
      DecompressCall decompress(header, frame);
      HostCalls calls = {&driver_,  GetParam(),  &header,      &stream,
                         &compress, &decompress, wall.Bytes(), ConvertThreadToFiber(nullptr)};
      ASSERT_NE(calls.hostFiber, nullptr);
      void* const fiber =
          CreateFiberEx(kFiberStackBytes, kFiberStackBytes, 0, &HostCalls::Run, &calls);
      ASSERT_NE(fiber, nullptr);
      SwitchToFiber(fiber);
      DeleteFiber(fiber);
      ConvertFiberToThread();

      // Half is left for the host itself.
      EXPECT_LE(calls.used, kSmallStackBytes / 2);
      EXPECT_GT(calls.used, 4096U) << "the measurement is wrong";
      RecordProperty("stack", static_cast<int>(calls.used));
      EXPECT_EQ(calls.results,
                (std::array<LRESULT, 12>{sizeof(ICINFO), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
      EXPECT_EQ(compress.Frame(), frame);
      EXPECT_TRUE(std::ranges::equal(decompress.output.Bytes(), decoded));
    }
  }
}

}  // namespace

}  // namespace qivm::test
