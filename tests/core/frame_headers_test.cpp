// The headers of a frame, byte by byte.

#include <algorithm>
#include <gtest/gtest.h>

#include "encoder/header_writer.h"
#include "tests/core/codec_runs.h"
#include "tests/support/model_stream.h"

namespace qivm::test {

namespace {

Bytes HeadersOf(int width, int height) {
  Bytes headers(kFrameHeaderBytes);
  BitWriter writer(headers);
  WriteFrameHeaders(writer, width, height);
  EXPECT_EQ(writer.BytesWritten(), kFrameHeaderBytes);
  return headers;
}

constexpr std::size_t kUserDataOffset = 12 + 12 + 12 + 8 + 4;
constexpr std::size_t kUserDataBytes = 48;

// 720x576. Written out by hand from the fields:
TEST(FrameHeaders, ByteByByte) {
  const Bytes headers = HeadersOf(720, 576);
  const Bytes beforeText = {
      // Sequence header: 720 = 0x2D0, 576 = 0x240; aspect ratio 2, frame rate 3; bit rate 125000 =
      // 0x1E848 in 18 bits, marker, vbv buffer 373 = 0x175 in 10 bits, three zero flags.
      0x00, 0x00, 0x01, 0xB3, 0x2D, 0x02, 0x40, 0x23, 0x7A, 0x12, 0x2B, 0xA8,
      // Sequence extension: id 1, profile 0x85, interlaced, 4:2:2, no size extensions, no bit rate
      // extension, marker, zeros.
      0x00, 0x00, 0x01, 0xB5, 0x18, 0x54, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
      // Sequence display extension: id 2, video format 5 with colour description: 5, 5, 4; 720 in
      // 14 bits, marker, 576 in 14 bits, three stuffing bits.
      0x00, 0x00, 0x01, 0xB5, 0x2B, 0x05, 0x05, 0x04, 0x0B, 0x42, 0x12, 0x00,
      // Group of pictures: time code zero with its marker, closed, not broken.
      0x00, 0x00, 0x01, 0xB8, 0x00, 0x08, 0x00, 0x40,
      // User data.
      0x00, 0x00, 0x01, 0xB2};
  const Bytes afterText = {
      // Picture header: temporal reference 0, type 1, vbv delay 0xFFFF, no extra bit.
      0x00, 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFF, 0xF8,
      // Picture coding extension: id 8, four f_codes of 15, 11 bits DC, frame picture, top field
      // first, frame_pred_frame_dct 0, no concealment, non-linear scale, Table B-15, zig-zag scan,
      // zeros.
      0x00, 0x00, 0x01, 0xB5, 0x8F, 0xFF, 0xFF, 0x98, 0x00, 0x00, 0x00, 0x00};
  ASSERT_EQ(headers.size(), beforeText.size() + kUserDataBytes + afterText.size());
  ASSERT_EQ(beforeText.size(), kUserDataOffset);
  EXPECT_EQ(Bytes(headers.begin(), headers.begin() + kUserDataOffset), beforeText);
  EXPECT_EQ(Bytes(headers.begin() + kUserDataOffset + kUserDataBytes, headers.end()), afterText);
}

TEST(FrameHeaders, CreatorText) {
  const Bytes headers = HeadersOf(720, 576);
  const auto first = headers.begin() + kUserDataOffset;
  const std::string text(first, first + kUserDataBytes - 1);
  EXPECT_EQ(text.size(), 47U);
  EXPECT_TRUE(std::all_of(text.begin(), text.end(),
                          [](char character) { return character >= ' ' && character <= '~'; }));
  EXPECT_NE(text.find("Norvane"), std::string::npos);
  EXPECT_NE(text.find('@'), std::string::npos);
  EXPECT_EQ(headers[kUserDataOffset + kUserDataBytes - 1], 0);
  EXPECT_EQ(text, kCreatorText);
}

TEST(FrameHeaders, SizesOfEveryKind) {
  for (const auto& [width, height] : {std::pair{16, 16}, std::pair{2048, 2048}, std::pair{2048, 16},
                                      std::pair{16, 2048}, std::pair{1440, 1088}}) {
    ModelPicture picture;
    picture.width = width;
    picture.height = height;
    BitString expected;
    PutHeaders(expected, picture);
    EXPECT_EQ(HeadersOf(width, height), expected.AlignTo(4).Bytes()) << width << "x" << height;
  }
}

// The smallest frame, whole: grey at 128 in every component.
TEST(FrameHeaders, SmallestFrame) {
  Compressor compressor(ClientFormat::yuy2, 16, 16, Processors(1));
  const Bytes stream = compressor.Encode(Bytes(512, 128), 8000);
  Bytes expected = HeadersOf(16, 16);
  BitString slice;
  slice.PutStartCode(0x101);
  slice.Put("00010 1 1 0000000 0");  // code 2, intra_slice_flag, intra_slice, reserved, no extra
  slice.Put("0 1 1");                // no increment, intra, field DCT
  for (int block = 0; block < 4; ++block) {
    slice.Put("100 0110");  // no difference to 1024
  }
  for (int block = 4; block < 8; ++block) {
    slice.Put("00 0110");
  }
  slice.PutStartCode(0x1B7);
  expected.insert(expected.end(), slice.Bytes().begin(), slice.Bytes().end());
  EXPECT_EQ(stream, expected);
}

}  // namespace

}  // namespace qivm::test
