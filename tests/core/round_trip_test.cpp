#include <gtest/gtest.h>
#include <map>
#include <string>
#include <tuple>

#include "tests/core/codec_runs.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/model_codec.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

enum class Content : std::uint8_t { natural, noise, blackWhiteNoise };

Bytes MakeBitmap(Content content, ClientFormat format, int width, int height, std::uint64_t seed) {
  switch (content) {
    case Content::noise:
      return NoiseBitmap(format, width, height, seed);
    case Content::blackWhiteNoise:
      return BlackWhiteNoiseBitmap(format, width, height, seed);
    case Content::natural:
      break;
  }
  return NaturalBitmap(format, width, height, seed);
}

/// The frame that the codec must make of a bitmap.
Bytes ExpectedStream(ClientFormat format, int width, int height, const Bytes& bitmap,
                     std::uint32_t quality, Parts parts, Order order) {
  const Bytes picture =
      order == Order::plain ? bitmap : RotatedRows(format, width, height, bitmap, -1);
  return ModelEncode(format, width, height, picture, ModelQuantiserCode(quality), parts);
}

/// What a frame must leave in a client's bitmap that held Background().
Bytes ExpectedBitmap(const ModelPicture& picture, ClientFormat format, int width, int height,
                     Order order) {
  if (order == Order::plain) {
    Bytes bitmap = Background(format, width, height);
    ModelDecode(picture, format, width, height, bitmap);
    return bitmap;
  }
  // What is not drawn, the fourth bytes of pixels, stays where it is.
  Bytes bitmap = RotatedRows(format, width, height, Background(format, width, height), -1);
  ModelDecode(picture, format, width, height, bitmap);
  return RotatedRows(format, width, height, bitmap, 1);
}

/// Runs codec and model side by side on pictures of one size.
class RoundTrip {
 public:
  RoundTrip(int width, int height) : width_(width), height_(height) {}

  struct Case {
    ClientFormat input;
    ClientFormat output;
    std::uint32_t quality;
    unsigned processors;
    Order order;
    Content content;
  };

  void Expect(const Case& c) {
    SCOPED_TRACE(testing::Message()
                 << width_ << "x" << height_ << " " << FormatName(c.input) << " to "
                 << FormatName(c.output) << " quality " << c.quality << " processors "
                 << c.processors << " shifted " << (c.order == Order::shifted) << " content "
                 << static_cast<int>(c.content));
    const Bytes bitmap = MakeBitmap(c.content, c.input, width_, height_, c.quality + 1);
    const Bytes stream = CompressorFor(c).Encode(bitmap, c.quality, c.order);
    const Bytes expectedStream =
        ExpectedStream(c.input, width_, height_, bitmap, c.quality,
                       c.processors > 1 ? Parts::two : Parts::one, c.order);
    ASSERT_EQ(stream.size(), expectedStream.size());
    ASSERT_TRUE(stream == expectedStream);

    const ModelPicture picture = ParsePicture(stream);
    const Bytes decoded = DecompressorFor(c).Decode(stream, c.order);
    ASSERT_EQ(DecompressorFor(c).Outcome(), FrameOutcome::done);
    ASSERT_TRUE(decoded == ExpectedBitmap(picture, c.output, width_, height_, c.order));
  }

 private:
  Processor NextProcessor(unsigned count) {
    do {
      nextTier_ = (nextTier_ + 1) % kTiers.size();
    } while (!Runs(kTiers[nextTier_]));
    return Processors(count, kTiers[nextTier_]);
  }
  Compressor& CompressorFor(const Case& c) {
    auto& compressor = compressors_[{c.input, c.processors}];
    if (compressor == nullptr) {
      compressor =
          std::make_unique<Compressor>(c.input, width_, height_, NextProcessor(c.processors));
    }
    return *compressor;
  }
  Decompressor& DecompressorFor(const Case& c) {
    auto& decompressor = decompressors_[{c.output, c.processors}];
    if (decompressor == nullptr) {
      decompressor =
          std::make_unique<Decompressor>(c.output, width_, height_, NextProcessor(c.processors));
    }
    return *decompressor;
  }

  int width_;
  int height_;
  std::size_t nextTier_ = 0;
  std::map<std::pair<ClientFormat, unsigned>, std::unique_ptr<Compressor>> compressors_;
  std::map<std::pair<ClientFormat, unsigned>, std::unique_ptr<Decompressor>> decompressors_;
};

class SmallSizesTest : public testing::TestWithParam<std::pair<int, int>> {};

// Every input format, every quality step, on one thread and on several, plain and shifted; the
// output formats and the contents at random.
TEST_P(SmallSizesTest, CodecAndModelAgree) {
  RoundTrip roundTrip(GetParam().first, GetParam().second);
  Random random(71);
  for (const ClientFormat format : kInputFormats) {
    for (std::uint32_t step = 0; step <= 20; ++step) {
      for (const unsigned processors : {1U, 2U + step % 7}) {
        for (const Order order : {Order::plain, Order::shifted}) {
          roundTrip.Expect({format, kOutputFormats[random.Below(6)], 500 * step, processors, order,
                            static_cast<Content>(random.Below(3))});
          if (HasFatalFailure()) {
            return;
          }
        }
      }
    }
  }
}

std::string SizeName(const testing::TestParamInfo<std::pair<int, int>>& info) {
  return std::to_string(info.param.first) + "x" + std::to_string(info.param.second);
}

INSTANTIATE_TEST_SUITE_P(Sizes, SmallSizesTest,
                         testing::Values(std::pair{16, 16}, std::pair{48, 16}, std::pair{16, 48},
                                         std::pair{32, 80}),
                         SizeName);

class LargeSizesTest : public testing::TestWithParam<std::pair<int, int>> {};

// Every input and every output format; the other properties in turn.
TEST_P(LargeSizesTest, CodecAndModelAgree) {
  const auto [width, height] = GetParam();
  RoundTrip roundTrip(width, height);
  constexpr std::array<std::uint32_t, 7> kQualities = {0, 2500, 5000, 6500, 8000, 9000, 10000};
  for (std::size_t i = 0; i < kInputFormats.size(); ++i) {
    roundTrip.Expect({kInputFormats[i], kOutputFormats[(i + 2) % 6], kQualities[i],
                      i % 2 == 0 ? 8U : 1U, i % 3 == 0 ? Order::shifted : Order::plain,
                      i % 4 == 3 ? Content::noise : Content::natural});
    if (HasFatalFailure()) {
      return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeSizesTest,
                         testing::Values(std::pair{16, 2048}, std::pair{2048, 16},
                                         std::pair{720, 480}, std::pair{720, 576},
                                         std::pair{352, 304}),
                         SizeName);

TEST(LargestSize, CodecAndModelAgree) {
  RoundTrip roundTrip(2048, 2048);
  roundTrip.Expect(
      {ClientFormat::yuy2, ClientFormat::rgb24, 6000, 8, Order::plain, Content::natural});
}

}  // namespace

}  // namespace qivm::test
