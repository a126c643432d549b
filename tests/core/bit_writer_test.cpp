#include "encoder/bit_writer.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/bit_string.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

/// A writer over a buffer that ends where memory ends.
class Output {
 public:
  explicit Output(std::size_t size) : buffer_(Bytes(size, 0xCD)), writer_(buffer_.Bytes()) {}
  BitWriter& Writer() { return writer_; }
  Bytes Written() const {
    const auto bytes = buffer_.Bytes().first(writer_.BytesWritten());
    return {bytes.begin(), bytes.end()};
  }
  /// Whether every byte behind the written ones is as it was.
  bool RestUntouched() const {
    const auto rest = buffer_.Bytes().subspan(writer_.BytesWritten());
    return std::all_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return byte == 0xCD; });
  }

 private:
  GuardedBuffer buffer_;
  BitWriter writer_;
};

TEST(BitWriter, SequenceEndAloneTakesFourBytes) {
  Output output(4);
  output.Writer().WriteSequenceEnd();
  EXPECT_EQ(output.Written(), (Bytes{0, 0, 1, 0xB7}));
  EXPECT_EQ(output.Writer().BytesWritten(), 4U);
}

TEST(BitWriter, PendingBitsBeforeAStartCode) {
  for (unsigned bits = 0; bits < 64; ++bits) {
    Output output(64);
    BitString expected;
    for (unsigned i = 0; i < bits; ++i) {
      output.Writer().Put(1, 1);
      expected.PutBit(true);
    }
    output.Writer().PutStartCode(0x1B8);
    expected.PutStartCode(0x1B8);
    EXPECT_EQ(output.Written(), expected.Bytes()) << bits;
    // No word for no bits, one for 1 to 32, two for more.
    EXPECT_EQ(output.Writer().BytesWritten(), (bits + 31) / 32 * 4 + 4);
    EXPECT_TRUE(output.RestUntouched());
  }
}

TEST(BitWriter, FlushWordOfNothingStoresAZeroWord) {
  Output output(8);
  output.Writer().FlushWord();
  EXPECT_EQ(output.Written(), (Bytes{0, 0, 0, 0}));
  output.Writer().Put(0xFFFFFFFF, 32);
  output.Writer().FlushWord();
  EXPECT_EQ(output.Written(), (Bytes{0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(BitWriter, RandomFields) {
  Random random(151);
  for (int round = 0; round < 300; ++round) {
    Output output(1000);
    BitString expected;
    unsigned pending = 0;
    for (std::uint32_t count = random.Below(150); count > 0; --count) {
      const unsigned bits = 1 + random.Below(24);
      const std::uint32_t value = random.Next() & ((1U << bits) - 1);
      if (pending + bits > 64) {
        output.Writer().FlushWord();
        pending -= 32;
      }
      output.Writer().Put(value, bits);
      pending += bits;
      expected.Put(value, bits);
      if (random.OneIn(20)) {
        output.Writer().PutStartCode(0x101);
        expected.PutStartCode(0x101);
        pending = 0;
      }
    }
    output.Writer().WriteSequenceEnd();
    expected.PutStartCode(0x1B7);
    ASSERT_EQ(output.Written(), expected.Bytes());
  }
}

TEST(BitWriter, BytesAreCopiedAsTheyAre) {
  Output output(16);
  const Bytes text = {'t', 'e', 'x', 't', 0, 1, 2, 3};
  output.Writer().PutStartCode(0x1B2);
  output.Writer().PutBytes(text);
  output.Writer().WriteSequenceEnd();
  EXPECT_EQ(output.Written(),
            (Bytes{0, 0, 1, 0xB2, 't', 'e', 'x', 't', 0, 1, 2, 3, 0, 0, 1, 0xB7}));
}

}  // namespace

}  // namespace qivm::test
