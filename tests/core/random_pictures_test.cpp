// Pictures with every property that a stream may have, decoded by every class into every format
// with and without worker: always exactly what the model makes of them.

#include "tests/core/random_pictures.h"

#include <gtest/gtest.h>

#include "tests/core/codec_runs.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

class RandomPicturesTest : public testing::TestWithParam<KernelVariant> {};

TEST_P(RandomPicturesTest, CodecAndModelAgree) {
  constexpr int kColumns = 5;
  constexpr int kRows = 7;
  constexpr int kWidth = 16 * kColumns;
  constexpr int kHeight = 16 * kRows;
  Random random(111);
  for (const ClientFormat format : kOutputFormats) {
    Decompressor alone(format, kWidth, kHeight, OneProcessor(GetParam()));
    Decompressor withWorker(format, kWidth, kHeight, TwoProcessors(GetParam()));
    for (int round = 0; round < 30; ++round) {
      ModelPicture picture = RandomPicture(random, kColumns, kRows);
      if (picture.pictureStructure != 3) {
        // Whether such macroblocks are frame or field ones is what the last frame left behind:
        // begin anew, so that this is field.
        ASSERT_TRUE(alone.Context().Begin(UncompressedHeader(format, kWidth, kHeight),
                                          OneProcessor(GetParam())));
        ASSERT_TRUE(withWorker.Context().Begin(UncompressedHeader(format, kWidth, kHeight),
                                               TwoProcessors(GetParam())));
      }
      const Bytes stream = StreamOf(picture, random.OneIn(2) ? random.Between(1, kRows) : -1);
      Bytes expected = Background(format, kWidth, kHeight);
      ModelDecode(picture, format, kWidth, kHeight, expected);
      SCOPED_TRACE(testing::Message() << FormatName(format) << " round " << round);
      ASSERT_TRUE(alone.Decode(stream) == expected);
      ASSERT_TRUE(withWorker.Decode(stream) == expected);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllClasses, RandomPicturesTest, testing::ValuesIn(KernelVariants()),
                         KernelVariantName);

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
