// Frames that have lost, gained or exchanged something behind their headers. What they show is the
// same on any number of threads, with the kernels of every tier, in either order of lines; damage
// stays in its row; and it is what a model makes of them that reads bit by bit.

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>

#include "tests/core/codec_runs.h"
#include "tests/core/kernel_tiers.h"
#include "tests/core/lenient_parser.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

constexpr int kColumns = 3;
constexpr int kRows = 4;
constexpr int kWidth = 16 * kColumns;
constexpr int kHeight = 16 * kRows;
constexpr ClientFormat kFormat = ClientFormat::yuy2;
constexpr int kLineBytes = 2 * kWidth;

/// Where the slices of a frame are, behind their start codes: found one byte at a time.
struct FoundSlices {
  std::array<std::span<const std::uint8_t>, 256> slices;
  int count = 0;
};

FoundSlices SlicesIn(std::span<const std::uint8_t> bytes) {
  std::vector<std::size_t> codes;
  for (std::size_t i = 0; i + 3 <= bytes.size(); ++i) {
    if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) {
      codes.push_back(i);
    }
  }
  FoundSlices found;
  for (std::size_t i = 0; i < codes.size() && codes[i] + 4 <= bytes.size(); ++i) {
    const std::uint8_t code = bytes[codes[i] + 3];
    if (code == 0xB7 && found.count >= kRows) {
      break;
    }
    if (code >= 0x01 && code <= 0xAF) {
      const std::size_t end = i + 1 < codes.size() ? codes[i + 1] : bytes.size();
      found.slices[code - 1U] = bytes.subspan(codes[i] + 4, end - codes[i] - 4);
      ++found.count;
    }
  }
  return found;
}

/// The lines that a slice yields.
Bytes LinesOf(const ModelPicture& picture, std::span<const std::uint8_t> slice) {
  Bytes lines(static_cast<std::size_t>(kLineBytes * 16));
  BitCursor header(slice);
  const auto quantiserCode = static_cast<int>(header.Take(5));
  if (header.Take(1) != 0) {
    header.Take(8);
    while (header.Take(1) != 0) {
      header.Take(8);
    }
  }
  LenientSlice macroblocks(picture, slice, header.Position(), quantiserCode);
  for (int column = 0; column < kColumns; ++column) {
    const LenientMacroblock macroblock = macroblocks.Next();
    ModelMacroblock drawn;
    drawn.fieldDct = !macroblock.frameDct;
    drawn.blocks = macroblock.blocks;
    ModelDraw(picture, drawn, macroblock.quantiserCode, column, 0, {kFormat, kWidth, 16, lines});
  }
  return lines;
}

/// The same, remembered: most damage leaves most slices as they were.
class Rows {
 public:
  void Start(const ModelPicture& picture) {
    picture_ = picture;
    lines_.clear();
  }
  const Bytes& Lines(std::span<const std::uint8_t> slice) {
    const auto [known, isNew] = lines_.try_emplace(Bytes(slice.begin(), slice.end()));
    if (isNew) {
      known->second = LinesOf(picture_, slice);
    }
    return known->second;
  }

 private:
  ModelPicture picture_;
  std::map<Bytes, Bytes> lines_;
};

/// What a frame leaves in a bitmap that held Background(), its slices begin behind `headers`.
Bytes Expected(Rows& rows, const Bytes& stream, std::size_t headers, Order order) {
  const FoundSlices found = SlicesIn(std::span(stream).subspan(headers));
  const Bytes background = Background(kFormat, kWidth, kHeight);
  if (order == Order::shifted && found.count < kRows) {
    return background;
  }
  Bytes bitmap =
      order == Order::plain ? background : RotatedRows(kFormat, kWidth, kHeight, background, -1);
  for (int row = 0; row < kRows; ++row) {
    const auto slice = found.slices[static_cast<std::size_t>(row)];
    if (slice.data() != nullptr) {
      std::ranges::copy(rows.Lines(slice), bitmap.begin() + std::ptrdiff_t{row} * 16 * kLineBytes);
    }
  }
  return order == Order::plain ? bitmap : RotatedRows(kFormat, kWidth, kHeight, bitmap, 1);
}

class DamagedFramesTest : public TierTest {
 protected:
  void SetUp() override {
    for (const unsigned count : {1U, 2U, 3U, 8U}) {
      decompressors_.push_back(
          std::make_unique<Decompressor>(kFormat, kWidth, kHeight, Processors(count, GetParam())));
    }
    NextPicture();
  }

  void NextPicture() {
    ModelPicture picture;
    do {
      picture = RandomPicture(random_, kColumns, kRows);
      // Pictures that are not 4:2:2 are read and not drawn.
    } while (picture.chromaFormat != 2);
    // So that the levels of DC coefficients are their values.
    picture.intraDcPrecision = 3;
    UsePicture(picture);
  }
  void UsePicture(const ModelPicture& picture) {
    picture_ = picture;
    rows_.Start(picture);
    BitString bits;
    PutHeaders(bits, picture_);
    headers_ = bits.AlignTo(4).Bytes().size();
    stream_ = StreamOf(picture_);
  }
  /// The shortest of many frames, for what is tried at every place of one.
  void NextShortPicture() {
    ModelPicture shortest;
    std::size_t size = SIZE_MAX;
    for (int i = 0; i < 100; ++i) {
      NextPicture();
      if (stream_.size() < size) {
        size = stream_.size();
        shortest = picture_;
      }
    }
    UsePicture(shortest);
  }
  /// The headers alone.
  BitString Headers() const {
    BitString bits;
    PutHeaders(bits, picture_);
    return bits;
  }
  void Expect(const Bytes& stream) {
    for (const Order order : {Order::plain, Order::shifted}) {
      const Bytes expected = Expected(rows_, stream, headers_, order);
      for (const auto& decompressor : decompressors_) {
        ASSERT_TRUE(decompressor->Decode(stream, order) == expected)
            << decompressor->Context().Threads() << " threads, shifted "
            << (order == Order::shifted);
        ASSERT_EQ(decompressor->Outcome(), FrameOutcome::done);
      }
    }
  }
  /// Expects a frame of slices in the given order, which may leave out and repeat.
  void ExpectSlices(const std::vector<int>& order) {
    BitString bits = Headers();
    for (const int slice : order) {
      PutSlice(bits, picture_, picture_.slices[static_cast<std::size_t>(slice)]);
    }
    PutSequenceEnd(bits);
    SCOPED_TRACE(testing::PrintToString(order));
    Expect(bits.Bytes());
  }

  Random random_{401};
  ModelPicture picture_;
  Rows rows_;
  Bytes stream_;
  std::size_t headers_ = 0;
  std::vector<std::unique_ptr<Decompressor>> decompressors_;
};

TEST_P(DamagedFramesTest, EverySubsetAndOrderOfTheSlices) {
  std::vector<int> all = {0, 1, 2, 3};
  do {
    for (std::size_t count = 0; count <= all.size(); ++count) {
      ExpectSlices({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)});
    }
  } while (std::next_permutation(all.begin(), all.end()) && !HasFatalFailure());
}

TEST_P(DamagedFramesTest, SlicesThatComeTwice) {
  for (int round = 0; round < 150 && !HasFatalFailure(); ++round) {
    std::vector<int> order(static_cast<std::size_t>(random_.Between(2, 9)));
    for (int& slice : order) {
      slice = random_.Between(0, kRows - 1);
    }
    ExpectSlices(order);
  }
}

TEST_P(DamagedFramesTest, EveryTruncation) {
  NextShortPicture();
  for (std::size_t size = headers_; size < stream_.size() && !HasFatalFailure(); ++size) {
    SCOPED_TRACE(size);
    Expect({stream_.begin(), stream_.begin() + static_cast<std::ptrdiff_t>(size)});
  }
}

TEST_P(DamagedFramesTest, EveryBitInverted) {
  NextShortPicture();
  // Behind the first slice's start code: while that is not found the headers go on.
  for (std::size_t bit = 8 * (headers_ + 4); bit < 8 * stream_.size() && !HasFatalFailure();
       ++bit) {
    Bytes stream = stream_;
    stream[bit / 8] ^= static_cast<std::uint8_t>(0x80U >> (bit % 8));
    SCOPED_TRACE(bit);
    Expect(stream);
  }
}

TEST_P(DamagedFramesTest, BytesLostGainedAndChanged) {
  for (int round = 0; round < 400 && !HasFatalFailure(); ++round) {
    if (round % 10 == 0) {
      NextPicture();
    }
    Bytes stream = stream_;
    for (std::uint32_t count = 1 + random_.Below(6); count > 0; --count) {
      const auto size = static_cast<std::uint32_t>(stream.size() - headers_);
      const auto at = stream.begin() + static_cast<std::ptrdiff_t>(headers_ + random_.Below(size));
      const auto length = std::min<std::ptrdiff_t>(random_.Between(1, 30), stream.end() - at);
      switch (random_.Below(3)) {
        case 0:
          stream.erase(at, at + std::min<std::ptrdiff_t>(length, stream.end() - at - 1));
          break;
        case 1:
          stream.insert(at, static_cast<std::size_t>(length), random_.Byte());
          break;
        default:
          std::generate(at, at + length, [&] { return random_.OneIn(3) ? 0 : random_.Byte(); });
          break;
      }
    }
    SCOPED_TRACE(round);
    Expect(stream);
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, DamagedFramesTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
