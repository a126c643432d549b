#include <algorithm>
#include <array>
#include <cstring>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

class CompressFrameTest : public DriverTest, public ::testing::WithParamInterface<PixelFormat> {
 protected:
  Instance instance_{driver_};
};

INSTANTIATE_TEST_SUITE_P(Formats, CompressFrameTest, ::testing::ValuesIn(kPixelFormats),
                         PixelFormatName());

TEST_P(CompressFrameTest, TheSameBytesAtAnyAddress) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  const auto picture = MakePicture(header);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  const auto reference = Compress(instance_, header, picture);
  for (const Edge edge : {Edge::first, Edge::last}) {
    for (const std::size_t offset : std::initializer_list<std::size_t>{0, 1, 2, 4, 8, 16, 32, 64}) {
      GuardedBuffer input(picture.size(), edge, offset);
      input.Fill(picture);
      input.Protect(GuardedBuffer::Access::read);
      CompressCall call(header, offset);
      call.request.lpInput = input.Data();
      EXPECT_EQ(call.Send(instance_), ICERR_OK);
      EXPECT_EQ(call.Frame(), reference) << "at offset " << offset;
      EXPECT_TRUE(call.output.GapsIntact());
    }
  }
}

TEST_P(CompressFrameTest, TheSameBytesOnRepeatedCallsAndAfterOtherPictures) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  const auto first = MakePicture(header, 1);
  const auto second = MakePicture(header, 2);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  const auto reference = Compress(instance_, header, first);
  EXPECT_EQ(Compress(instance_, header, first), reference);
  EXPECT_NE(Compress(instance_, header, second), reference);
  EXPECT_EQ(Compress(instance_, header, first), reference);
}

using CompressCallTest = CompressFrameTest;
INSTANTIATE_TEST_SUITE_P(Rgb, CompressCallTest, ::testing::Values(kRgb24), PixelFormatName());

TEST_P(CompressCallTest, ResultsInTheHostsStructures) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  auto picture = MakePicture(header);
  CompressCall call(header);
  call.request.lpInput = picture.data();
  call.outputHeader.biPlanes = 9;
  call.outputHeader.biClrUsed = 9;
  call.outputHeader.biClrImportant = 9;
  call.flags = 0x100;
  BITMAPINFOHEADER expected = call.outputHeader;
  const BITMAPINFOHEADER input = call.inputHeader;
  const ICCOMPRESS request = call.request;
  EXPECT_EQ(call.Send(instance_), ICERR_OK);
  expected.biSizeImage = call.outputHeader.biSizeImage;
  expected.biPlanes = 1;
  expected.biClrUsed = 0;
  expected.biClrImportant = 0;
  EXPECT_GT(call.outputHeader.biSizeImage, 0U);
  EXPECT_EQ(std::memcmp(&call.outputHeader, &expected, sizeof(expected)), 0);
  EXPECT_EQ(std::memcmp(&call.inputHeader, &input, sizeof(input)), 0);
  EXPECT_TRUE(SameRequest(call.request, request));
  EXPECT_EQ(call.flags, 0x100U | AVIIF_KEYFRAME);
  EXPECT_EQ(call.chunkId, 0x12345678U);
}

TEST_P(CompressCallTest, TheFlagsAreOptional) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  auto picture = MakePicture(header);
  CompressCall call(header);
  call.request.lpInput = picture.data();
  call.request.lpdwFlags = nullptr;
  call.request.lpckid = nullptr;
  EXPECT_EQ(call.Send(instance_), ICERR_OK);
  EXPECT_EQ(call.Frame(), Compress(instance_, header, picture));
}

TEST_P(CompressCallTest, TheFramesQualityCounts) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  const auto picture = MakePicture(header);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  const auto at = [&](DWORD quality) { return Compress(instance_, header, picture, quality); };
  EXPECT_EQ(at(8000), at(8999));
  EXPECT_EQ(at(9000), at(10000));
  EXPECT_EQ(at(0), at(499));
  EXPECT_EQ(at(10000), at(20000));
  EXPECT_NE(at(499), at(500));
  EXPECT_NE(at(7999), at(8000));
  EXPECT_LT(at(0).size(), at(5000).size());
  EXPECT_LT(at(5000).size(), at(10000).size());
}

TEST_P(CompressCallTest, TheDefaultRequestMeansTheInstancesQuality) {
  const BITMAPINFOHEADER header = Header(GetParam(), 64, 48);
  const auto picture = MakePicture(header);
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  constexpr auto kDefault = static_cast<DWORD>(ICQUALITY_DEFAULT);
  EXPECT_EQ(Compress(instance_, header, picture, kDefault),
            Compress(instance_, header, picture, 8000));
  DWORD quality = 3000;
  instance_.Send(ICM_SETQUALITY, &quality);
  EXPECT_EQ(Compress(instance_, header, picture, kDefault),
            Compress(instance_, header, picture, 3000));
  EXPECT_NE(Compress(instance_, header, picture, 8000), Compress(instance_, header, picture, 3000));
}

TEST_P(CompressCallTest, NoiseFitsWhatTheHostWasPromised) {
  const BITMAPINFOHEADER header = Header(GetParam(), 128, 128);
  std::vector<std::uint8_t> noise(BitmapBytes(header));
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < noise.size(); i += 3) {
    state = state * 1664525 + 1013904223;
    std::fill_n(noise.begin() + static_cast<std::ptrdiff_t>(i), 3,
                static_cast<std::uint8_t>((state >> 31) * 255));
  }
  ASSERT_EQ(BeginCompress(instance_, header), ICERR_OK);
  // The call's output ends at an inaccessible page.
  const auto frame = Compress(instance_, header, noise, 10000);
  EXPECT_LE(frame.size(), 128U * 128 * 3);
  const auto end = std::span(frame).last(4);
  constexpr std::array<std::uint8_t, 4> kSequenceEnd = {0, 0, 1, 0xB7};
  EXPECT_TRUE(std::search(frame.end() - 8, frame.end(), kSequenceEnd.begin(), kSequenceEnd.end()) !=
              frame.end())
      << int{end[0]} << ' ' << int{end[1]} << ' ' << int{end[2]} << ' ' << int{end[3]};
}

}  // namespace

}  // namespace qivm::test
