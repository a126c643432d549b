// What only the native platform layer lets a test see: allocations, texts for the debugger, and
// the system refusing what it is asked for.

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/platform_hooks.h"
#include "platform/row_crew.h"
#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

using platform::Operation;

constexpr int kWidth = 48;
constexpr int kHeight = 80;

/// Counts the operations, and lets the given one fail.
struct Observed {
  std::atomic<int> allocations = 0;
  std::atomic<int> events = 0;
  std::atomic<int> threads = 0;
  std::atomic<int> operations = 0;
  int failing = -1;
};
Observed* g_observed = nullptr;
std::vector<std::string>* g_texts = nullptr;

bool Observe(Operation operation) {
  switch (operation) {
    case Operation::allocate:
      ++g_observed->allocations;
      break;
    case Operation::createEvent:
      ++g_observed->events;
      break;
    case Operation::startThread:
      ++g_observed->threads;
      break;
  }
  return g_observed->operations++ == g_observed->failing;
}

class PlatformHooksTest : public testing::Test {
 protected:
  PlatformHooksTest() {
    g_observed = &observed_;
    g_texts = &texts_;
    platform::Hooks().fails = &Observe;
    platform::Hooks().debugText = [](const char* text) { g_texts->emplace_back(text); };
  }
  ~PlatformHooksTest() override { platform::Hooks() = {}; }

  void Restart(int failing = -1) {
    observed_.allocations = 0;
    observed_.events = 0;
    observed_.threads = 0;
    observed_.operations = 0;
    observed_.failing = failing;
  }

  Observed observed_;
  std::vector<std::string> texts_;
};

TEST_F(PlatformHooksTest, FramesAllocateNothing) {
  for (const unsigned count : {1U, 2U, 5U}) {
    const Processor processor = Processors(count);
    const Bytes calm = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 1);
    const Bytes noise = BlackWhiteNoiseBitmap(ClientFormat::yuy2, kWidth, kHeight, 1);
    Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, processor);
    Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, processor);
    EXPECT_GT(observed_.allocations, 0);
    Restart();
    for (const Order order : {Order::plain, Order::shifted}) {
      const Bytes stream = compressor.Encode(calm, 8000, order);
      decompressor.Decode(stream, order);
      // A frame that does not fit at first, and one that ends by a fault.
      decompressor.Decode(compressor.Encode(noise, 10000, order), order);
      ModelPicture faulty = ParsePicture(stream);
      faulty.intraVlcFormat = 0;
      decompressor.Decode(StreamOf(faulty), order);
      EXPECT_EQ(decompressor.Outcome(), FrameOutcome::faulted);
    }
    EXPECT_EQ(observed_.operations, 0);
  }
}

TEST_F(PlatformHooksTest, NothingIsMadeForASecondThreadOnOneProcessor) {
  Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, Processors(1));
  Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, Processors(1));
  EXPECT_EQ(observed_.events, 0);
  EXPECT_EQ(observed_.threads, 0);
}

TEST_F(PlatformHooksTest, AsManyThreadsAsProcessorsAndRows) {
  for (const unsigned processors : {2U, 3U, 64U}) {
    Restart();
    const int helpers = static_cast<int>(std::min(processors, kHeight / 16U)) - 1;
    const Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, Processors(processors));
    EXPECT_EQ(observed_.threads, helpers);
    const Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, Processors(processors));
    EXPECT_EQ(observed_.threads, 2 * helpers);
  }
}

TEST_F(PlatformHooksTest, NoThreadIsMadeForASmallPicture) {
  // 15 macroblocks: what Processor holds worth waking a thread for is more.
  const Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, {KernelTier::plain, 64});
  const Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, {KernelTier::plain, 64});
  EXPECT_EQ(observed_.threads, 0);
}

// Whatever is refused, in its turn: what one thread needs fails the beginning, what further ones
// need leaves fewer threads. Frames come out right as soon as there are any.
TEST_F(PlatformHooksTest, EveryRefusalWhileADecompressorBegins) {
  const ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
  const Bytes stream = StreamOf(picture);
  const BitmapInfoHeader format = UncompressedHeader(ClientFormat::yuy2, kWidth, kHeight);
  Bytes expected = Background(ClientFormat::yuy2, kWidth, kHeight);
  ModelDecode(picture, ClientFormat::yuy2, kWidth, kHeight, expected);
  const auto decodes = [&](DecompressorContext& context) {
    Bytes bitmap = Background(ClientFormat::yuy2, kWidth, kHeight);
    const BitmapInfoHeader inputFormat = CompressedHeader(kWidth, kHeight, stream.size());
    BitmapInfoHeader outputFormat = format;
    return context.DecodeFrame({&inputFormat, stream.data(), &outputFormat, bitmap.data()}) ==
               FrameOutcome::done &&
           bitmap == expected;
  };

  DecompressorContext alone;
  Restart();
  ASSERT_TRUE(alone.Begin(format, Processors(1)));
  const int neededAlone = observed_.operations;
  DecompressorContext together;
  Restart();
  ASSERT_TRUE(together.Begin(format, Processors(3)));
  const int neededTogether = observed_.operations;
  // At least a thread and what wakes it, for each of two.
  ASSERT_GT(neededTogether, neededAlone + 4);

  DecompressorContext context;
  for (int failing = 0; failing < neededTogether; ++failing) {
    Restart(failing);
    const bool begun = context.Begin(format, Processors(3));
    EXPECT_EQ(begun, failing >= neededAlone) << failing;
    EXPECT_LT(context.Threads(), 3U);
    if (begun) {
      EXPECT_TRUE(decodes(context)) << failing;
    }
    Restart();
    if (failing % 2 == 0) {
      context.End();
    }
    ASSERT_TRUE(context.Begin(format, Processors(3)));
    EXPECT_EQ(context.Threads(), 3U);
    EXPECT_TRUE(decodes(context)) << failing;
  }
}

TEST_F(PlatformHooksTest, EveryRefusalWhileACompressorBegins) {
  const BitmapInfoHeader output = CompressedHeader(kWidth, kHeight);
  const BitmapInfoHeader input = UncompressedHeader(ClientFormat::yuy2, kWidth, kHeight);
  const Bytes bitmap = NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 1);
  const auto encodes = [&](CompressorContext& context) {
    Bytes stream(std::size_t{kWidth} * kHeight * 3);
    BitmapInfoHeader header = output;
    const FrameOutcome outcome =
        context.EncodeFrame({&header, stream.data(), &input, bitmap.data(), nullptr, 8000});
    stream.resize(header.biSizeImage);
    // However many threads there are, it is a machine with several processors.
    return outcome == FrameOutcome::done &&
           stream == ModelEncode(ClientFormat::yuy2, kWidth, kHeight, bitmap, 2, Parts::two);
  };

  CompressorContext alone;
  Restart();
  ASSERT_TRUE(alone.Begin(output, input, Processors(1)));
  const int neededAlone = observed_.operations;
  CompressorContext together;
  Restart();
  ASSERT_TRUE(together.Begin(output, input, Processors(3)));
  const int neededTogether = observed_.operations;
  ASSERT_GT(neededTogether, neededAlone + 4);

  CompressorContext context;
  for (int failing = 0; failing < neededTogether; ++failing) {
    Restart(failing);
    const bool begun = context.Begin(output, input, Processors(3));
    EXPECT_EQ(begun, failing >= neededAlone) << failing;
    EXPECT_LT(context.Threads(), 3U);
    if (begun) {
      EXPECT_TRUE(encodes(context)) << failing;
    }
    Restart();
    if (failing % 2 == 0) {
      context.End();
    }
    ASSERT_TRUE(context.Begin(output, input, Processors(3)));
    EXPECT_EQ(context.Threads(), 3U);
    EXPECT_TRUE(encodes(context)) << failing;
  }
}

TEST_F(PlatformHooksTest, CrewDoesWithoutTheHelpersThatCannotBeMade) {
  for (int failing = 0; failing < 10; ++failing) {
    Restart(failing);
    RowCrew crew;
    crew.Start(4);
    // The event of all, then three operations for each of three helpers.
    EXPECT_EQ(crew.Seats(), failing == 0 ? 1U : 1U + static_cast<unsigned>(failing - 1) / 3);
    Restart();
    crew.Start(4);
    EXPECT_EQ(crew.Seats(), 4U);
    crew.Stop();
    EXPECT_EQ(crew.Seats(), 1U);
  }
}

TEST_F(PlatformHooksTest, HeapBufferThatCannotGrowIsEmpty) {
  HeapBuffer buffer;
  ASSERT_TRUE(buffer.Allocate(100));
  EXPECT_EQ(buffer.Bytes().size(), 100U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Bytes().data()) % 4096, 0U);
  Restart(0);
  EXPECT_FALSE(buffer.Allocate(200));
  EXPECT_TRUE(buffer.Bytes().empty());
}

TEST_F(PlatformHooksTest, OrdinaryFramesSayNothing) {
  Compressor compressor(ClientFormat::yuy2, kWidth, kHeight, Processors(1));
  Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, Processors(1));
  decompressor.Decode(
      compressor.Encode(NaturalBitmap(ClientFormat::yuy2, kWidth, kHeight, 1), 8000));
  EXPECT_TRUE(texts_.empty());
}

TEST_F(PlatformHooksTest, TextOfTableZero) {
  ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
  picture.intraVlcFormat = 0;
  Decompressor decompressor(ClientFormat::rgb24, kWidth, kHeight, Processors(1));
  decompressor.Decode(StreamOf(picture));
  EXPECT_EQ(texts_, (std::vector<std::string>{"USING TABLE ZERO\n"}));
}

// The two flags are looked at where they stand without matrices.
TEST_F(PlatformHooksTest, TextsOfQuantiserMatrices) {
  const std::string intra = "Intra quantizer matrix present\n";
  const std::string nonIntra = "Non-intra quantizer matrix present\n";
  for (unsigned bits = 0; bits < 4; ++bits) {
    texts_.clear();
    ModelPicture picture = FlatPicture(kWidth / 16, kHeight / 16);
    picture.matrixFlags = bits;
    Decompressor decompressor(ClientFormat::yuy2, kWidth, kHeight, Processors(1));
    decompressor.Decode(StreamOf(picture));
    std::vector<std::string> texts;
    if ((bits & 2) != 0) {
      texts.push_back(intra);
    }
    if ((bits & 1) != 0) {
      texts.push_back(nonIntra);
    }
    EXPECT_EQ(texts_, texts) << bits;
  }
}

}  // namespace

}  // namespace qivm::test
