// Faults in the middle of a frame, on whichever thread: the frame ends, nothing of it goes on
// behind the caller's back, what it leaves does not depend on the number of threads, and the next
// frame is as if nothing had been.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

constexpr int kWidth = 128;
constexpr int kHeight = 128;
constexpr int kRows = kHeight / 16;

/// The bytes of some whole macroblock rows. One of YUY2 takes a page.
std::size_t RowsBytes(ClientFormat format, int rows) {
  return BitmapBytes(format, kWidth, 16 * rows);
}
static_assert(GuardedBuffer::kPage == std::size_t{kWidth} * 16 * 2);

std::string CountName(const testing::TestParamInfo<unsigned>& count) {
  return std::to_string(count.param);
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
    return {format, kWidth, kHeight, Processors(GetParam())};
  }
  FrameOutcome Decode(Decompressor& decompressor, ClientFormat format, const void* input,
                      std::size_t size, void* output, Order order = Order::plain) const {
    const BitmapInfoHeader inputFormat = CompressedHeader(kWidth, kHeight, size);
    BitmapInfoHeader outputFormat = UncompressedHeader(format, kWidth, kHeight);
    outputFormat.biPlanes = 5;
    const DecompressFrame frame = {&inputFormat, input, &outputFormat, output};
    const FrameOutcome outcome = order == Order::plain
                                     ? decompressor.Context().DecodeFrame(frame)
                                     : decompressor.Context().DecodeFrameShifted(frame);
    EXPECT_EQ(outputFormat.biPlanes, outcome == FrameOutcome::done ? 1 : 5);
    return outcome;
  }
  FrameOutcome DecodeInto(Decompressor& decompressor, ClientFormat format, void* output,
                          Order order = Order::plain) const {
    return Decode(decompressor, format, stream_.data(), stream_.size(), output, order);
  }
  void ExpectNextFrameRight(Decompressor& decompressor, ClientFormat format) const {
    ASSERT_TRUE(decompressor.Decode(stream_) == ExpectedFor(format));
    ASSERT_EQ(decompressor.Outcome(), FrameOutcome::done);
  }

  const ModelPicture picture_ = FlatPicture(kWidth / 16, kRows);
  const Bytes stream_ = StreamOf(picture_);
  Bytes expected_ = Background(ClientFormat::yuy2, kWidth, kHeight);
  Bytes expectedRgb_ = Background(ClientFormat::rgb24, kWidth, kHeight);
};

TEST_P(DecoderFaultsTest, NullPointersAreRefused) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
  const BitmapInfoHeader inputFormat = CompressedHeader(kWidth, kHeight, stream_.size());
  BitmapInfoHeader outputFormat = UncompressedHeader(ClientFormat::yuy2, kWidth, kHeight);
  for (int missing = 0; missing < 4; ++missing) {
    const DecompressFrame frame = {
        missing == 0 ? nullptr : &inputFormat, missing == 1 ? nullptr : stream_.data(),
        missing == 2 ? nullptr : &outputFormat, missing == 3 ? nullptr : bitmap.data()};
    EXPECT_EQ(decompressor.Context().DecodeFrame(frame), FrameOutcome::refused);
    EXPECT_EQ(decompressor.Context().DecodeFrameShifted(frame), FrameOutcome::refused);
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
    EXPECT_EQ(Decode(decompressor, ClientFormat::yuy2, input.Data(), input.Size(), bitmap.data()),
              FrameOutcome::faulted);
    EXPECT_EQ(bitmap, Background(ClientFormat::yuy2, kWidth, kHeight));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

// The host says more bytes than there are: where the slices lie is not known, and nothing is drawn.
TEST_P(DecoderFaultsTest, InputThatEndsEarly) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  const GuardedBuffer input(std::span<const std::uint8_t>(stream_).first(stream_.size() * 3 / 4));
  for (const std::size_t size : {stream_.size(), 2 * stream_.size(), std::size_t{1000000},
                                 std::size_t{0x90000000}, std::size_t{0xFFFFFFFF}}) {
    Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
    EXPECT_EQ(Decode(decompressor, ClientFormat::yuy2, input.Data(), size, bitmap.data()),
              FrameOutcome::faulted);
    EXPECT_EQ(bitmap, Background(ClientFormat::yuy2, kWidth, kHeight));
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

// The host says more bytes than there are, but the frame is all there: what lies behind its end is
// not looked at.
TEST_P(DecoderFaultsTest, InputThatEndsWithTheFrame) {
  Random random(43);
  for (int round = 0; round < 30; ++round) {
    const ModelPicture picture = RandomPicture(random, kWidth / 16, kRows);
    const Bytes stream = StreamOf(picture);
    Bytes expected = Background(ClientFormat::yuy2, kWidth, kHeight);
    ModelDecode(picture, ClientFormat::yuy2, kWidth, kHeight, expected);
    Decompressor decompressor = Begin(ClientFormat::yuy2);
    const GuardedBuffer input(stream);
    for (const std::size_t size : {2 * stream.size(), std::size_t{0xFFFFFFFF}}) {
      Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
      EXPECT_EQ(Decode(decompressor, ClientFormat::yuy2, input.Data(), size, bitmap.data()),
                FrameOutcome::done);
      EXPECT_TRUE(bitmap == expected) << round;
    }
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

TEST_P(DecoderFaultsTest, BitmapThatCannotBeWritten) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Decompressor decompressor = Begin(format);
    GuardedBuffer bitmap(BitmapBytes(format, kWidth, kHeight));
    for (const auto access : {GuardedBuffer::Access::none, GuardedBuffer::Access::read}) {
      for (const Order order : {Order::plain, Order::shifted}) {
        bitmap.Protect(access);
        EXPECT_EQ(DecodeInto(decompressor, format, bitmap.Data(), order), FrameOutcome::faulted);
        ExpectNextFrameRight(decompressor, format);
      }
    }
  }
}

// All rows but one lie where they can be written: they come out right.
TEST_P(DecoderFaultsTest, OneRowOfTheBitmapIsMissing) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  for (std::size_t missing = 0; missing < std::size_t{kRows}; ++missing) {
    for (int round = 0; round < 5; ++round) {
      GuardedBuffer bitmap(Background(ClientFormat::yuy2, kWidth, kHeight));
      bitmap.ProtectPage(missing, GuardedBuffer::Access::none);
      EXPECT_EQ(DecodeInto(decompressor, ClientFormat::yuy2, bitmap.Data()), FrameOutcome::faulted);
      bitmap.Protect(GuardedBuffer::Access::read);
      Bytes expected = expected_;
      const Bytes background = Background(ClientFormat::yuy2, kWidth, kHeight);
      const auto hole = static_cast<std::ptrdiff_t>(missing * GuardedBuffer::kPage);
      std::copy_n(background.begin() + hole, GuardedBuffer::kPage, expected.begin() + hole);
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bitmap.Bytes().begin())) << missing;
      ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
    }
  }
}

// Bottom-up, the top row is the last in memory, and with nothing behind the buffer only that row
// faults.
TEST_P(DecoderFaultsTest, UpperPartOfTheBitmapIsMissing) {
  Decompressor decompressor = Begin(ClientFormat::rgb24);
  const std::size_t size = RowsBytes(ClientFormat::rgb24, kRows - 1);
  for (int round = 0; round < 50; ++round) {
    const GuardedBuffer bitmap(size);
    EXPECT_EQ(DecodeInto(decompressor, ClientFormat::rgb24, bitmap.Data()), FrameOutcome::faulted);
    EXPECT_TRUE(std::equal(bitmap.Bytes().begin(), bitmap.Bytes().end(), expectedRgb_.begin()));
    ExpectNextFrameRight(decompressor, ClientFormat::rgb24);
  }
}

/// What is left of a frame in a bitmap of which some pages cannot be written.
Bytes DecodedAroundHoles(unsigned processors, ClientFormat format, Order order, const Bytes& stream,
                         const std::vector<std::size_t>& holes) {
  Decompressor decompressor(format, kWidth, kHeight, Processors(processors));
  GuardedBuffer bitmap(Background(format, kWidth, kHeight));
  for (const std::size_t hole : holes) {
    bitmap.ProtectPage(hole, GuardedBuffer::Access::read);
  }
  const BitmapInfoHeader inputFormat = CompressedHeader(kWidth, kHeight, stream.size());
  BitmapInfoHeader outputFormat = UncompressedHeader(format, kWidth, kHeight);
  const DecompressFrame frame = {&inputFormat, stream.data(), &outputFormat, bitmap.Data()};
  EXPECT_EQ(order == Order::plain ? decompressor.Context().DecodeFrame(frame)
                                  : decompressor.Context().DecodeFrameShifted(frame),
            FrameOutcome::faulted);
  return {bitmap.Bytes().begin(), bitmap.Bytes().end()};
}

// Pages end inside of rows and macroblocks: how much of a row a fault leaves undone is the same
// whatever thread decodes it and whatever it decodes beside.
TEST(FaultsOnSeveralThreads, LeaveTheSamePixels) {
  const Bytes stream = StreamOf(FlatPicture(kWidth / 16, kRows));
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24, ClientFormat::rgb32}) {
    for (const Order order : {Order::plain, Order::shifted}) {
      for (const std::vector<std::size_t>& holes :
           {std::vector<std::size_t>{0}, {1, 2}, {3, 6}, {0, 1, 2, 3, 4, 5, 6, 7}}) {
        const Bytes alone = DecodedAroundHoles(1, format, order, stream, holes);
        EXPECT_FALSE(alone == Background(format, kWidth, kHeight) && holes.size() < 8);
        for (const unsigned processors : {2U, 3U, 8U}) {
          EXPECT_TRUE(DecodedAroundHoles(processors, format, order, stream, holes) == alone)
              << FormatName(format) << " on " << processors;
        }
      }
    }
  }
}

// Table B-14 is not offered: the frame ends before its first block.
TEST_P(DecoderFaultsTest, PictureWithTableZero) {
  Decompressor decompressor = Begin(ClientFormat::yuy2);
  ModelPicture faulty = picture_;
  faulty.intraVlcFormat = 0;
  const Bytes stream = StreamOf(faulty);
  for (int round = 0; round < 50; ++round) {
    const Order order = round % 2 == 0 ? Order::plain : Order::shifted;
    EXPECT_TRUE(decompressor.Decode(stream, order) ==
                Background(ClientFormat::yuy2, kWidth, kHeight));
    EXPECT_EQ(decompressor.Outcome(), FrameOutcome::faulted);
    ExpectNextFrameRight(decompressor, ClientFormat::yuy2);
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, DecoderFaultsTest, testing::Values(1U, 2U, 3U, 8U), CountName);

class EncoderFaultsTest : public testing::TestWithParam<unsigned> {
 protected:
  Compressor Begin(ClientFormat format) const {
    return {format, kWidth, kHeight, Processors(GetParam())};
  }
  /// Codes a frame that must fail and leave header and flags alone.
  void Expect(FrameOutcome outcome, Compressor& compressor, ClientFormat format, const void* input,
              void* output, Order order = Order::plain) const {
    const BitmapInfoHeader inputFormat = UncompressedHeader(format, kWidth, kHeight);
    BitmapInfoHeader outputFormat = CompressedHeader(kWidth, kHeight, 12345);
    outputFormat.biClrUsed = 5;
    std::uint32_t flags = 0;
    const CompressFrame frame = {&outputFormat, output, &inputFormat, input, &flags, 8000};
    EXPECT_EQ(order == Order::plain ? compressor.Context().EncodeFrame(frame)
                                    : compressor.Context().EncodeFrameShifted(frame),
              outcome);
    EXPECT_EQ(outputFormat.biSizeImage, 12345U);
    EXPECT_EQ(outputFormat.biClrUsed, 5U);
    EXPECT_EQ(flags, 0U);
    const Bytes bitmap = NaturalBitmap(format, kWidth, kHeight, 181);
    EXPECT_TRUE(
        compressor.Encode(bitmap, 8000) ==
        ModelEncode(format, kWidth, kHeight, bitmap, 2, GetParam() > 1 ? Parts::two : Parts::one));
  }
};

TEST_P(EncoderFaultsTest, NullPointersAreRefused) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 181);
  Bytes output(std::size_t{kWidth} * kHeight * 3);
  for (const Order order : {Order::plain, Order::shifted}) {
    Expect(FrameOutcome::refused, compressor, ClientFormat::yuy2, nullptr, output.data(), order);
    Expect(FrameOutcome::refused, compressor, ClientFormat::yuy2, bitmap.data(), nullptr, order);
  }
  const BitmapInfoHeader inputFormat = UncompressedHeader(ClientFormat::yuy2, kWidth, kHeight);
  BitmapInfoHeader outputFormat = CompressedHeader(kWidth, kHeight);
  EXPECT_EQ(compressor.Context().EncodeFrame(
                {nullptr, output.data(), &inputFormat, bitmap.data(), nullptr, 8000}),
            FrameOutcome::refused);
  EXPECT_EQ(compressor.Context().EncodeFrame(
                {&outputFormat, output.data(), nullptr, bitmap.data(), nullptr, 8000}),
            FrameOutcome::refused);
}

TEST_P(EncoderFaultsTest, InputThatEndsEarly) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Compressor compressor = Begin(format);
    const Bytes bitmap = NaturalBitmap(format, kWidth, kHeight, 181);
    const GuardedBuffer half(std::span<const std::uint8_t>(bitmap).first(bitmap.size() / 2));
    Bytes output(std::size_t{kWidth} * kHeight * 3, 0x77);
    for (int round = 0; round < 20; ++round) {
      Expect(FrameOutcome::faulted, compressor, format, half.Data(), output.data(),
             round % 4 == 3 ? Order::shifted : Order::plain);
    }
    // The frame is joined when all of it is there.
    EXPECT_EQ(output, Bytes(output.size(), 0x77));
  }
}

TEST_P(EncoderFaultsTest, InputThatCannotBeRead) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24}) {
    Compressor compressor = Begin(format);
    GuardedBuffer bitmap(NaturalBitmap(format, kWidth, kHeight, 181));
    bitmap.Protect(GuardedBuffer::Access::none);
    Bytes output(std::size_t{kWidth} * kHeight * 3);
    for (int round = 0; round < 10; ++round) {
      Expect(FrameOutcome::faulted, compressor, format, bitmap.Data(), output.data());
    }
  }
}

TEST_P(EncoderFaultsTest, OutputThatCannotBeWritten) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 181);
  GuardedBuffer output(std::size_t{kWidth} * kHeight * 3);
  for (const auto access : {GuardedBuffer::Access::none, GuardedBuffer::Access::read}) {
    output.Protect(access);
    Expect(FrameOutcome::faulted, compressor, ClientFormat::yuy2, bitmap.data(), output.Data());
  }
}

TEST_P(EncoderFaultsTest, OutputThatEndsEarly) {
  Compressor compressor = Begin(ClientFormat::yuy2);
  const Bytes bitmap = NoiseBitmap(ClientFormat::yuy2, kWidth, kHeight, 182);
  const GuardedBuffer output(4000);
  for (int round = 0; round < 10; ++round) {
    Expect(FrameOutcome::faulted, compressor, ClientFormat::yuy2, bitmap.data(), output.Data());
  }
}

INSTANTIATE_TEST_SUITE_P(Processors, EncoderFaultsTest, testing::Values(1U, 2U, 3U, 8U), CountName);

}  // namespace

}  // namespace qivm::test
