#include "decoder/bit_reader.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/bit_string.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

BitReader ReaderAt(const Bytes& bytes) {
  BitReader reader;
  reader.Attach(bytes);
  return reader;
}

/// Position of the next bit, from the frame's first.
std::size_t Position(const BitReader& reader) {
  return static_cast<std::size_t>(reader.BitPosition());
}

TEST(BitReader, PeekIsBigEndianAndConsumesNothing) {
  const Bytes bytes = {0x12, 0x34, 0x56, 0x78, 0x9A};
  BitReader reader = ReaderAt(bytes);
  EXPECT_EQ(reader.BitCount(), 0U);
  EXPECT_EQ(reader.Peek32(), 0x12345678U);
  EXPECT_EQ(reader.Peek32(), 0x12345678U);
  EXPECT_EQ(reader.BitCount(), 32U);
  EXPECT_EQ(reader.NextOffset(), 4U);
}

TEST(BitReader, SkipAnyNumberOfBits) {
  const Bytes bytes = {0x80, 0x00, 0x00, 0x01, 0xFF, 0x00, 0xFF, 0x00};
  for (unsigned bits = 0; bits <= 32; ++bits) {
    BitReader reader = ReaderAt(bytes);
    reader.Refill();
    reader.Skip(bits);
    EXPECT_EQ(reader.BitCount(), 32 - bits);
    BitCursor cursor(bytes, bits);
    EXPECT_EQ(reader.Peek32(), cursor.Take(32)) << bits;
  }
}

TEST(BitReader, RefillLoadsOnlyBelow32Bits) {
  const Bytes bytes(16, 0x55);
  BitReader reader = ReaderAt(bytes);
  reader.Refill();
  EXPECT_EQ(reader.NextOffset(), 4U);
  reader.Refill();
  EXPECT_EQ(reader.NextOffset(), 4U);
  reader.Skip(1);
  reader.Refill();
  EXPECT_EQ(reader.NextOffset(), 8U);
  EXPECT_EQ(reader.BitCount(), 63U);
}

TEST(BitReader, ZeroBitsBehindTheEndOfAFrameOfAnySize) {
  for (std::size_t size = 0; size <= 12; ++size) {
    const GuardedBuffer frame(Bytes(size, 0xFF));
    BitReader reader;
    reader.Attach(frame.Bytes());
    for (std::size_t position = 0; position < 200; position += 7) {
      BitCursor cursor(frame.Bytes(), position);
      ASSERT_EQ(reader.Peek32(), cursor.Take(32)) << size << " bytes, bit " << position;
      reader.Skip(7);
    }
  }
}

TEST(BitReader, AttachAndSeekForgetWhatWasLoaded) {
  const Bytes bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  BitReader reader = ReaderAt(bytes);
  reader.Refill();
  reader.Skip(3);
  reader.Refill();
  reader.SeekBit(40);
  EXPECT_EQ(reader.BitCount(), 32U);
  EXPECT_EQ(reader.Peek32(), 0x06070809U);
  reader.SeekBit(11);
  EXPECT_EQ(reader.Peek32(), 0x10182028U);
  reader.Attach(std::span(bytes).subspan(8));
  EXPECT_EQ(reader.BitCount(), 0U);
  EXPECT_EQ(reader.Peek32(), 0x090A0000U);
}

TEST(BitReader, SeekBehindTheEndYieldsZeros) {
  const GuardedBuffer frame(Bytes(6, 0xFF));
  for (const std::size_t offset : {std::size_t{6}, std::size_t{7}, std::size_t{1000}}) {
    BitReader reader;
    reader.Attach(frame.Bytes());
    reader.SeekBit(8 * offset);
    EXPECT_EQ(reader.Peek32(), 0U);
    EXPECT_FALSE(reader.NextStartCode());
  }
}

TEST(StartCodeSearch, LoadsTheCodeAndTheWordBehindIt) {
  const Bytes bytes = {0xFF, 0, 0, 1, 0xB3, 0x11, 0x22, 0x33, 0x44, 0x55};
  BitReader reader = ReaderAt(bytes);
  ASSERT_TRUE(reader.NextStartCode());
  EXPECT_EQ(reader.BitCount(), 64U);
  EXPECT_EQ(reader.NextOffset(), 9U);
  EXPECT_EQ(reader.Peek32(), 0x000001B3U);
  reader.Skip(32);
  EXPECT_EQ(reader.Peek32(), 0x11223344U);
}

TEST(StartCodeSearch, FindsTheSameCodeAgainWhenNothingWasConsumed) {
  const Bytes bytes = {0, 0, 1, 0xB3, 0, 0, 1, 0xB5, 9, 9, 9, 9};
  BitReader reader = ReaderAt(bytes);
  ASSERT_TRUE(reader.NextStartCode());
  ASSERT_TRUE(reader.NextStartCode());
  EXPECT_EQ(reader.Peek32(), 0x000001B3U);
  EXPECT_EQ(reader.NextOffset(), 8U);
}

TEST(StartCodeSearch, GoesOnAtTheNextWholeByte) {
  // With five bits of the first byte consumed the search begins at the second.
  const Bytes bytes = {0, 0, 0, 1, 0xB3, 0, 0, 1, 0xB5, 0, 0, 0};
  BitReader reader = ReaderAt(bytes);
  reader.Refill();
  reader.Skip(5);
  ASSERT_TRUE(reader.NextStartCode());
  EXPECT_EQ(reader.Peek32(), 0x000001B3U);
  EXPECT_EQ(Position(reader), 8U);
  // One bit into the prefix is one byte past its beginning.
  reader.Skip(1);
  ASSERT_TRUE(reader.NextStartCode());
  EXPECT_EQ(reader.Peek32(), 0x000001B5U);
}

TEST(StartCodeSearch, FindsAPrefixAtAnyAddress) {
  for (std::size_t zeros = 2; zeros < 12; ++zeros) {
    for (std::size_t lead = 0; lead < 9; ++lead) {
      Bytes bytes(lead, 0x7F);
      bytes.insert(bytes.end(), zeros, 0);
      bytes.insert(bytes.end(), {1, 0x42, 5, 6, 7, 8});
      BitReader reader = ReaderAt(bytes);
      ASSERT_TRUE(reader.NextStartCode());
      EXPECT_EQ(Position(reader), 8 * (lead + zeros - 2)) << lead << " " << zeros;
      EXPECT_EQ(reader.Peek32(), 0x00000142U);
    }
  }
}

TEST(StartCodeSearch, NeedsThePrefixInsideTheFrame) {
  const Bytes whole = {9, 9, 9, 9, 9, 0, 0, 1};
  const GuardedBuffer atEnd(whole);
  BitReader reader;
  reader.Attach(atEnd.Bytes());
  ASSERT_TRUE(reader.NextStartCode());
  EXPECT_EQ(reader.Peek32(), 0x00000100U);  // its last byte is behind the end

  for (std::size_t size = 0; size < whole.size(); ++size) {
    const GuardedBuffer cut(std::span<const std::uint8_t>(whole).first(size));
    reader.Attach(cut.Bytes());
    EXPECT_FALSE(reader.NextStartCode()) << size;
    EXPECT_EQ(reader.Peek32(), 0U);
    EXPECT_FALSE(reader.NextStartCode()) << size;
  }
}

TEST(StartCodeSearch, NothingToFindStandsAtTheEnd) {
  const GuardedBuffer frame(Bytes(100, 0));
  BitReader reader;
  reader.Attach(frame.Bytes());
  reader.Refill();
  EXPECT_FALSE(reader.NextStartCode());
  EXPECT_EQ(Position(reader), 800U);
  EXPECT_EQ(reader.Peek32(), 0U);
}

TEST(WordAlignment, LoadsNothingAtAWord) {
  alignas(8) const std::array<std::uint8_t, 16> bytes = {1, 2, 3, 4, 5, 6, 7, 8};
  BitReader reader;
  reader.Attach(bytes);
  reader.AlignToWord();
  EXPECT_EQ(reader.NextOffset(), 0U);
  EXPECT_EQ(reader.BitCount(), 0U);
  reader.Refill();
  reader.Skip(9);
  reader.AlignToWord();
  EXPECT_EQ(reader.NextOffset(), 4U);
  EXPECT_EQ(reader.BitCount(), 23U);
}

// At every address, with every number of bits in the buffer: the next load is at a word and the
// next bit is the same.
TEST(WordAlignment, KeepsTheBitsAtAnyAddressAndBitCount) {
  alignas(8) std::array<std::uint8_t, 64> bytes = {};
  Random random(81);
  for (std::uint8_t& byte : bytes) {
    byte = random.Byte();
  }
  for (std::size_t address = 0; address < 8; ++address) {
    for (std::size_t size = 0; size <= 24; ++size) {
      const auto frame = std::span(bytes).subspan(address, size);
      for (std::size_t start = 0; start < 8; ++start) {
        for (unsigned skipped = 0; skipped <= 64; ++skipped) {
          BitReader reader;
          reader.Attach(frame);
          // 0 to 64 bits in the buffer.
          reader.SeekBit(8 * start);
          reader.Skip(std::min(skipped, 32U));
          if (skipped > 0) {
            reader.Refill();
            reader.Skip(skipped - std::min(skipped, 32U));
          }
          const std::size_t position = 8 * start + skipped;
          reader.AlignToWord();
          if (reader.NextOffset() <= size) {
            ASSERT_EQ((address + reader.NextOffset()) % 4, 0U);
            ASSERT_EQ(Position(reader), position);
          }
          BitCursor cursor(frame, position);
          ASSERT_EQ(reader.Peek32(), cursor.Take(32))
              << "address " << address << " size " << size << " bit " << position;
        }
      }
    }
  }
}

TEST(WordAlignment, WorksWithAFullBuffer) {
  const Bytes content = {0, 0, 1, 0xB3, 0x10, 0x32, 0x54, 0x76, 0x98};
  for (std::size_t address = 0; address < 4; ++address) {
    alignas(4) std::array<std::uint8_t, 16> bytes = {};
    std::copy(content.begin(), content.end(), bytes.begin() + static_cast<std::ptrdiff_t>(address));
    BitReader reader;
    reader.Attach(std::span(bytes).subspan(address));
    ASSERT_TRUE(reader.NextStartCode());
    ASSERT_EQ(reader.BitCount(), 64U);
    reader.AlignToWord();
    EXPECT_EQ((address + reader.NextOffset()) % 4, 0U);
    EXPECT_EQ(reader.Peek32(), 0x000001B3U);
    reader.Skip(32);
    EXPECT_EQ(reader.Peek32(), 0x10325476U);
    reader.Skip(32);
    EXPECT_EQ(reader.Peek32() >> 24, 0x98U);
  }
}

// Any sequence of operations against a model that knows nothing but the position.
TEST(BitReader, RandomOperations) {
  Random random(82);
  for (int round = 0; round < 3000; ++round) {
    Bytes content(random.Below(60));
    for (std::uint8_t& byte : content) {
      byte = random.OneIn(3) ? random.Byte() : static_cast<std::uint8_t>(random.Below(2));
    }
    const GuardedBuffer frame(content);
    BitReader reader;
    reader.Attach(frame.Bytes());
    std::size_t position = 0;
    for (int step = 0; step < 60; ++step) {
      switch (random.Below(6)) {
        case 0:
          reader.AlignToWord();
          break;
        case 1: {
          std::size_t byte = (position + 7) / 8;
          while (byte + 3 <= content.size() &&
                 (content[byte] != 0 || content[byte + 1] != 0 || content[byte + 2] != 1)) {
            ++byte;
          }
          const bool found = byte + 3 <= content.size();
          ASSERT_EQ(reader.NextStartCode(), found);
          position = 8 * (found ? byte : content.size());
          break;
        }
        case 2:
          position = random.Below(8 * 70);
          reader.SeekBit(position);
          break;
        default: {
          const unsigned bits = random.Below(33);
          reader.Refill();
          reader.Skip(bits);
          position += bits;
          break;
        }
      }
      BitCursor cursor(frame.Bytes(), position);
      ASSERT_EQ(reader.Peek32(), cursor.Take(32)) << "round " << round << " bit " << position;
      ASSERT_LE(reader.BitCount(), 64U);
    }
  }
}

}  // namespace

}  // namespace qivm::test
