// Faults in the middle of a frame, on either thread: the frame ends, nothing of it goes on behind
// the caller's back, and the next frame is as if nothing had been.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 128;
constexpr int kRows = kHeight / 16;

/// The bytes of some whole macroblock rows.
std::size_t RowsBytes(ClientFormat format, int rows) {
  return BitmapBytes(format, kWidth, 16 * rows);
}

class DecoderFaultsTest : public testing::TestWithParam<unsigned> {
 protected:
  DecoderFaultsTest() {
    ModelDecode(picture_, ClientFormat::yuy2, kWidth, kHeight, expected_);
    ModelDecode(picture_, ClientFormat::rgb24, kWidth, kHeight, expectedRgb_);
  }
  const Bytes& ExpectedFor(ClientFormat format) const {
    return IsRgb(format) ? expectedRgb_ : expected_;
  }

  Decompressor Begin(ClientFormat format) const {
    return {format, kWidth, kHeight, {CpuClass::plain, GetParam()}};
  }
  bool Decode(Decompressor& decompressor, ClientFormat format, const void* input, std::size_t size,
              void* output, Order order = Order::plain) const {
    const BitmapInfoHeader inputFormat = CompressedHeader(kWidth, kHeight, size);
    BitmapInfoHeader outputFormat = UncompressedHeader(format, kWidth, kHeight);
    const DecompressFrame frame = {&inputFormat, input, &outputFormat, output};
    return order == Order::plain ? decompressor.Context().DecodeFrame(frame)
                                 : decompressor.Context().DecodeFrameShifted(frame);
  }
  void ExpectNextFrameRight(Decompressor& decompressor, ClientFormat format) const {
    ASSERT_TRUE(decompressor.Decode(stream_) == ExpectedFor(format));
    ASSERT_TRUE(decompressor.Sound());
  }

  const ModelPicture picture_ = FlatPicture(kWidth / 16, kRows);
  const Bytes stream_ = StreamOf(picture_);
  Bytes expected_ = Background(ClientFormat::yuy2, kWidth, kHeight);
  Bytes expectedRgb_ = Background(ClientFormat::rgb24, kWidth, kHeight);
};

TEST_P(DecoderFaultsTest, NullPointers) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
  for (const Order order : {Order::plain, Order::shifted}) {
    EXPECT_FALSE(
        Decode(decompressor, ClientFormat::yuy2, nullptr, stream_.size(), bitmap.data(), order));
    EXPECT_FALSE(
        Decode(decompressor, ClientFormat::yuy2, stream_.data(), stream_.size(), nullptr, order));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
  EXPECT_EQ(bitmap, Background(ClientFormat::yuy2, kWidth, kHeight));
}

TEST_P(DecoderFaultsTest, InputThatCannotBeRead) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  GuardedBuffer input(stream_);
  Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
  for (int round = 0; round < 20; ++round) {
    input.Protect(GuardedBuffer::Access::none);
    EXPECT_FALSE(
        Decode(decompressor, ClientFormat::yuy2, input.Data(), input.Size(), bitmap.data()));
    EXPECT_EQ(bitmap, Background(ClientFormat::yuy2, kWidth, kHeight));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

// The host says more bytes than there are: the frame is decoded up to where memory ends.
TEST_P(DecoderFaultsTest, InputThatEndsEarly) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  const GuardedBuffer input(std::span<const std::uint8_t>(stream_).first(stream_.size() * 3 / 4));
  for (const std::size_t size : {stream_.size(), 2 * stream_.size(), std::size_t{1000000}}) {
    Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
    EXPECT_FALSE(Decode(decompressor, ClientFormat::yuy2, input.Data(), size, bitmap.data()));
    const auto top = static_cast<std::ptrdiff_t>(RowsBytes(ClientFormat::yuy2, 2));
    EXPECT_TRUE(std::equal(bitmap.begin(), bitmap.begin() + top, expected_.begin()));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

TEST_P(DecoderFaultsTest, BitmapThatCannotBeWritten) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Decompressor decompressor = Begin(format);
    GuardedBuffer bitmap(BitmapBytes(format, kWidth, kHeight));
    for (const auto access : {GuardedBuffer::Access::none, GuardedBuffer::Access::read}) {
      bitmap.Protect(access);
      EXPECT_FALSE(Decode(decompressor, format, stream_.data(), stream_.size(), bitmap.Data()));
      ExpectNextFrameRight(decompressor, format);
    }
  }
}

// The top rows lie where they can be written, the bottom ones behind the end of memory. With a
// worker these are its rows, and the calling thread's come out right.
TEST_P(DecoderFaultsTest, LowerPartOfTheBitmapIsMissing) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  for (int round = 0; round < 20; ++round) {
    const GuardedBuffer bitmap(RowsBytes(ClientFormat::yuy2, kRows - 1));
    EXPECT_FALSE(
        Decode(decompressor, ClientFormat::yuy2, stream_.data(), stream_.size(), bitmap.Data()));
    EXPECT_TRUE(std::equal(bitmap.Bytes().begin(), bitmap.Bytes().end(), expected_.begin()));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

// Bottom-up, the top rows are the last in memory: the calling thread faults at once. A worker still
// completes its rows before the frame's call returns.
TEST_P(DecoderFaultsTest, UpperPartOfTheBitmapIsMissing) {
  Decompressor decompressor = Begin(ClientFormat::rgb24);
  for (int round = 0; round < 50; ++round) {
    const GuardedBuffer bitmap(
        std::span<const std::uint8_t>(Background(ClientFormat::rgb24, kWidth, kHeight))
            .first(RowsBytes(ClientFormat::rgb24, kRows - 1)));
    EXPECT_FALSE(
        Decode(decompressor, ClientFormat::rgb24, stream_.data(), stream_.size(), bitmap.Data()));
    if (GetParam() > 1) {
      // The split is at or near the middle; the last three rows are the worker's in any case.
      const auto workers = static_cast<std::ptrdiff_t>(RowsBytes(ClientFormat::rgb24, 3));
      EXPECT_TRUE(
          std::equal(expectedRgb_.begin(), expectedRgb_.begin() + workers, bitmap.Bytes().begin()));
    }
    ExpectNextFrameRight(decompressor, ClientFormat::rgb24);
  }
}

TEST_P(DecoderFaultsTest, ShiftedFormCopiesNothingAfterAFault) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  ModelPicture faulty = picture_;
  faulty.intraVlcFormat = 0;
  const Bytes background = Background(ClientFormat::yuy2, kWidth, kHeight);
  EXPECT_TRUE(decompressor.Decode(StreamOf(faulty), Order::shifted) == background);
  EXPECT_FALSE(decompressor.Sound());
  ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
}

TEST_P(DecoderFaultsTest, ShiftedFormIntoABitmapThatCannotBeWritten) {
  // The copy swallows its own fault.
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  GuardedBuffer bitmap(BitmapBytes(ClientFormat::yuy2, kWidth, kHeight));
  bitmap.Protect(GuardedBuffer::Access::none);
  EXPECT_TRUE(Decode(decompressor, ClientFormat::yuy2, stream_.data(), stream_.size(),
                     bitmap.Data(), Order::shifted));
  ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
}

// Table B-14 is not offered: the frame ends at its first block, with every bit before it.
TEST_P(DecoderFaultsTest, PictureWithTableZero) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  ModelPicture faulty = picture_;
  faulty.intraVlcFormat = 0;
  const Bytes stream = StreamOf(faulty);
  for (int round = 0; round < 50; ++round) {
    EXPECT_TRUE(decompressor.Decode(stream) == Background(ClientFormat::yuy2, kWidth, kHeight));
    EXPECT_FALSE(decompressor.Sound());
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, DecoderFaultsTest, testing::Values(1U, 2U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

class EncoderFaultsTest : public testing::TestWithParam<unsigned> {
 protected:
  Compressor Begin(ClientFormat format) const {
    return {format, kWidth, kHeight, {CpuClass::plain, GetParam()}};
  }
  /// Codes a frame that must fail and leave header and flags alone.
  void ExpectFault(Compressor& compressor, ClientFormat format, const void* input, void* output,
                   Order order = Order::plain) const {
    const BitmapInfoHeader inputFormat = UncompressedHeader(format, kWidth, kHeight);
    BitmapInfoHeader outputFormat = CompressedHeader(kWidth, kHeight, 12345);
    outputFormat.biClrUsed = 5;
    std::uint32_t flags = 0;
    const CompressFrame frame = {&outputFormat, output, &inputFormat, input, &flags, 8000};
    EXPECT_FALSE(order == Order::plain ? compressor.Context().EncodeFrame(frame)
                                       : compressor.Context().EncodeFrameShifted(frame));
    EXPECT_EQ(outputFormat.biSizeImage, 12345U);
    EXPECT_EQ(outputFormat.biClrUsed, 5U);
    EXPECT_EQ(flags, 0U);
    const Bytes bitmap = NaturalBitmap(format, kWidth, kHeight, 181);
    EXPECT_TRUE(
        compressor.Encode(bitmap, 8000) ==
        ModelEncode(format, kWidth, kHeight, bitmap, 2, GetParam() > 1 ? Parts::two : Parts::one));
  }
};

TEST_P(EncoderFaultsTest, NullPointers) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 181);
  Bytes output(std::size_t{kWidth} * kHeight * 3);
  for (const Order order : {Order::plain, Order::shifted}) {
    ExpectFault(compressor, ClientFormat::yuy2, nullptr, output.data(), order);
    ExpectFault(compressor, ClientFormat::yuy2, bitmap.data(), nullptr, order);
  }
  const BitmapInfoHeader inputFormat = UncompressedHeader(ClientFormat::yuy2, kWidth, kHeight);
  BitmapInfoHeader outputFormat = CompressedHeader(kWidth, kHeight);
  EXPECT_FALSE(compressor.Context().EncodeFrame(
      {nullptr, output.data(), &inputFormat, bitmap.data(), nullptr, 8000}));
  EXPECT_FALSE(compressor.Context().EncodeFrame(
      {&outputFormat, output.data(), nullptr, bitmap.data(), nullptr, 8000}));
}

// With a worker, the lower half of a top-down bitmap is the worker's, and that of a bottom-up one
// the calling thread's.
TEST_P(EncoderFaultsTest, InputThatEndsEarly) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Compressor compressor = Begin(format);
    const Bytes bitmap = NaturalBitmap(format, kWidth, kHeight, 181);
    const GuardedBuffer half(std::span<const std::uint8_t>(bitmap).first(bitmap.size() / 2));
    Bytes output(std::size_t{kWidth} * kHeight * 3);
    for (int round = 0; round < 20; ++round) {
      ExpectFault(compressor, format, half.Data(), output.data(),
                  round % 4 == 3 ? Order::shifted : Order::plain);
    }
  }
}

TEST_P(EncoderFaultsTest, InputThatCannotBeRead) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Compressor compressor = Begin(format);
    GuardedBuffer bitmap(NaturalBitmap(format, kWidth, kHeight, 181));
    bitmap.Protect(GuardedBuffer::Access::none);
    Bytes output(std::size_t{kWidth} * kHeight * 3);
    for (int round = 0; round < 10; ++round) {
      ExpectFault(compressor, format, bitmap.Data(), output.data());
    }
  }
}

TEST_P(EncoderFaultsTest, OutputThatCannotBeWritten) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 181);
  GuardedBuffer output(std::size_t{kWidth} * kHeight * 3);
  for (const auto access : {GuardedBuffer::Access::none, GuardedBuffer::Access::read}) {
    output.Protect(access);
    ExpectFault(compressor, ClientFormat::yuy2, bitmap.data(), output.Data());
  }
}

TEST_P(EncoderFaultsTest, OutputThatEndsEarly) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NoiseBitmap(ClientFormat::yuy2, kWidth, kHeight, 182);
  const GuardedBuffer output(4000);
  for (int round = 0; round < 10; ++round) {
    ExpectFault(compressor, ClientFormat::yuy2, bitmap.data(), output.Data());
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, EncoderFaultsTest, testing::Values(1U, 2U),
                         [](const testing::TestParamInfo<unsigned>& count) {
                           return std::to_string(count.param);
                         });

}  // namespace

}  // namespace qivm::test
