// Pictures with every property that a stream may have, decoded by every tier into every format on
// one thread and on several: always exactly what the model makes of them.

#include "tests/core/random_pictures.h"

#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

class RandomPicturesTest : public TierTest {};

TEST_P(RandomPicturesTest, CodecAndModelAgree) {
  constexpr int kColumns = 5;
  constexpr int kRows = 7;
  constexpr int kWidth = 16 * kColumns;
  constexpr int kHeight = 16 * kRows;
  Random random(111);
  for (const ClientFormat format : kOutputFormats) {
    Decompressor alone(format, kWidth, kHeight, Processors(1, GetParam()));
    Decompressor together(format, kWidth, kHeight, Processors(3, GetParam()));
    for (int round = 0; round < 30; ++round) {
      const ModelPicture picture = RandomPicture(random, kColumns, kRows);
      const Bytes stream = StreamOf(picture, random.OneIn(2) ? random.Between(1, kRows) : -1);
      Bytes expected = Background(format, kWidth, kHeight);
      ModelDecode(picture, format, kWidth, kHeight, expected);
      SCOPED_TRACE(testing::Message() << FormatName(format) << " round " << round);
      ASSERT_TRUE(alone.Decode(stream) == expected);
      ASSERT_TRUE(together.Decode(stream) == expected);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, RandomPicturesTest, testing::ValuesIn(RunnableTiers()), TierName);

// The model reads back what the model writes.
TEST(ModelStream, WriterAndParserAgree) {
  Random random(112);
  for (int round = 0; round < 20; ++round) {
    ModelPicture picture = RandomPicture(random, 3, 2);
    picture.chromaFormat = 2;
    const Bytes stream = StreamOf(picture);
    EXPECT_TRUE(StreamOf(ParsePicture(stream)) == stream);
  }
}

}  // namespace

}  // namespace qivm::test
