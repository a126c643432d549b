#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>
#include <vector>

#include "tests/core/kernel_record.h"
#include "tests/support/client_pictures.h"

namespace qivm::test {

namespace {

/// The samples of a macroblock as a kernel takes them.
using Samples = std::array<std::int16_t, 8 * 64>;

/// The block and the position in it of a macroblock's sample.
std::int16_t SampleAt(const Samples& samples, bool frameDct, Component component, std::size_t x,
                      std::size_t y) {
  const std::size_t half = frameDct ? y / 8 : y % 2;
  const std::size_t line = frameDct ? y % 8 : y / 2;
  if (component == Component::luma) {
    return samples[64 * (2 * half + x / 8) + 8 * line + x % 8];
  }
  return samples[64 * (4 + 2 * half + (component == Component::cr ? 1 : 0)) + 8 * line + x];
}

/// A bitmap of 3 x 3 macroblocks, of which the middle one is written.
class Target {
 public:
  static constexpr int kSize = 48;

  explicit Target(ClientFormat format)
      : format_(format), bytes_(BitmapBytes(format, kSize, kSize)) {
    Random random(51);
    for (std::uint8_t& byte : bytes_) {
      byte = random.Byte();
    }
  }

  void Write(OutputKernel kernel, const Samples& samples) {
    const auto pitch = static_cast<std::ptrdiff_t>(BitmapBytes(format_, kSize, 1));
    const std::ptrdiff_t column = std::ptrdiff_t{16} * BytesPerPixel(format_);
    if (IsRgb(format_)) {
      kernel(bytes_.data() + 31 * pitch + column, samples.data(), -pitch);
    } else {
      kernel(bytes_.data() + 16 * pitch + column, samples.data(), pitch);
    }
  }
  void WriteReference(const Samples& samples, bool frameDct) {
    for (std::size_t y = 0; y < 16; ++y) {
      for (std::size_t x = 0; x < 16; x += 2) {
        const auto at = [&](Component component, std::size_t sampleX) {
          return SampleAt(samples, frameDct, component, sampleX, y);
        };
        StorePixelPair(format_, kSize, kSize, bytes_, static_cast<int>(16 + x),
                       static_cast<int>(16 + y), at(Component::luma, x), at(Component::luma, x + 1),
                       at(Component::cb, x / 2), at(Component::cr, x / 2));
      }
    }
  }
  const Bytes& Contents() const { return bytes_; }

 private:
  ClientFormat format_;
  Bytes bytes_;
};

struct OutputCase {
  KernelTier tier;
  ClientFormat format;
  bool frameDct;
};

std::vector<OutputCase> OutputCases() {
  std::vector<OutputCase> cases;
  for (const KernelTier tier : RunnableTiers()) {
    for (const ClientFormat format : kOutputFormats) {
      cases.push_back({tier, format, true});
      cases.push_back({tier, format, false});
    }
  }
  return cases;
}

OutputKernelPair KernelsOf(KernelTier tier, ClientFormat format) {
  return KernelsFor(tier).Output(format);
}

class OutputKernelsTest : public testing::TestWithParam<OutputCase> {
 protected:
  void ExpectReference(const Samples& samples) const { ExpectReference(samples, samples); }

  /// What becomes of some samples is what the reference makes of others.
  void ExpectReference(const Samples& samples, const Samples& others) const {
    Target mine(GetParam().format);
    Target expected(GetParam().format);
    const OutputKernelPair kernels = KernelsOf(GetParam().tier, GetParam().format);
    mine.Write(GetParam().frameDct ? kernels.frameDct : kernels.fieldDct, samples);
    expected.WriteReference(others, GetParam().frameDct);
    ASSERT_EQ(mine.Contents(), expected.Contents());
  }
};

TEST_P(OutputKernelsTest, RandomSamples) {
  Random random(52);
  for (int round = 0; round < 100; ++round) {
    Samples samples = {};
    for (std::int16_t& sample : samples) {
      sample = random.Byte();
    }
    ExpectReference(samples);
  }
}

TEST_P(OutputKernelsTest, SamplesOutsideTheByteRange) {
  Random random(53);
  for (const Spread spread : kSpreads) {
    for (int round = 0; round < 50; ++round) {
      Samples samples = {};
      for (std::int16_t& sample : samples) {
        sample = RandomCoefficient(random, spread);
      }
      ExpectReference(samples);
    }
  }
}

TEST_P(OutputKernelsTest, JustOutsideTheByteRange) {
  Random random(54);
  for (int round = 0; round < 100; ++round) {
    Samples samples = {};
    for (std::int16_t& sample : samples) {
      sample = static_cast<std::int16_t>(random.Between(-300, 600));
    }
    ExpectReference(samples);
  }
}

// Without a difference of colour, RGB comes out as if the luminance had been a byte too.
TEST_P(OutputKernelsTest, GreyBeyondBlackAndWhite) {
  for (const auto& [luma, nearest] : {std::pair{300, 255}, std::pair{-5, 0}}) {
    Samples samples = {};
    samples.fill(128);
    std::fill_n(samples.begin(), 4 * 64, static_cast<std::int16_t>(luma));
    Samples others = samples;
    std::fill_n(others.begin(), 4 * 64, static_cast<std::int16_t>(nearest));
    ExpectReference(samples, others);
  }
}

TEST_P(OutputKernelsTest, EveryBlockReachesItsPixels) {
  for (std::size_t i = 0; i < 8 * 64; ++i) {
    Samples samples = {};
    samples.fill(100);
    samples[i] = 200;
    ExpectReference(samples);
  }
}

std::string OutputCaseName(const testing::TestParamInfo<OutputCase>& info) {
  return NameOf(info.param.tier) + FormatName(info.param.format) +
         (info.param.frameDct ? "Frame" : "Field");
}

INSTANTIATE_TEST_SUITE_P(AllKernels, OutputKernelsTest, testing::ValuesIn(OutputCases()),
                         OutputCaseName);

/// Macroblocks that together hold every triple of byte samples, each twice: Y runs over the
/// pixels, Cb and Cr over the pairs and the macroblocks.
void FillExhaustive(Samples& samples, std::uint32_t index) {
  for (std::uint32_t pair = 0; pair < 128; ++pair) {
    const std::uint32_t triple = (index * 128 + pair) * 2;  // Y low bits, then Cb, then Cr
    const std::size_t half = pair / 64;
    const std::size_t line = pair % 64 / 8;
    const std::size_t x = pair % 8;
    const auto y = static_cast<std::int16_t>(triple & 0xFF);
    const std::size_t luma = 64 * (2 * half + x / 4) + 8 * line + 2 * (x % 4);
    samples[luma] = y;
    samples[luma + 1] = static_cast<std::int16_t>(y + 1);
    samples[64 * (4 + 2 * half) + 8 * line + x] = static_cast<std::int16_t>((triple >> 8) & 0xFF);
    samples[64 * (5 + 2 * half) + 8 * line + x] = static_cast<std::int16_t>(triple >> 16);
  }
}
constexpr std::uint32_t kExhaustiveMacroblocks = (1U << 24) / 256;

TEST(RgbOutputKernels, EveryColour) {
  const OutputKernel kernel = KernelsOf(KernelTier::plain, ClientFormat::rgb32).frameDct;
  Samples samples = {};
  std::array<std::uint8_t, 4 * 256> pixels = {};
  for (std::uint32_t index = 0; index < kExhaustiveMacroblocks; ++index) {
    FillExhaustive(samples, index);
    kernel(pixels.data(), samples.data(), 64);
    for (std::size_t pixel = 0; pixel < 256; ++pixel) {
      const std::size_t x = pixel % 16;
      const std::size_t y = pixel / 16;
      const Rgb expected = ReferenceToRgb(SampleAt(samples, true, Component::luma, x, y),
                                          SampleAt(samples, true, Component::cb, x / 2, y),
                                          SampleAt(samples, true, Component::cr, x / 2, y));
      if (pixels[4 * pixel] != expected.blue || pixels[4 * pixel + 1] != expected.green ||
          pixels[4 * pixel + 2] != expected.red) {
        FAIL() << "macroblock " << index << " pixel " << pixel;
      }
    }
  }
}

class RgbOutputVectorTest : public TierTest {};

TEST_P(RgbOutputVectorTest, SameBitsAsPlainForEveryColour) {
  for (const ClientFormat format : {ClientFormat::rgb24, ClientFormat::rgb32}) {
    const OutputKernel kernel = KernelsOf(GetParam(), format).fieldDct;
    const OutputKernel plain = KernelsOf(KernelTier::plain, format).fieldDct;
    Samples samples = {};
    std::array<std::uint8_t, 4 * 256> mine = {};
    std::array<std::uint8_t, 4 * 256> expected = {};
    const std::ptrdiff_t pitch = std::ptrdiff_t{16} * BytesPerPixel(format);
    // Every colour in RGB32; every seventh macroblock of them in RGB24.
    const std::uint32_t step = format == ClientFormat::rgb32 ? 1 : 7;
    for (std::uint32_t i = 0; i < kExhaustiveMacroblocks; i += step) {
      FillExhaustive(samples, i);
      kernel(mine.data(), samples.data(), pitch);
      plain(expected.data(), samples.data(), pitch);
      ASSERT_EQ(mine, expected) << "macroblock " << i;
    }
  }
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RgbOutputVectorTest);
INSTANTIATE_TEST_SUITE_P(VectorTiers, RgbOutputVectorTest, testing::ValuesIn(VectorTiers()),
                         TierName);

class RgbOutputTest : public TierTest {};

TEST_P(RgbOutputTest, BlackAndWhite) {
  const OutputKernelPair kernels = KernelsOf(GetParam(), ClientFormat::rgb24);
  std::array<std::uint8_t, 3 * 256> pixels = {};
  Samples samples = {};
  samples.fill(128);
  std::fill_n(samples.begin(), 4 * 64, std::int16_t{16});
  kernels.fieldDct(pixels.data(), samples.data(), 48);
  EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), [](int byte) { return byte == 0; }));
  std::fill_n(samples.begin(), 4 * 64, std::int16_t{235});
  kernels.fieldDct(pixels.data(), samples.data(), 48);
  EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), [](int byte) { return byte == 255; }));
}

TEST_P(RgbOutputTest, FourthByteIsLeftAlone) {
  const OutputKernelPair kernels = KernelsOf(GetParam(), ClientFormat::rgb32);
  for (const OutputKernel kernel : {kernels.frameDct, kernels.fieldDct}) {
    std::array<std::uint8_t, 4 * 256> pixels = {};
    for (std::size_t i = 0; i < 256; ++i) {
      pixels[4 * i + 3] = static_cast<std::uint8_t>(i);
    }
    Samples samples = {};
    samples.fill(200);
    kernel(pixels.data(), samples.data(), 64);
    for (std::size_t i = 0; i < 256; ++i) {
      ASSERT_EQ(pixels[4 * i + 3], i);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, RgbOutputTest, testing::ValuesIn(RunnableTiers()), TierName);

// In a field macroblock the second row of the picture is the first row of block 2.
TEST(OutputKernels, SecondRowOfAFieldMacroblock) {
  Samples samples = {};
  for (std::size_t x = 0; x < 8; ++x) {
    samples[2 * 64 + x] = static_cast<std::int16_t>(10 + x);
  }
  std::array<std::uint8_t, 2 * 256> pixels = {};
  KernelsOf(KernelTier::plain, ClientFormat::yuy2).fieldDct(pixels.data(), samples.data(), 32);
  for (std::size_t x = 0; x < 8; ++x) {
    EXPECT_EQ(pixels[32 + 2 * x], 10 + x);
  }
}

}  // namespace

}  // namespace qivm::test
