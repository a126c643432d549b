// Frames with rows for eight threads, sound and damaged ones: the same bytes and pixels as on one
// thread, whoever claims which rows. Nothing faults here, so that ThreadSanitizer can watch.

#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "tests/core/codec_runs.h"
#include "tests/core/kernel_tiers.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

constexpr int kColumns = 4;
constexpr int kRows = 20;
constexpr int kWidth = 16 * kColumns;
constexpr int kHeight = 16 * kRows;
constexpr unsigned kThreads = 8;

/// The stream with some bytes behind its headers changed, lost or gained.
Bytes Damaged(Bytes stream, std::size_t headers, Random& random) {
  for (std::uint32_t count = random.Below(8); count > 0; --count) {
    const auto behind = static_cast<std::uint32_t>(stream.size() - headers);
    const auto place = stream.begin() + static_cast<std::ptrdiff_t>(headers + random.Below(behind));
    switch (random.Below(3)) {
      case 0:
        *place = random.OneIn(2) ? random.Byte() : std::uint8_t{0};
        break;
      case 1:
        stream.insert(place, random.Byte());
        break;
      default:
        stream.erase(place, std::min(place + random.Between(1, 40), stream.end() - 1));
        break;
    }
  }
  return stream;
}

class SharedFramesTest : public TierTest {
 protected:
  static Order OrderOf(int round) { return round % 2 == 0 ? Order::plain : Order::shifted; }

  Processor Alone() const { return Processors(1, GetParam()); }
  Processor Together() const { return Processors(kThreads, GetParam()); }
};

TEST_P(SharedFramesTest, DamagedFramesLookTheSame) {
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb32}) {
    Decompressor alone(format, kWidth, kHeight, Alone());
    Decompressor together(format, kWidth, kHeight, Together());
    ASSERT_EQ(together.Context().Threads(), kThreads);
    Random random(501);
    for (int round = 0; round < 40; ++round) {
      const ModelPicture picture = RandomPicture(random, kColumns, kRows);
      BitString headers;
      PutHeaders(headers, picture);
      const Bytes stream = Damaged(StreamOf(picture), headers.AlignTo(4).Bytes().size(), random);
      SCOPED_TRACE(testing::Message() << FormatName(format) << " round " << round);
      ASSERT_TRUE(together.Decode(stream, OrderOf(round)) == alone.Decode(stream, OrderOf(round)));
      ASSERT_EQ(together.Outcome(), FrameOutcome::done);
    }
  }
}

TEST_P(SharedFramesTest, FramesHaveTheSameBytes) {
  for (const ClientFormat format : {ClientFormat::uyvy, ClientFormat::rgb24}) {
    // Fewer threads of a machine with several processors.
    Compressor fewer(format, kWidth, kHeight, Processors(2, GetParam()));
    Compressor together(format, kWidth, kHeight, Together());
    ASSERT_EQ(together.Context().Threads(), kThreads);
    for (int round = 0; round < 8; ++round) {
      const auto seed = static_cast<std::uint64_t>(round);
      // The last ones do not fit at first and are coded again.
      const Bytes bitmap = round < 6 ? NaturalBitmap(format, kWidth, kHeight, seed)
                                     : BlackWhiteNoiseBitmap(format, kWidth, kHeight, seed);
      const std::uint32_t quality = round < 6 ? 1500 * static_cast<unsigned>(round) : 10000;
      ASSERT_TRUE(together.Encode(bitmap, quality, OrderOf(round)) ==
                  fewer.Encode(bitmap, quality, OrderOf(round)))
          << FormatName(format) << " round " << round;
    }
  }
}

// Contexts of both directions at work side by side, each with threads of its own, called from one
// thread after another.
TEST_P(SharedFramesTest, ContextsDoNotMeet) {
  constexpr auto kFormat = ClientFormat::yuy2;
  const Bytes bitmap = NaturalBitmap(kFormat, kWidth, kHeight, 1);
  const Bytes stream = ModelEncode(kFormat, kWidth, kHeight, bitmap, 2, Parts::two);
  Bytes decoded = Background(kFormat, kWidth, kHeight);
  ModelDecode(ParsePicture(stream), kFormat, kWidth, kHeight, decoded);
  Compressor compressor(kFormat, kWidth, kHeight, Together());
  Decompressor decompressor(kFormat, kWidth, kHeight, Together());
  for (int round = 0; round < 10; ++round) {
    std::thread encoding([&] { EXPECT_TRUE(compressor.Encode(bitmap, 8000) == stream); });
    std::thread decoding([&] { EXPECT_TRUE(decompressor.Decode(stream) == decoded); });
    encoding.join();
    decoding.join();
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, SharedFramesTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
