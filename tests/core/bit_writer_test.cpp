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
  explicit Output(std::size_t size) : buffer_(Bytes(size, 0xCD)) { writer_.Reset(buffer_.Bytes()); }
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
  EXPECT_FALSE(output.Writer().Overflowed());
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

TEST(BitWriter, RoomIsMadeOnlyWhenItLacks) {
  for (unsigned pending = 0; pending <= 64; ++pending) {
    for (unsigned bits = 1; bits <= 33; ++bits) {
      Output output(64);
      for (unsigned i = 0; i < pending; ++i) {
        output.Writer().Put(0, 1);
      }
      output.Writer().MakeRoom(bits);
      EXPECT_EQ(output.Writer().BytesWritten(), 64 - pending < bits ? 4U : 0U);
    }
  }
}

TEST(BitWriter, RandomFields) {
  Random random(151);
  for (int round = 0; round < 300; ++round) {
    Output output(1000);
    BitString expected;
    for (std::uint32_t count = random.Below(150); count > 0; --count) {
      const unsigned bits = 1 + random.Below(24);
      const std::uint32_t value = random.Next() & ((1U << bits) - 1);
      output.Writer().MakeRoom(bits);
      output.Writer().Put(value, bits);
      expected.Put(value, bits);
      if (random.OneIn(20)) {
        output.Writer().PutStartCode(0x101);
        expected.PutStartCode(0x101);
      }
    }
    output.Writer().WriteSequenceEnd();
    expected.PutStartCode(0x1B7);
    ASSERT_EQ(output.Written(), expected.Bytes());
    EXPECT_FALSE(output.Writer().Overflowed());
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

TEST(BitWriter, JoinPadsBothPartsAndAlignsTheSecond) {
  for (unsigned mainWords = 0; mainWords < 9; ++mainWords) {
    for (const unsigned pending : {0U, 1U, 31U, 32U, 33U}) {
      Output main(128);
      Output other(64);
      BitString expected;
      for (unsigned i = 0; i < mainWords; ++i) {
        main.Writer().PutStartCode(0x101 + i);
        expected.PutStartCode(0x101 + i);
      }
      for (unsigned i = 0; i < pending; ++i) {
        main.Writer().Put(1, 1);
        expected.PutBit(true);
      }
      expected.AlignTo(16);
      other.Writer().PutStartCode(0x120);
      other.Writer().Put(5, 3);
      expected.PutStartCode(0x120).Put(5, 3).AlignTo(4);
      main.Writer().Join(other.Writer());
      EXPECT_EQ(main.Written(), expected.Bytes());
      EXPECT_FALSE(main.Writer().Overflowed());
      EXPECT_TRUE(main.RestUntouched());
    }
  }
}

TEST(BitWriter, JoinedPartFitsToTheLastByteOrNotAtAll) {
  for (std::size_t size = 16; size <= 40; ++size) {
    Output main(size);
    Output other(64);
    main.Writer().PutStartCode(0x101);
    for (int i = 0; i < 5; ++i) {
      other.Writer().PutStartCode(0x102);
    }
    main.Writer().Join(other.Writer());
    EXPECT_EQ(main.Writer().Overflowed(), size < 36) << size;
    EXPECT_TRUE(main.RestUntouched());
  }
}

TEST(BitWriter, JoinTellsThatTheOtherPartIsNotWhole) {
  Output main(64);
  Output other(4);
  main.Writer().PutStartCode(0x101);
  other.Writer().PutStartCode(0x102);
  other.Writer().WriteSequenceEnd();
  ASSERT_TRUE(other.Writer().Overflowed());
  main.Writer().Join(other.Writer());
  EXPECT_TRUE(main.Writer().Overflowed());
}

// Whatever the output's size, nothing is written behind it, and the lack is told.
TEST(BitWriter, OverflowIsToldAndWritesNothingOutside) {
  for (std::size_t size = 0; size <= 24; ++size) {
    Output words(size);
    for (int i = 0; i < 5; ++i) {
      words.Writer().Put(0xABCDEF01, 32);
      words.Writer().FlushWord();
    }
    EXPECT_EQ(words.Writer().Overflowed(), size < 20) << size;
    EXPECT_LE(words.Writer().BytesWritten(), size);
    EXPECT_TRUE(words.RestUntouched());

    Output bytes(size);
    bytes.Writer().PutBytes(Bytes(12, 7));
    EXPECT_EQ(bytes.Writer().Overflowed(), size < 12) << size;
    EXPECT_TRUE(bytes.RestUntouched());
  }
}

TEST(BitWriter, ResetStartsAfresh) {
  GuardedBuffer buffer(8);
  BitWriter writer;
  writer.Reset(buffer.Bytes().first(2));
  writer.Put(0xFFFF, 16);
  writer.FlushWord();
  ASSERT_TRUE(writer.Overflowed());
  writer.Put(0x7F, 7);
  writer.Reset(buffer.Bytes());
  EXPECT_FALSE(writer.Overflowed());
  EXPECT_EQ(writer.BytesWritten(), 0U);
  writer.WriteSequenceEnd();
  EXPECT_EQ(writer.BytesWritten(), 4U);
  EXPECT_EQ(buffer.Bytes()[0], 0);
}

}  // namespace

}  // namespace qivm::test
