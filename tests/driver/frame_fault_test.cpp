#include <algorithm>
#include <array>
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

const std::vector<std::string> kCompressFaultTexts = {"MPEG2Codec (Compress)",
                                                      ": exception while compressing\n"};

/// With one processor all work is the calling thread's, with two the lower half is the worker's.
class FrameFaultTest : public DriverTest, public ::testing::WithParamInterface<DWORD> {
 protected:
  FrameFaultTest()
      : picture_(MakePicture(header_)), frame_(CompressAlone(driver_, header_, picture_)) {
    EXPECT_EQ(BeginCompress(instance_, header_), ICERR_OK);
    EXPECT_EQ(BeginDecompress(instance_, header_), ICERR_OK);
    decoded_ = Decompress(instance_, header_, frame_);
  }

  void ExpectCompressFault(CompressCall& call) {
    call.flags = 0;
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_EQ(texts_.Take(), kCompressFaultTexts);
    EXPECT_EQ(call.flags, 0U);
    // The context is as good as before.
    EXPECT_EQ(Compress(instance_, header_, picture_), frame_);
    EXPECT_TRUE(texts_.Take().empty());
  }
  void ExpectDecompressFault(DecompressCall& call) {
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_TRUE(texts_.Take().empty());
    EXPECT_EQ(Decompress(instance_, header_, frame_), decoded_);
  }

  const BITMAPINFOHEADER header_ = Header(kRgb24, 128, 96);
  const std::size_t rowBytes_ = std::size_t{128} * 3;
  const ProcessorCount processors_{driver_.Handle(), GetParam()};
  std::vector<std::uint8_t> picture_;
  std::vector<std::uint8_t> frame_;
  std::vector<std::uint8_t> decoded_;
  DebugTexts texts_{driver_.Handle()};
  Instance instance_{driver_};
};

INSTANTIATE_TEST_SUITE_P(Processors, FrameFaultTest, ::testing::Values(1, 2),
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
  for (const std::size_t readable :
       std::initializer_list<std::size_t>{picture_.size() / 4, picture_.size() * 3 / 4}) {
    GuardedBuffer input(readable);
    input.Fill(std::span(picture_).first(readable));
    CompressCall call(header_);
    call.request.lpInput = input.Data();
    ExpectCompressFault(call);

    GuardedBuffer tail(readable, Edge::first);
    tail.Fill(std::span(picture_).last(readable));
    call.request.lpInput = tail.Data() - (picture_.size() - readable);
    ExpectCompressFault(call);
  }
}

TEST_P(FrameFaultTest, OutputThatCannotBeWritten) {
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  CompressCall call(header_);
  call.request.lpInput = input.Data();
  call.output.Protect(GuardedBuffer::Access::read);
  ExpectCompressFault(call);
}

TEST_P(FrameFaultTest, CompressWithBadPointers) {
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  GuardedBuffer unreadable(4096);
  unreadable.Protect(GuardedBuffer::Access::none);
  auto* const bad = unreadable.Data();
  const auto make = [&] {
    auto call = std::make_unique<CompressCall>(header_);
    call->request.lpInput = input.Data();
    return call;
  };
  auto call = make();
  for (void* const pointer : {static_cast<void*>(nullptr), static_cast<void*>(bad)}) {
    call = make();
    call->request.lpInput = pointer;
    ExpectCompressFault(*call);
    call = make();
    call->request.lpOutput = pointer;
    ExpectCompressFault(*call);
    call = make();
    call->request.lpbiInput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectCompressFault(*call);
    call = make();
    call->request.lpbiOutput = static_cast<BITMAPINFOHEADER*>(pointer);
    ExpectCompressFault(*call);
    EXPECT_EQ(instance_.Send(ICM_COMPRESS, pointer, sizeof(ICCOMPRESS)), ICERR_OK);
    EXPECT_EQ(texts_.Take(), kCompressFaultTexts);
  }
  call = make();
  call->request.lpdwFlags = reinterpret_cast<DWORD*>(bad);
  ExpectCompressFault(*call);
}

TEST_P(FrameFaultTest, AFrameInAnotherFormatThanTheBegunOne) {
  const BITMAPINFOHEADER other = Header(kRgb24, 256, 192);
  CompressCall call(header_);
  GuardedBuffer input(picture_.size());
  input.Fill(picture_);
  call.request.lpInput = input.Data();
  call.inputHeader = other;
  ExpectCompressFault(call);
}

TEST_P(FrameFaultTest, DecompressWithBadPointers) {
  GuardedBuffer unreadable(4096);
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
  for (const std::size_t writable :
       std::initializer_list<std::size_t>{decoded_.size() / 4, decoded_.size() * 3 / 4}) {
    GuardedBuffer output(writable);
    output.Fill(std::uint8_t{0});
    DecompressCall call(header_, frame_);
    call.request.lpOutput = output.Data();
    ExpectDecompressFault(call);

    GuardedBuffer tail(writable, Edge::first);
    tail.Fill(std::uint8_t{0});
    call.request.lpOutput = tail.Data() - (decoded_.size() - writable);
    ExpectDecompressFault(call);
  }
}

TEST_P(FrameFaultTest, AfterAFaultNothingTouchesTheHostsBuffers) {
  // The calling thread faults in its first rows, at the bitmap's end; the worker has the others.
  const std::size_t writable = decoded_.size() - 16 * rowBytes_;
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
