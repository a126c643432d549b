#include "decoder/slice_index.h"

#include <gtest/gtest.h>

#include "kernels/start_codes.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/bit_string.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

class SliceIndexTest : public TierTest {
 protected:
  /// Indexes a frame that ends where memory ends.
  void Find(const BitString& bits, int rows, std::size_t offset = 0) {
    frame_ = std::make_unique<GuardedBuffer>(bits.Bytes());
    index_.Find(frame_->Bytes(), offset, rows, KernelsFor(GetParam()).findStartCode, alone_);
  }
  Bytes Slice(int row) const { return {index_.Slice(row).begin(), index_.Slice(row).end()}; }

  SliceIndex index_;

 private:
  RowCrew alone_;
  std::unique_ptr<GuardedBuffer> frame_;
};

TEST_P(SliceIndexTest, SlicesEndAtTheNextStartCode) {
  BitString bits;
  bits.PutStartCode(0x101).Put(0x1234, 16);
  bits.PutStartCode(0x103).Put(0xABCD, 16);
  bits.PutStartCode(0x1B2).Put(0x55, 8);
  bits.PutStartCode(0x102, 1).Put(0x77, 8);
  Find(bits, 3);
  EXPECT_EQ(index_.Found(), 3);
  EXPECT_EQ(Slice(0), (Bytes{0x12, 0x34, 0, 0}));
  EXPECT_EQ(Slice(1), (Bytes{0x77}));
  EXPECT_EQ(Slice(2), (Bytes{0xAB, 0xCD, 0, 0}));
  EXPECT_FALSE(index_.Has(3));
}

// A bit inverted in the zero bytes before a slice leaves 00 00 01 00 00 01: the slice is still
// there.
TEST_P(SliceIndexTest, ACodesValueCanBeginTheNextCode) {
  BitString bits;
  bits.PutStartCode(0x101).Put(7, 8).PutStartCode(0x100).Put(0x0001'02, 24).Put(8, 8);
  Find(bits, 2);
  EXPECT_EQ(index_.Found(), 2);
  EXPECT_EQ(Slice(1), Bytes{8});
}

TEST_P(SliceIndexTest, AFrameBeforeIsForgotten) {
  BitString bits;
  bits.PutStartCode(0x101).PutStartCode(0x102);
  Find(bits, 2);
  ASSERT_TRUE(index_.Has(1));
  Find(BitString().PutStartCode(0x101), 2);
  EXPECT_FALSE(index_.Has(1));
  EXPECT_EQ(index_.Found(), 1);
}

TEST_P(SliceIndexTest, TheLastSliceOfARowCounts) {
  BitString bits;
  bits.PutStartCode(0x102).Put(1, 8);
  bits.PutStartCode(0x101).Put(2, 8);
  bits.PutStartCode(0x102).Put(3, 8);
  Find(bits, 2);
  EXPECT_EQ(index_.Found(), 3);
  EXPECT_EQ(Slice(1), (Bytes{3}));
}

TEST_P(SliceIndexTest, RowsOutsideThePictureCountAsFound) {
  BitString bits;
  bits.PutStartCode(0x1AF).Put(9, 8).PutStartCode(0x1B0).Put(8, 8).PutStartCode(0x100);
  Find(bits, 1);
  EXPECT_EQ(index_.Found(), 1);
  EXPECT_EQ(Slice(SliceIndex::kMaxRows - 1).front(), 9);
}

// A slice may begin with the frame's last byte; its start code must be whole.
TEST_P(SliceIndexTest, StartCodesAtTheEnd) {
  BitString whole;
  whole.PutStartCode(0x101).Put(7, 8).PutStartCode(0x102, 1);
  Find(whole, 2);
  EXPECT_EQ(index_.Found(), 2);
  EXPECT_TRUE(index_.Has(1));
  EXPECT_TRUE(index_.Slice(1).empty());
  for (int missing = 1; missing <= 4; ++missing) {
    BitString cut;
    cut.PutBytes(
        std::span(whole.Bytes()).first(whole.Bytes().size() - static_cast<unsigned>(missing)));
    Find(cut, 2);
    EXPECT_EQ(index_.Found(), 1) << missing;
    // The rest of the code is not the slice's.
    EXPECT_EQ(Slice(0).front(), 7);
    EXPECT_LE(Slice(0).size(), 3U);
  }
}

TEST_P(SliceIndexTest, BeginsAtAnOffset) {
  BitString bits;
  bits.PutStartCode(0x101).PutStartCode(0x102);
  Find(bits, 2, 1);
  EXPECT_FALSE(index_.Has(0));
  EXPECT_TRUE(index_.Has(1));
  Find(bits, 2, 8);
  EXPECT_EQ(index_.Found(), 0);
}

// What a buffer holds behind a frame that is whole is not of it; where a slice is missing the end
// code may be the damage, and the search goes on.
TEST_P(SliceIndexTest, SequenceEndCodeEndsAWholeFrame) {
  BitString bits;
  bits.PutStartCode(0x101).Put(1, 8).PutStartCode(0x102).Put(1, 8);
  bits.PutStartCode(0x1B7).PutStartCode(0x101).Put(2, 8);
  Find(bits, 2);
  EXPECT_EQ(index_.Found(), 2);
  EXPECT_EQ(Slice(0).front(), 1);
  Find(bits, 3);
  EXPECT_EQ(index_.Found(), 3);
  EXPECT_EQ(Slice(0).front(), 2);
}

TEST_P(SliceIndexTest, ZerosAlone) {
  for (std::size_t size = 0; size < 40; ++size) {
    BitString bits;
    for (std::size_t i = 0; i < size; ++i) {
      bits.Put(0, 8);
    }
    Find(bits, 1);
    EXPECT_EQ(index_.Found(), 0);
  }
}

// Several threads look for the start codes, each in its parts of the frame. Random bytes of few
// values hold as many codes as there can be, at every border of two parts.
TEST_P(SliceIndexTest, TheSameWithAnyNumberOfThreads) {
  const StartCodeKernel findStartCode = KernelsFor(GetParam()).findStartCode;
  Random random(77);
  RowCrew alone;
  for (const unsigned threads : {2U, 3U, 8U}) {
    RowCrew crew;
    crew.Start(threads);
    ASSERT_EQ(crew.Seats(), threads);
    for (int round = 0; round < 60; ++round) {
      Bytes frame(1 + random.Below(300000));
      // From a code every few bytes to one in a hundred thousand.
      const std::uint32_t values = 2U << random.Below(8);
      for (std::uint8_t& byte : frame) {
        const std::uint32_t value = random.Below(values);
        byte = static_cast<std::uint8_t>(value < 2 ? value : random.Below(256));
      }
      const std::size_t offset = random.Below(static_cast<std::uint32_t>(frame.size()));
      // A frame of a few rows ends at a sequence end code soon.
      const int rows = static_cast<int>(random.Below(2) == 0 ? random.Below(200) : 1000000);
      SliceIndex expected;
      expected.Find(frame, offset, rows, &kernels::plain::FindStartCode, alone);
      index_.Find(frame, offset, rows, findStartCode, crew);
      ASSERT_EQ(index_.Found(), expected.Found());
      ASSERT_EQ(index_.Frame().size(), expected.Frame().size());
      for (int row = 0; row < SliceIndex::kMaxRows; ++row) {
        ASSERT_EQ(index_.Slice(row).data(), expected.Slice(row).data()) << row;
        ASSERT_EQ(index_.Slice(row).size(), expected.Slice(row).size()) << row;
      }
    }
  }
}

// Bytes that the frame's headers promise but memory does not hold: a fault where they might hold a
// slice, and nothing where the frame was whole before.
TEST_P(SliceIndexTest, BytesThatCannotBeRead) {
  BitString bits;
  for (std::uint32_t row = 1; row <= 30; ++row) {
    bits.PutStartCode(0x100 + row).PutBytes(Bytes(3000, 0x55));
  }
  bits.PutStartCode(0x1B7);
  const GuardedBuffer memory(bits.Bytes());
  for (const unsigned threads : {1U, 2U, 8U}) {
    RowCrew crew;
    crew.Start(threads);
    for (const std::size_t beyond : {3U, 4096U, 1000000U}) {
      const std::span<const std::uint8_t> frame(memory.Bytes().data(),
                                                memory.Bytes().size() + beyond);
      auto find = [&](int rows) {
        index_.Find(frame, 0, rows, KernelsFor(GetParam()).findStartCode, crew);
      };
      auto tooFew = [&] { find(31); };
      EXPECT_FALSE(platform::RunGuarded(tooFew));
      auto whole = [&] { find(30); };
      ASSERT_TRUE(platform::RunGuarded(whole));
      EXPECT_EQ(index_.Found(), 30);
      EXPECT_EQ(index_.Frame().size(), memory.Bytes().size());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tiers, SliceIndexTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
