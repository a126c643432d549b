#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

using Texts = std::vector<std::string>;

const Texts kCompressFaultTexts = {"MPEG2Codec (Compress)", ": exception while compressing\n"};
const Texts kCompressRefusalTexts = {"MPEG2Codec (Compress)",
                                     ": frame refused, not of the format begun\n"};

/// On one processor all work is the calling thread's, on several any row can be any thread's. What
/// a fault leaves does not depend on that.
class FrameFaultTest : public DriverTest, public ::testing::WithParamInterface<DWORD> {
 protected:
  FrameFaultTest()
      : picture_(MakePicture(header_)), frame_(CompressAlone(driver_, header_, picture_)) {
    EXPECT_EQ(BeginCompress(instance_, header_), ICERR_OK);
    EXPECT_EQ(BeginDecompress(instance_, header_), ICERR_OK);
    decoded_ = Decompress(instance_, header_, frame_);
  }

  /// Sends a frame that is not coded, and after it one that is.
  void ExpectNotCompressed(CompressCall& call, const Texts& texts) {
    call.flags = 0;
    const BITMAPINFOHEADER header = call.outputHeader;
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_EQ(texts_.Take(), texts);
    EXPECT_EQ(call.flags, 0U);
    EXPECT_EQ(std::memcmp(&call.outputHeader, &header, sizeof(header)), 0);
    ExpectCompresses();
  }
  void ExpectCompressFault(CompressCall& call) { ExpectNotCompressed(call, kCompressFaultTexts); }
  void ExpectCompresses() {
    EXPECT_EQ(Compress(instance_, header_, picture_), frame_);
    EXPECT_TRUE(texts_.Take().empty());
  }
  void ExpectDecompressFault(DecompressCall& call, const Texts& texts = {}) {
    // What the end of a frame would change.
    call.outputHeader.biPlanes = 77;
    call.outputHeader.biClrUsed = 78;
    const BITMAPINFOHEADER header = call.outputHeader;
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_EQ(texts_.Take(), texts);
    EXPECT_EQ(std::memcmp(&call.outputHeader, &header, sizeof(header)), 0);
    EXPECT_EQ(Decompress(instance_, header_, frame_), decoded_);
  }

  // Large enough for eight threads; a row of macroblocks is some pages.
  static constexpr LONG kWidth = 512;
  static constexpr std::size_t kRows = 16;
  static constexpr std::size_t kRowBytes = 16 * std::size_t{kWidth} * 3;
  static constexpr std::size_t kPagesOfRow = kRowBytes / GuardedBuffer::kPage;
  static_assert(kPagesOfRow * GuardedBuffer::kPage == kRowBytes);

  /// Rows of macroblocks, in the order of memory.
  struct Part {
    std::size_t first;
    std::size_t count;
  };
  static constexpr Part kMissingParts[] = {
      {0, kRows / 4}, {0, 3 * kRows / 4}, {kRows / 4, 3 * kRows / 4}, {3 * kRows / 4, kRows / 4}};
  static void Block(GuardedBuffer& bitmap, const Part& part) {
    for (std::size_t page = 0; page < part.count * kPagesOfRow; ++page) {
      bitmap.ProtectPage(part.first * kPagesOfRow + page, GuardedBuffer::Access::none);
    }
  }

  const BITMAPINFOHEADER header_ = Header(kRgb24, kWidth, 16 * LONG{kRows});
  const ProcessorCount processors_{driver_.Handle(), GetParam()};
  std::vector<std::uint8_t> picture_;
  std::vector<std::uint8_t> frame_;
  std::vector<std::uint8_t> decoded_;
  DebugTexts texts_{driver_.Handle()};
  Instance instance_{driver_};
};

INSTANTIATE_TEST_SUITE_P(Processors, FrameFaultTest, ::testing::Values(1, 2, 8),
                         ::testing::PrintToStringParamName());

TEST_P(FrameFaultTest, InputThatCannotBeRead) {
  GuardedBuffer input(picture_.size());
  input.Protect(GuardedBuffer::Access::none);
  CompressCall call(header_);
  call.request.lpInput = input.Data();
  ExpectCompressFault(call);
}

TEST_P(FrameFaultTest, InputThatCanBeReadInPartOnly) {
  // Bottom-up: the first bytes are the picture's last lines.
  for (const Part& part : kMissingParts) {
    GuardedBuffer input(picture_.size());
    input.Fill(picture_);
    Block(input, part);
    CompressCall call(header_);
    call.request.lpInput = input.Data();
    ExpectCompressFault(call);
  }
}

TEST_P(FrameFaultTest, OneRowThatCannotBeRead) {
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  CompressCall call(header_);
  call.request.lpInput = input.Data();
  for (std::size_t row = 0; row < kRows; ++row) {
    const std::size_t page = row * kPagesOfRow + row % kPagesOfRow;
    input.ProtectPage(page, GuardedBuffer::Access::none);
    ExpectCompressFault(call);
    input.ProtectPage(page, GuardedBuffer::Access::read);
  }
}

TEST_P(FrameFaultTest, OutputThatCannotBeWritten) {
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  CompressCall call(header_);
  call.request.lpInput = input.Data();
  call.output.Protect(GuardedBuffer::Access::read);
  ExpectCompressFault(call);
  const GuardedBuffer half(frame_.size() / 2);
  call.request.lpOutput = half.Data();
  ExpectCompressFault(call);
}

TEST_P(FrameFaultTest, CompressWithBadPointers) {
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  GuardedBuffer unreadable(picture_.size());
  unreadable.Protect(GuardedBuffer::Access::none);
  auto* const bad = unreadable.Data();
  const auto make = [&] {
    auto call = std::make_unique<CompressCall>(header_);
    call->request.lpInput = input.Data();
    return call;
  };
  auto call = make();
  for (void* const pointer : {static_cast<void*>(nullptr), static_cast<void*>(bad)}) {
    // A pointer that is missing is seen, one that leads nowhere is followed.
    const Texts& texts = pointer == nullptr ? kCompressRefusalTexts : kCompressFaultTexts;
    call = make();
    call->request.lpInput = pointer;
    ExpectNotCompressed(*call, texts);
    call = make();
    call->request.lpOutput = pointer;
    ExpectNotCompressed(*call, texts);
    call = make();
    call->request.lpbiInput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectNotCompressed(*call, texts);
    call = make();
    call->request.lpbiOutput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectNotCompressed(*call, texts);
    EXPECT_EQ(instance_.Send(ICM_COMPRESS, pointer, sizeof(ICCOMPRESS)), ICERR_OK);
    EXPECT_EQ(texts_.Take(), texts);
  }
  call = make();
  call->request.lpdwFlags = reinterpret_cast<DWORD*>(bad);
  ExpectNotCompressed(*call, kCompressFaultTexts);
  ExpectCompresses();
}

TEST_P(FrameFaultTest, AFrameInAnotherFormatThanTheBegunOne) {
  const BITMAPINFOHEADER other = Header(kRgb24, 1024, 256);
  CompressCall call(header_);
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  call.request.lpInput = input.Data();
  call.inputHeader = other;
  ExpectNotCompressed(call, kCompressRefusalTexts);

  DecompressCall decompress(header_, frame_);
  for (const BITMAPINFOHEADER& header : {other, Header(kRgb32, kWidth, 256)}) {
    decompress.outputHeader = header;
    ExpectDecompressFault(decompress);
    EXPECT_TRUE(std::ranges::all_of(decompress.output.Bytes(),
                                    [](std::uint8_t byte) { return byte == 0; }));
  }
}

TEST_P(FrameFaultTest, DecompressWithBadPointers) {
  GuardedBuffer unreadable(picture_.size());
  unreadable.Protect(GuardedBuffer::Access::none);
  for (void* const pointer : {static_cast<void*>(nullptr), static_cast<void*>(unreadable.Data())}) {
    DecompressCall input(header_, frame_);
    input.request.lpInput = pointer;
    ExpectDecompressFault(input);
    DecompressCall output(header_, frame_);
    output.request.lpOutput = pointer;
    ExpectDecompressFault(output);
    DecompressCall inputHeader(header_, frame_);
    inputHeader.request.lpbiInput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectDecompressFault(inputHeader);
    DecompressCall outputHeader(header_, frame_);
    outputHeader.request.lpbiOutput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectDecompressFault(outputHeader);
    EXPECT_EQ(instance_.Send(ICM_DECOMPRESS, pointer, sizeof(ICDECOMPRESS)), ICERR_OK);
  }
}

TEST_P(FrameFaultTest, AStreamThatCanBeReadInPartOnly) {
  DecompressCall call(header_, std::span(frame_).first(frame_.size() / 2));
  call.inputHeader.biSizeImage = static_cast<DWORD>(frame_.size());
  ExpectDecompressFault(call);
}

TEST_P(FrameFaultTest, ABitmapThatCanBeWrittenInPartOnly) {
  for (const Part& part : kMissingParts) {
    DecompressCall call(header_, frame_);
    Block(call.output, part);
    ExpectDecompressFault(call);
  }
}

TEST_P(FrameFaultTest, OneRowThatCannotBeWritten) {
  for (std::size_t row = 0; row < kRows; ++row) {
    const std::size_t page = row * kPagesOfRow + row % kPagesOfRow;
    DecompressCall call(header_, frame_);
    call.output.ProtectPage(page, GuardedBuffer::Access::none);
    ExpectDecompressFault(call);
    call.output.Protect(GuardedBuffer::Access::read);
    // All other rows are there.
    const auto got = call.output.Bytes();
    const auto wanted = std::span(decoded_);
    EXPECT_TRUE(std::ranges::equal(got.first(row * kRowBytes), wanted.first(row * kRowBytes)));
    EXPECT_TRUE(std::ranges::equal(got.subspan((row + 1) * kRowBytes),
                                   wanted.subspan((row + 1) * kRowBytes)));
  }
}

/// The first thread that faults is kept there until another one faults too.
std::atomic<DWORD> g_firstToFault = 0;
std::atomic<bool> g_anotherFaulted = false;

LONG CALLBACK HoldTheFirst(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
    constexpr ULONGLONG kPatience = 10000;
    DWORD first = 0;
    if (!g_firstToFault.compare_exchange_strong(first, GetCurrentThreadId()) &&
        first != GetCurrentThreadId()) {
      g_anotherFaulted = true;
    }
    const ULONGLONG begin = GetTickCount64();
    while (!g_anotherFaulted && GetTickCount64() - begin < kPatience) {
      Sleep(1);
    }
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST_P(FrameFaultTest, OnSeveralThreadsAtOnce) {
  GuardedBuffer nothing(picture_.size());
  nothing.Protect(GuardedBuffer::Access::none);
  CompressCall compress(header_);
  compress.request.lpInput = nothing.Data();
  DecompressCall decompress(header_, frame_);
  decompress.request.lpOutput = nothing.Data();
  void* const handler = AddVectoredExceptionHandler(1, &HoldTheFirst);
  for (int i = 0; i < 10; ++i) {
    for (const bool compressing : {true, false}) {
      g_firstToFault = 0;
      // One thread waits for nobody.
      g_anotherFaulted = GetParam() == 1;
      if (compressing) {
        ExpectCompressFault(compress);
      } else {
        ExpectDecompressFault(decompress);
      }
      EXPECT_NE(g_firstToFault, 0U);
      EXPECT_TRUE(g_anotherFaulted);
    }
  }
  RemoveVectoredExceptionHandler(handler);
}

TEST_P(FrameFaultTest, AFrameThatIsTurnedAway) {
  // intra_vlc_format is in the fourth byte of the picture coding extension.
  constexpr std::array<std::uint8_t, 5> kExtension = {0, 0, 1, 0xB5, 0x8F};
  constexpr std::ptrdiff_t kPlace = 4 + 3;
  constexpr std::uint8_t kIntraVlcFormat = 0x08;
  auto frame = frame_;
  const auto extension =
      std::search(frame.begin(), frame.end(), kExtension.begin(), kExtension.end());
  ASSERT_GT(frame.end() - extension, kPlace);
  ASSERT_NE(extension[kPlace] & kIntraVlcFormat, 0);
  extension[kPlace] &= static_cast<std::uint8_t>(~kIntraVlcFormat);
  DecompressCall call(header_, frame);
  ExpectDecompressFault(call, {"USING TABLE ZERO\n"});
  EXPECT_TRUE(
      std::ranges::all_of(call.output.Bytes(), [](std::uint8_t byte) { return byte == 0; }));
}

TEST_P(FrameFaultTest, AfterAFaultNothingTouchesTheHostsBuffers) {
  // Bottom-up: the first rows are the ones that fault, while others are being drawn.
  const std::size_t writable = decoded_.size() - kRowBytes;
  GuardedBuffer output(writable);
  DecompressCall call(header_, frame_);
  call.request.lpOutput = output.Data();
  for (int i = 0; i < 50; ++i) {
    output.Fill(std::uint8_t{0});
    ASSERT_EQ(call.Send(instance_), ICERR_OK);
    const std::vector<std::uint8_t> after(output.Data(), output.Data() + output.Size());
    SwitchToThread();
    ASSERT_TRUE(std::ranges::equal(output.Bytes(), after));
  }
}

TEST_P(FrameFaultTest, ChangedFieldsToo) {
  std::array<DWORD, 274> state = {};
  ASSERT_EQ(instance_.Send(ICM_GETSTATE, &state, sizeof(state)), ICERR_OK);
  state[1] = 1;
  ASSERT_EQ(instance_.Send(ICM_SETSTATE, &state, sizeof(state)), LRESULT{sizeof(state)});
  frame_ = Compress(instance_, header_, picture_);
  decoded_ = Decompress(instance_, header_, frame_);
  GuardedBuffer unreadable(picture_.size());
  unreadable.Protect(GuardedBuffer::Access::none);
  CompressCall compress(header_);
  compress.request.lpInput = unreadable.Data();
  const ICCOMPRESS compressRequest = compress.request;
  ExpectCompressFault(compress);
  EXPECT_TRUE(SameRequest(compress.request, compressRequest));
  DecompressCall decompress(header_, frame_);
  decompress.request.lpOutput = unreadable.Data();
  const ICDECOMPRESS decompressRequest = decompress.request;
  ExpectDecompressFault(decompress);
  EXPECT_TRUE(SameRequest(decompress.request, decompressRequest));
}

}  // namespace

}  // namespace qivm::test
