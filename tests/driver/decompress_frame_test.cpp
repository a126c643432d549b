#include <algorithm>
#include <cstring>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

/// For every format that is decompressed to.
class DecompressFrameTest : public DriverTest, public ::testing::WithParamInterface<PixelFormat> {
 protected:
  BITMAPINFOHEADER Format(LONG width = 64, LONG height = 48) const {
    return Header(GetParam(), width, height);
  }

  Instance instance_{driver_};
};

INSTANTIATE_TEST_SUITE_P(Formats, DecompressFrameTest,
                         ::testing::ValuesIn(kPixelFormats, std::end(kPixelFormats) - 1),
                         PixelFormatName());

TEST_P(DecompressFrameTest, RoundTrip) {
  for (const auto& [width, height] :
       {std::pair{16, 16}, {64, 48}, {16, 128}, {176, 16}, {720, 576}}) {
    const BITMAPINFOHEADER header = Format(width, height);
    const auto picture = MakePicture(header);
    ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
    ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
    const auto decoded = Decompress(instance_, header, Compress(instance_, header, picture));
    EXPECT_GT(Psnr(header, picture, decoded), GetParam().compression == BI_RGB ? 32.0 : 40.0)
        << width << 'x' << height;
  }
}

TEST_P(DecompressFrameTest, TheSamePictureAtAnyAddress) {
  const BITMAPINFOHEADER header = Format();
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  const auto reference = Decompress(instance_, header, frame);
  for (const std::size_t offset : std::initializer_list<std::size_t>{0, 1, 2, 4, 8, 16, 32, 64}) {
    DecompressCall call(header, frame, offset);
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_TRUE(std::ranges::equal(call.output.Bytes(), reference)) << "at offset " << offset;
    EXPECT_TRUE(call.output.GapsIntact());
    EXPECT_TRUE(call.input.GapsIntact());
    EXPECT_TRUE(std::ranges::equal(call.input.Bytes(), frame));

    GuardedBuffer firstEdge(call.output.Size(), Edge::first, offset);
    firstEdge.Fill(std::uint8_t{0});
    GuardedBuffer firstInput(frame.size(), Edge::first, offset);
    firstInput.Fill(frame);
    call.request.lpOutput = firstEdge.Data();
    call.request.lpInput = firstInput.Data();
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_TRUE(std::ranges::equal(firstEdge.Bytes(), reference)) << "at offset " << offset;
    EXPECT_TRUE(firstEdge.GapsIntact());
  }
}

TEST_P(DecompressFrameTest, TheFieldsAreExchangedInBothDirections) {
  const BITMAPINFOHEADER header = Format();
  const auto picture = MakePicture(header);
  // Compressing moves the picture up by a line, decompressing moves it down again.
  const auto plain = CompressAlone(driver_, header, picture);
  std::array<DWORD, 274> state = {};
  ASSERT_EQ(instance_.Send(ICM_GETSTATE, &state, sizeof(state)), ICERR_OK);
  state[1] = 1;
  ASSERT_EQ(instance_.Send(ICM_SETSTATE, &state, sizeof(state)), LRESULT{sizeof(state)});
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  const auto moved = Compress(instance_, header, picture);
  EXPECT_NE(moved, plain);
  EXPECT_GT(Psnr(header, picture, Decompress(instance_, header, moved)), 30.0);

  // A plain stream comes out one line lower, its last line on top.
  const auto lowered = Decompress(instance_, header, plain);
  const Instance plainInstance(driver_);
  ASSERT_EQ(BeginDecompress(plainInstance, header), ICERR_OK);
  auto expected = Decompress(plainInstance, header, plain);
  const auto line = static_cast<std::ptrdiff_t>(expected.size() / 48);
  if (header.biCompression == BI_RGB) {
    std::rotate(expected.begin(), expected.begin() + line, expected.end());
  } else {
    std::rotate(expected.begin(), expected.end() - line, expected.end());
  }
  EXPECT_EQ(lowered, expected);
}

TEST_P(DecompressFrameTest, AFrameOfSizeZeroLeavesTheOutput) {
  const BITMAPINFOHEADER header = Format();
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  for (const DWORD fieldOrder : std::initializer_list<DWORD>{0, 1}) {
    std::array<DWORD, 274> state = {};
    ASSERT_EQ(instance_.Send(ICM_GETSTATE, &state, sizeof(state)), ICERR_OK);
    state[1] = fieldOrder;
    ASSERT_EQ(instance_.Send(ICM_SETSTATE, &state, sizeof(state)), LRESULT{sizeof(state)});
    DecompressCall call(header, frame);
    call.output.Fill(std::uint8_t{0x77});
    call.inputHeader.biSizeImage = 0;
    EXPECT_EQ(call.Send(instance_), ICERR_OK);
    EXPECT_TRUE(std::ranges::all_of(call.output.Bytes(), [](auto byte) { return byte == 0x77; }));
  }
}

TEST_P(DecompressFrameTest, EveryPrefixOfAFrameEndsWell) {
  const BITMAPINFOHEADER header = Format(32, 32);
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  const auto reference = Decompress(instance_, header, frame);
  for (std::size_t size = 1; size < frame.size(); size += size < 200 ? 1 : 37) {
    DecompressCall call(header, std::span(frame).first(size));
    EXPECT_EQ(call.Send(instance_), ICERR_OK) << size;
    EXPECT_TRUE(call.output.GapsIntact()) << size;
  }
  EXPECT_EQ(Decompress(instance_, header, frame), reference);
}

using DecompressCallTest = DecompressFrameTest;
INSTANTIATE_TEST_SUITE_P(Rgb32, DecompressCallTest, ::testing::Values(kRgb32), PixelFormatName());

TEST_P(DecompressCallTest, ResultsInTheHostsStructures) {
  const BITMAPINFOHEADER header = Format();
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  DecompressCall call(header, frame);
  call.outputHeader.biSize = 99;
  call.outputHeader.biPlanes = 9;
  call.outputHeader.biClrUsed = 9;
  call.outputHeader.biClrImportant = 9;
  const BITMAPINFOHEADER input = call.inputHeader;
  const ICDECOMPRESS request = call.request;
  EXPECT_EQ(call.Send(instance_), ICERR_OK);
  EXPECT_EQ(std::memcmp(&call.outputHeader, &header, sizeof(header)), 0);
  EXPECT_EQ(std::memcmp(&call.inputHeader, &input, sizeof(input)), 0);
  EXPECT_TRUE(SameRequest(call.request, request));
}

TEST_P(DecompressCallTest, TheUnusedByteOfAPixelKeepsWhatItHeld) {
  const BITMAPINFOHEADER header = Format();
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  DecompressCall call(header, frame);
  call.output.Fill(std::uint8_t{0x77});
  EXPECT_EQ(call.Send(instance_), ICERR_OK);
  for (std::size_t i = 3; i < call.output.Size(); i += 4) {
    ASSERT_EQ(call.output.Bytes()[i], 0x77) << i;
  }
}

TEST_P(DecompressCallTest, StreamsOfAllListedCodesAreDecompressed) {
  const BITMAPINFOHEADER header = Format();
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  ASSERT_EQ(BeginDecompress(instance_, header), ICERR_OK);
  const auto reference = Decompress(instance_, header, frame);
  const BITMAPINFOHEADER stream = CompressedHeader(64, 48, kMmesCode);
  ASSERT_EQ(instance_.Send(ICM_DECOMPRESS_BEGIN, &stream, &header), ICERR_OK);
  EXPECT_EQ(Decompress(instance_, header, frame), reference);
}

}  // namespace

}  // namespace qivm::test
