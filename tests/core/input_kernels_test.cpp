#include <gtest/gtest.h>
#include <vector>

#include "tests/core/kernel_record.h"
#include "tests/support/client_pictures.h"

namespace qivm::test {

namespace {

struct InputCase {
  KernelTier tier;
  ClientFormat format;
};

std::vector<InputCase> InputCases() {
  std::vector<InputCase> cases;
  for (const KernelTier tier : RunnableTiers()) {
    for (const ClientFormat format : kInputFormats) {
      cases.push_back({tier, format});
    }
  }
  return cases;
}

std::string InputCaseName(const testing::TestParamInfo<InputCase>& info) {
  return NameOf(info.param.tier) + FormatName(info.param.format);
}

InputKernel KernelOf(KernelTier tier, ClientFormat format) {
  return KernelsFor(tier).Input(format);
}

constexpr std::size_t kGuardSamples = 64;
constexpr std::int16_t kGuard = 0x5A5A;
/// A kernel's eight blocks between guard samples.
using GuardedBlocks = std::array<std::int16_t, 8 * 64 + 2 * kGuardSamples>;

class InputKernelsTest : public testing::TestWithParam<InputCase> {
 protected:
  static constexpr int kSize = 48;

  /// Fetches the middle one of 3 x 3 macroblocks and expects the reference's samples.
  void ExpectReference(const Bytes& bitmap) const {
    const ClientFormat format = GetParam().format;
    const auto pitch = static_cast<std::ptrdiff_t>(BitmapBytes(format, kSize, 1));
    const std::ptrdiff_t column = std::ptrdiff_t{16} * BytesPerPixel(format);
    alignas(64) GuardedBlocks blocks = {};
    blocks.fill(kGuard);
    std::int16_t* const first = blocks.data() + kGuardSamples;
    const InputKernel kernel = KernelOf(GetParam().tier, format);
    if (IsRgb(format)) {
      kernel(first, bitmap.data() + 31 * pitch + column, -pitch);
    } else {
      kernel(first, bitmap.data() + 16 * pitch + column, pitch);
    }

    const Planes planes = PlanesOf(format, kSize, kSize, bitmap);
    for (std::size_t i = 0; i < kGuardSamples; ++i) {
      ASSERT_EQ(blocks[i], kGuard);
      ASSERT_EQ(blocks[kGuardSamples + 8 * 64 + i], kGuard);
    }
    for (int y = 0; y < 16; ++y) {
      const auto field = static_cast<std::size_t>(y % 2);
      const auto line = static_cast<std::size_t>(y / 2);
      for (std::size_t x = 0; x < 16; ++x) {
        ASSERT_EQ(first[64 * (2 * field + x / 8) + 8 * line + x % 8],
                  planes.At(Component::luma, static_cast<int>(16 + x), 16 + y))
            << x << "," << y;
      }
      for (std::size_t x = 0; x < 8; ++x) {
        const int pictureX = static_cast<int>(8 + x);
        ASSERT_EQ(first[64 * (4 + 2 * field) + 8 * line + x],
                  planes.At(Component::cb, pictureX, 16 + y))
            << x << "," << y;
        ASSERT_EQ(first[64 * (5 + 2 * field) + 8 * line + x],
                  planes.At(Component::cr, pictureX, 16 + y))
            << x << "," << y;
      }
    }
  }
};

TEST_P(InputKernelsTest, RandomPixels) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    ExpectReference(NoiseBitmap(GetParam().format, kSize, kSize, seed));
  }
}

TEST_P(InputKernelsTest, ExtremePixels) {
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    Random random(seed);
    Bytes bitmap(BitmapBytes(GetParam().format, kSize, kSize));
    for (std::uint8_t& byte : bitmap) {
      byte = random.OneIn(2) ? 255 : 0;
    }
    ExpectReference(bitmap);
  }
}

TEST_P(InputKernelsTest, BytesWithoutMeaningHaveNoEffect) {
  const ClientFormat format = GetParam().format;
  const InputKernel kernel = KernelOf(GetParam().tier, format);
  Bytes bitmap = NoiseBitmap(format, 16, 16, 61);
  const auto pitch = static_cast<std::ptrdiff_t>(BitmapBytes(format, 16, 1));
  alignas(64) std::array<std::int16_t, 8 * 64> before = {};
  kernel(before.data(), bitmap.data(), pitch);
  // The fourth byte of a 32-bit pixel, the middle third of a 48-byte group; other formats have
  // none, and every one of their bytes counts.
  for (std::size_t i = 0; i < bitmap.size(); ++i) {
    const bool ignored = (format == ClientFormat::rgb32 && i % 4 == 3) ||
                         (format == ClientFormat::y16a && i % 48 / 16 == 1);
    const std::uint8_t byte = bitmap[i];
    bitmap[i] = static_cast<std::uint8_t>(~byte);
    alignas(64) std::array<std::int16_t, 8 * 64> after = {};
    kernel(after.data(), bitmap.data(), pitch);
    bitmap[i] = byte;
    if (ignored) {
      ASSERT_EQ(before, after) << "byte " << i;
    } else if (!IsRgb(format)) {
      ASSERT_NE(before, after) << "byte " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllKernels, InputKernelsTest, testing::ValuesIn(InputCases()),
                         InputCaseName);

/// Macroblocks of RGB32 pixels whose pairs hold every colour, both pixels of a pair the same.
void FillExhaustive(Bytes& bitmap, std::uint32_t index) {
  for (std::uint32_t pair = 0; pair < 128; ++pair) {
    const std::uint32_t colour = index * 128 + pair;
    for (std::size_t pixel = 2 * pair; pixel < 2 * pair + 2; ++pixel) {
      bitmap[4 * pixel] = static_cast<std::uint8_t>(colour);
      bitmap[4 * pixel + 1] = static_cast<std::uint8_t>(colour >> 8);
      bitmap[4 * pixel + 2] = static_cast<std::uint8_t>(colour >> 16);
    }
  }
}
constexpr std::uint32_t kExhaustiveMacroblocks = (1U << 24) / 128;

TEST(RgbInputKernels, EveryColour) {
  const InputKernel kernel = KernelOf(KernelTier::plain, ClientFormat::rgb32);
  Bytes bitmap(4 * 256);
  alignas(64) std::array<std::int16_t, 8 * 64> blocks = {};
  for (std::uint32_t index = 0; index < kExhaustiveMacroblocks; ++index) {
    FillExhaustive(bitmap, index);
    kernel(blocks.data(), bitmap.data(), 64);
    for (std::size_t pair = 0; pair < 128; ++pair) {
      const std::uint8_t* const pixel = bitmap.data() + 8 * pair;
      const Rgb colour = {pixel[2], pixel[1], pixel[0]};
      const std::size_t field = pair / 8 % 2;
      const std::size_t line = pair / 16;
      const std::size_t x = pair % 8;
      const std::size_t luma = 64 * (2 * field + x / 4) + 8 * line + 2 * (x % 4);
      const int expectedLuma = ReferenceLuma(colour);
      if (blocks[luma] != expectedLuma || blocks[luma + 1] != expectedLuma ||
          blocks[64 * (4 + 2 * field) + 8 * line + x] != ReferenceCb(colour, colour) ||
          blocks[64 * (5 + 2 * field) + 8 * line + x] != ReferenceCr(colour, colour)) {
        FAIL() << "colour " << index * 128 + pair;
      }
    }
  }
}

class RgbInputVectorTest : public TierTest {};

TEST_P(RgbInputVectorTest, SameBitsAsPlainForEveryColour) {
  const InputKernel kernel = KernelOf(GetParam(), ClientFormat::rgb32);
  const InputKernel plain = KernelOf(KernelTier::plain, ClientFormat::rgb32);
  Bytes bitmap(4 * 256);
  alignas(64) std::array<std::int16_t, 8 * 64> mine = {};
  alignas(64) std::array<std::int16_t, 8 * 64> expected = {};
  for (std::uint32_t index = 0; index < kExhaustiveMacroblocks; ++index) {
    FillExhaustive(bitmap, index);
    kernel(mine.data(), bitmap.data(), 64);
    plain(expected.data(), bitmap.data(), 64);
    ASSERT_EQ(mine, expected) << "macroblock " << index;
  }
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RgbInputVectorTest);
INSTANTIATE_TEST_SUITE_P(VectorTiers, RgbInputVectorTest, testing::ValuesIn(VectorTiers()),
                         TierName);

class RgbInputTest : public TierTest {
 protected:
  struct Pair {
    int luma0;
    int luma1;
    int cb;
    int cr;
  };

  /// What the first two pixels of an RGB24 macroblock become.
  static Pair Convert(const Rgb& left, const Rgb& right) {
    Bytes bitmap(3 * 256);
    const auto store = [&](std::size_t offset, const Rgb& pixel) {
      bitmap[offset] = static_cast<std::uint8_t>(pixel.blue);
      bitmap[offset + 1] = static_cast<std::uint8_t>(pixel.green);
      bitmap[offset + 2] = static_cast<std::uint8_t>(pixel.red);
    };
    store(0, left);
    store(3, right);
    alignas(64) std::array<std::int16_t, 8 * 64> blocks = {};
    KernelOf(GetParam(), ClientFormat::rgb24)(blocks.data(), bitmap.data(), 48);
    return {blocks[0], blocks[1], blocks[std::size_t{4} * 64], blocks[std::size_t{5} * 64]};
  }
};

TEST_P(RgbInputTest, KnownColours) {
  const Pair black = Convert({0, 0, 0}, {0, 0, 0});
  EXPECT_EQ(black.luma0, 16);
  EXPECT_EQ(black.cb, 128);
  EXPECT_EQ(black.cr, 128);
  const Pair white = Convert({255, 255, 255}, {255, 255, 255});
  EXPECT_EQ(white.luma1, 235);
  EXPECT_EQ(white.cb, 128);
  EXPECT_EQ(white.cr, 128);
  const Pair red = Convert({255, 0, 0}, {255, 0, 0});
  EXPECT_EQ(red.luma0, 81);
  EXPECT_EQ(red.cr, 239);
}

TEST_P(RgbInputTest, ChrominanceIsThatOfTheTruncatedAverage) {
  // Blue 0 and 255 average to 127.
  EXPECT_EQ(Convert({0, 0, 0}, {0, 0, 255}).cb, 28770 * 127 / 65535 + 128);
  for (int left = 0; left < 256; ++left) {
    for (int right = 0; right < 256; right += 5) {
      const Pair pair = Convert({left, right, left / 2}, {right, left, 255 - right});
      ASSERT_EQ(pair.cb, ReferenceCb({left, right, left / 2}, {right, left, 255 - right}));
      ASSERT_EQ(pair.cr, ReferenceCr({left, right, left / 2}, {right, left, 255 - right}));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, RgbInputTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
