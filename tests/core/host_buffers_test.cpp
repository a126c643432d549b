// The host's buffers at any address, of exactly their size, and two instances at once.

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

#include "tests/core/codec_runs.h"
#include "tests/core/kernel_tiers.h"

namespace qivm::test {

namespace {

constexpr int kWidth = 48;
constexpr int kHeight = 80;

/// `size` bytes at `offset` from a multiple of 64, with nothing behind them.
class BufferAt {
 public:
  BufferAt(std::size_t offset, std::size_t size)
      : memory_(static_cast<std::uint8_t*>(::operator new[](offset + size, kAlignment))),
        offset_(offset) {}
  std::uint8_t* Data() const { return memory_.get() + offset_; }

 private:
  static constexpr std::align_val_t kAlignment{64};

  struct Deleter {
    void operator()(std::uint8_t* memory) const { ::operator delete[](memory, kAlignment); }
  };
  std::unique_ptr<std::uint8_t[], Deleter> memory_;
  std::size_t offset_;
};

class HostBuffersTest : public TierTest {};

TEST_P(HostBuffersTest, AddressesChangeNothing) {
  for (const ClientFormat format : kInputFormats) {
    for (const unsigned processors : {1U, 2U}) {
      const Processor processor = Processors(processors, GetParam());
      CompressorContext compressor;
      ASSERT_TRUE(compressor.Begin(CompressedHeader(kWidth, kHeight),
                                   UncompressedHeader(format, kWidth, kHeight), processor));
      const ClientFormat shown = format == ClientFormat::y16a ? ClientFormat::y16 : format;
      DecompressorContext decompressor;
      ASSERT_TRUE(decompressor.Begin(UncompressedHeader(shown, kWidth, kHeight), processor));
      const Bytes bitmap = NaturalBitmap(format, kWidth, kHeight, 191);
      const Bytes firstStream = Compressor(format, kWidth, kHeight, processor).Encode(bitmap, 6000);
      const Bytes firstBitmap = Decompressor(shown, kWidth, kHeight, processor).Decode(firstStream);

      const std::size_t promised = std::size_t{kWidth} * kHeight * 3;
      for (std::size_t offset = 0; offset <= 64; ++offset) {
        const BufferAt input(offset, bitmap.size());
        const BufferAt output((37 * offset) % 65, promised);
        std::copy(bitmap.begin(), bitmap.end(), input.Data());
        const BitmapInfoHeader inputFormat = UncompressedHeader(format, kWidth, kHeight);
        BitmapInfoHeader outputFormat = CompressedHeader(kWidth, kHeight);
        ASSERT_EQ(compressor.EncodeFrame(
                      {&outputFormat, output.Data(), &inputFormat, input.Data(), nullptr, 6000}),
                  FrameOutcome::done);
        ASSERT_EQ(Bytes(output.Data(), output.Data() + outputFormat.biSizeImage), firstStream)
            << FormatName(format) << " offset " << offset;
        ASSERT_TRUE(std::equal(bitmap.begin(), bitmap.end(), input.Data()));

        const BufferAt frame((11 * offset) % 65, firstStream.size());
        const BufferAt target((23 * offset) % 65, firstBitmap.size());
        const Bytes background = Background(shown, kWidth, kHeight);
        std::copy(firstStream.begin(), firstStream.end(), frame.Data());
        std::copy(background.begin(), background.end(), target.Data());
        const BitmapInfoHeader frameFormat = CompressedHeader(kWidth, kHeight, firstStream.size());
        BitmapInfoHeader targetFormat = UncompressedHeader(shown, kWidth, kHeight);
        ASSERT_EQ(
            decompressor.DecodeFrame({&frameFormat, frame.Data(), &targetFormat, target.Data()}),
            FrameOutcome::done);
        ASSERT_EQ(Bytes(target.Data(), target.Data() + firstBitmap.size()), firstBitmap)
            << FormatName(format) << " offset " << offset;
        ASSERT_TRUE(std::equal(firstStream.begin(), firstStream.end(), frame.Data()));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, HostBuffersTest, testing::ValuesIn(RunnableTiers()), TierName);

// Instances, each used from a thread of its own and some with a crew of their own, disturb each
// other in nothing.
TEST(TwoInstances, GiveTheBytesOfOne) {
  const Bytes bitmap = NaturalBitmap(ClientFormat::rgb32, 160, 144, 192);
  const Bytes stream =
      Compressor(ClientFormat::rgb32, 160, 144, Processors(1)).Encode(bitmap, 9500);
  const Bytes joined =
      Compressor(ClientFormat::rgb32, 160, 144, Processors(2)).Encode(bitmap, 9500);
  const Bytes decoded = Decompressor(ClientFormat::uyvy, 160, 144, Processors(1)).Decode(stream);
  const auto work = [&](unsigned processors, int* failures) {
    Compressor compressor(ClientFormat::rgb32, 160, 144, Processors(processors));
    Decompressor decompressor(ClientFormat::uyvy, 160, 144, Processors(processors));
    for (int round = 0; round < 30; ++round) {
      *failures += compressor.Encode(bitmap, 9500) == (processors > 1 ? joined : stream) ? 0 : 1;
      *failures += decompressor.Decode(joined) == decoded ? 0 : 1;
    }
  };
  int firstFailures = 0;
  int secondFailures = 0;
  int thirdFailures = 0;
  std::thread first(work, 2, &firstFailures);
  std::thread second(work, 2, &secondFailures);
  work(1, &thirdFailures);
  first.join();
  second.join();
  EXPECT_EQ(firstFailures, 0);
  EXPECT_EQ(secondFailures, 0);
  EXPECT_EQ(thirdFailures, 0);
}

}  // namespace

}  // namespace qivm::test
