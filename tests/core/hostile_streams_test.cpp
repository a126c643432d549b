// Frames that no coder would write. Each leaves the decompressor sound, the memory around the
// bitmap untouched (the bitmaps end where memory ends) and the next proper frame as it should be.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

constexpr int kWidth = 48;
constexpr int kHeight = 48;

Bytes ProperStream() { return StreamOf(FlatPicture(kWidth / 16, kHeight / 16)); }

/// On one thread and on several.
class HostileStreamsTest : public testing::TestWithParam<unsigned> {
 protected:
  HostileStreamsTest()
      : decompressor_(ClientFormat::yuy2, kWidth, kHeight, Processors(GetParam())),
        proper_(ProperStream()) {
    expected_ = decompressor_.Decode(proper_);
  }

  /// Decodes the stream in both forms.
  void Decode(const Bytes& stream) {
    for (const Order order : {Order::plain, Order::shifted}) {
      decompressor_.Decode(stream, order);
      ASSERT_EQ(decompressor_.Outcome(), FrameOutcome::done);
    }
  }
  void ExpectProperFrame() {
    EXPECT_TRUE(decompressor_.Decode(proper_) == expected_);
    EXPECT_EQ(decompressor_.Outcome(), FrameOutcome::done);
  }

  Decompressor decompressor_;
  Bytes proper_;
  Bytes expected_;
};

TEST_P(HostileStreamsTest, FramesOfUpToSixteenBytes) {
  Random random(201);
  for (std::size_t size = 0; size <= 16; ++size) {
    Decode(Bytes(size, 0));
    Decode(Bytes(size, 0xFF));
    Decode(Bytes(proper_.begin(), proper_.begin() + static_cast<std::ptrdiff_t>(size)));
    for (int round = 0; round < 200; ++round) {
      Bytes stream(size);
      for (std::uint8_t& byte : stream) {
        byte = random.OneIn(2) ? static_cast<std::uint8_t>(random.Below(2)) : random.Byte();
      }
      Decode(stream);
    }
  }
  ExpectProperFrame();
}

TEST_P(HostileStreamsTest, StartCodeInTheLastBytes) {
  constexpr std::array<std::uint8_t, 4> kSequenceHeader = {0, 0, 1, 0xB3};
  constexpr std::array<std::uint8_t, 4> kSlice = {0, 0, 1, 1};
  for (const auto& startCode : {kSequenceHeader, kSlice}) {
    for (std::size_t length = 1; length <= startCode.size(); ++length) {
      const auto end = startCode.begin() + static_cast<std::ptrdiff_t>(length);
      // Alone, behind nothing of meaning, and instead of the end of a frame.
      Decode(Bytes(startCode.begin(), end));
      Bytes behindZeros(37, 0);
      behindZeros.insert(behindZeros.end(), startCode.begin(), end);
      Decode(behindZeros);
      Bytes atTheEnd = proper_;
      atTheEnd.resize(atTheEnd.size() - 4);
      atTheEnd.insert(atTheEnd.end(), startCode.begin(), end);
      Decode(atTheEnd);
    }
  }
  ExpectProperFrame();
}

TEST_P(HostileStreamsTest, EveryBitOfAFrameInverted) {
  // A header that is misread may ask for the coefficient table that is not offered, and then the
  // decoder turns the frame away. Behind the headers nothing does.
  constexpr std::array<std::uint8_t, 4> kFirstSlice = {0, 0, 1, 1};
  const auto slice =
      std::search(proper_.begin(), proper_.end(), kFirstSlice.begin(), kFirstSlice.end());
  ASSERT_NE(slice, proper_.end());
  const auto headerBits = 8 * static_cast<std::size_t>(slice - proper_.begin());
  std::size_t turnedAway = 0;
  for (std::size_t bit = 0; bit < 8 * proper_.size(); ++bit) {
    Bytes stream = proper_;
    stream[bit / 8] ^= static_cast<std::uint8_t>(0x80U >> (bit % 8));
    decompressor_.Decode(stream);
    if (decompressor_.Outcome() != FrameOutcome::done) {
      ASSERT_LT(bit, headerBits);
      ++turnedAway;
    }
  }
  EXPECT_GE(turnedAway, 1U);
  ExpectProperFrame();
}

TEST_P(HostileStreamsTest, EveryPrefixOfAFrameOfNoise) {
  const Bytes stream =
      ModelEncode(ClientFormat::yuy2, kWidth, kHeight,
                  NoiseBitmap(ClientFormat::yuy2, kWidth, kHeight, 5), 31, Parts::two);
  for (std::size_t size = 0; size < stream.size(); ++size) {
    decompressor_.Decode({stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size)});
    ASSERT_EQ(decompressor_.Outcome(), FrameOutcome::done) << size;
  }
  ExpectProperFrame();
}

// A frame's sequence header counts for that frame alone: others of any size and chroma format come
// and go.
TEST_P(HostileStreamsTest, SizesAndChromaFormatsThatChange) {
  Random random(202);
  for (int round = 0; round < 100; ++round) {
    ModelPicture picture = RandomPicture(random, random.Between(1, 5), random.Between(1, 5));
    const Bytes stream = StreamOf(picture);
    Decode(stream);
    BitString headers;
    picture.chromaFormat = random.Between(0, 3);
    PutHeaders(headers, picture);
    headers.AlignTo(4);
    // The slices of 4:2:2 behind headers of another format, which are as long.
    Bytes mixed = headers.Bytes();
    mixed.insert(mixed.end(), stream.begin() + static_cast<std::ptrdiff_t>(mixed.size()),
                 stream.end());
    Decode(mixed);
    if (round % 10 == 0) {
      ExpectProperFrame();
    }
  }
  ExpectProperFrame();
}

TEST_P(HostileStreamsTest, HeadersThatAreMissing) {
  const ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
  constexpr unsigned kHeaders = 7;
  for (unsigned present = 0; present < 1U << kHeaders; ++present) {
    BitString bits;
    const auto has = [present](unsigned header) { return (present >> header & 1U) != 0; };
    if (has(0)) {
      PutSequenceHeader(bits, picture);
    }
    if (has(1)) {
      PutSequenceExtension(bits, picture);
    }
    if (has(2)) {
      PutSequenceDisplayExtension(bits, picture);
    }
    if (has(3)) {
      PutGroupHeader(bits);
    }
    if (has(4)) {
      PutUserData(bits);
    }
    if (has(5)) {
      PutPictureHeader(bits);
    }
    if (has(6)) {
      PutPictureCodingExtension(bits, picture);
    }
    for (const ModelSlice& slice : picture.slices) {
      PutSlice(bits, picture, slice);
    }
    PutSequenceEnd(bits);
    Decode(bits.Bytes());
  }
  ExpectProperFrame();
}

// Slices above the picture, below it, and all at one place.
TEST_P(HostileStreamsTest, SliceRowsOutsideThePicture) {
  const ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
  for (const int row : {-1, 0, 2, 3, 100, 174}) {
    BitString bits;
    PutHeaders(bits, picture);
    for (ModelSlice slice : picture.slices) {
      slice.row = row;
      PutSlice(bits, picture, slice);
    }
    PutSequenceEnd(bits);
    Decode(bits.Bytes());
  }
  ExpectProperFrame();
}

TEST_P(HostileStreamsTest, OneSliceForAll) {
  ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
  for (std::size_t row = 1; row < picture.slices.size(); ++row) {
    auto& all = picture.slices.front().macroblocks;
    const auto& own = picture.slices[row].macroblocks;
    all.insert(all.end(), own.begin(), own.end());
  }
  picture.slices.resize(1);
  Decode(StreamOf(picture));
  ExpectProperFrame();
}

// What a frame costs grows with its bytes and no faster, whatever they are: these would take hours
// otherwise.
TEST_P(HostileStreamsTest, LargeFrames) {
  constexpr std::size_t kSize = 8 << 20;
  BitString headers;
  PutHeaders(headers, FlatPicture(kWidth / 16, kHeight / 16));
  headers.AlignTo(4);
  BitString slice;
  PutSlice(slice, FlatPicture(kWidth / 16, 1), FlatPicture(kWidth / 16, 1).slices.front());
  slice.AlignTo(4);
  Random random(203);
  Bytes noise(1000);
  for (std::uint8_t& byte : noise) {
    byte = random.Byte();
  }
  for (const Bytes& unit :
       {Bytes{0, 0, 1, 1}, slice.Bytes(), Bytes{0, 0, 1, 0xB5}, Bytes{0}, Bytes{0, 1}, noise}) {
    Bytes stream = headers.Bytes();
    while (stream.size() < kSize) {
      stream.insert(stream.end(), unit.begin(), unit.end());
    }
    Decode(stream);
  }
  ExpectProperFrame();
}

INSTANTIATE_TEST_SUITE_P(Processors, HostileStreamsTest, testing::Values(1U, 3U),
                         testing::PrintToStringParamName());

}  // namespace

}  // namespace qivm::test
