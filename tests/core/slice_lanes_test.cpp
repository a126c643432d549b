// Slices read side by side: the same levels as SliceReader's, whatever the slices hold and whatever
// lies beside them; and what is well-formed is read by the lanes themselves.

#include "decoder/slice_lanes.h"

#include <gtest/gtest.h>

#include "tests/core/random_pictures.h"
#include "tests/core/slice_runs.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

using Slices = std::vector<std::span<const std::uint8_t>>;

/// Slices one behind the other, with no more than what a frame always has before them, in memory
/// that ends with the last.
class Frame {
 public:
  explicit Frame(const std::vector<Bytes>& slices, std::size_t behind = 0)
      : bytes_(Joined(slices, behind)) {
    std::size_t at = kBefore;
    for (const Bytes& slice : slices) {
      slices_.push_back(bytes_.Bytes().subspan(at, slice.size()));
      at += slice.size();
    }
  }

  std::span<const std::uint8_t> AllBytes() const { return bytes_.Bytes(); }
  const Slices& AllSlices() const { return slices_; }

 private:
  static constexpr std::size_t kBefore = sizeof(LaneWord);

  static Bytes Joined(const std::vector<Bytes>& slices, std::size_t behind) {
    Bytes joined(kBefore, 0xFF);
    for (const Bytes& slice : slices) {
      joined.insert(joined.end(), slice.begin(), slice.end());
    }
    joined.insert(joined.end(), behind, 0xFF);
    return joined;
  }

  GuardedBuffer bytes_;
  Slices slices_;
};

/// Enough bytes behind the slices that the lanes come nowhere near the end of the frame.
constexpr std::size_t kPlenty = 64;

/// Reads the slices side by side and expects of each what SliceReader makes of it. Returns how many
/// macroblocks had to be read again.
int ExpectAsReadCarefully(const Frame& frame, const PictureParameters& parameters,
                          int macroblocks) {
  const LaneRun run = ReadInLanes(frame.AllBytes(), frame.AllSlices(), parameters, macroblocks);
  for (std::size_t i = 0; i < frame.AllSlices().size(); ++i) {
    EXPECT_EQ(run.macroblocks[i], ReadCarefully(frame.AllSlices()[i], parameters, macroblocks))
        << "slice " << i;
  }
  return run.readAgain;
}

/// A slice of one macroblock with the given AC bits in one block, the other blocks empty.
Bytes SliceWith(const BitString& ac, unsigned target, unsigned lead = 0) {
  BitString bits;
  bits.Put("00001");
  // Bytes of extra information move the macroblock to any bit of a byte.
  bits.Put(lead == 0 ? "0" : "1 1 0000000");
  for (unsigned i = 0; i < lead; ++i) {
    bits.Put("1 01010101");
  }
  bits.Put(lead == 0 ? "" : "0").Put("111");
  for (unsigned block = 0; block < 8; ++block) {
    bits.Put(block < 4 ? "100" : "00");
    if (block == target) {
      bits.Put(ac);
    } else {
      bits.Put("0110");
    }
  }
  return bits.AlignTo(4).Bytes();
}

ModelPicture OneMacroblock() { return FlatPicture(1, 1); }

TEST(SliceLanes, EveryCodeInEveryBlock) {
  const PictureParameters parameters = ParametersOf(OneMacroblock());
  for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
    std::vector<Bytes> slices;
    for (unsigned target = 0; target < 8; ++target) {
      BitString ac;
      ac.Put(entry.bits, entry.length).PutBit(target % 2 == 0).Put(kReferenceEndOfBlock);
      slices.push_back(SliceWith(ac, target, target));
      if (slices.size() == SliceLanes::kLanes) {
        ASSERT_EQ(ExpectAsReadCarefully(Frame(slices, kPlenty), parameters, 1), 0);
        slices.clear();
      }
    }
  }
}

// The lanes have a place for every level of an escape but those whose low byte is zero, which they
// cannot tell from nothing.
TEST(SliceLanes, EveryEscape) {
  const PictureParameters parameters = ParametersOf(OneMacroblock());
  for (unsigned run = 0; run < 64; ++run) {
    for (unsigned level = 0; level < 4096; level += SliceLanes::kLanes) {
      std::vector<Bytes> slices;
      int expectedAgain = 0;
      for (unsigned i = 0; i < SliceLanes::kLanes; ++i) {
        BitString ac;
        ac.Put(kReferenceEscape).Put(run, 6).Put(level + i, 12).Put(kReferenceEndOfBlock);
        slices.push_back(SliceWith(ac, (run + i) % 8, i));
        expectedAgain += (level + i) % 256 == 0 || run == 63 ? 1 : 0;
      }
      ASSERT_EQ(ExpectAsReadCarefully(Frame(slices, kPlenty), parameters, 1), expectedAgain)
          << run << "/" << level;
    }
  }
}

TEST(SliceLanes, EveryDcDifferential) {
  const PictureParameters parameters = ParametersOf(OneMacroblock());
  for (const bool luma : {true, false}) {
    const auto& codes = luma ? kReferenceDcLuma : kReferenceDcChroma;
    for (unsigned size = 0; size < 12; ++size) {
      for (unsigned value = 0; value < 1U << size; ++value) {
        BitString bits;
        bits.Put("00001 0 111");
        for (unsigned block = 0; block < 8; ++block) {
          if ((block < 4) == luma) {
            bits.Put(codes[size]).Put(value, size);
          } else {
            bits.Put(block < 4 ? "100" : "00");
          }
          bits.Put("100 0110");  // a level behind it
        }
        ASSERT_EQ(ExpectAsReadCarefully(Frame({bits.Bytes()}, kPlenty), parameters, 1), 0);
      }
    }
  }
}

TEST(SliceLanes, FullBlocksAndOnesThatAreTooFull) {
  const PictureParameters parameters = ParametersOf(OneMacroblock());
  for (const std::string_view code : {"100", "1100", "0100", "000001 000000 000010000001"}) {
    for (int levels = 58; levels <= 70; ++levels) {
      for (unsigned target = 0; target < 8; ++target) {
        BitString ac;
        for (int i = 0; i < levels; ++i) {
          ac.Put(code);
        }
        ac.Put(kReferenceEndOfBlock);
        const int last = code == "0100" ? 2 * levels : levels;  // this code has a run of 1
        EXPECT_EQ(ExpectAsReadCarefully(Frame({SliceWith(ac, target)}, kPlenty), parameters, 1),
                  last > 63 ? 1 : 0)
            << code << " " << levels;
      }
    }
  }
}

TEST(SliceLanes, CodesOfNoTableInEveryBlock) {
  const PictureParameters parameters = ParametersOf(OneMacroblock());
  for (const unsigned zeros : {12U, 13U, 14U, 15U, 16U, 17U, 20U, 32U}) {
    for (unsigned target = 0; target < 8; ++target) {
      for (const std::string_view before : {"", "100", "100100100100"}) {
        BitString ac;
        ac.Put(before).Put(0, zeros).Put("1").Put(kReferenceEndOfBlock);
        const Bytes slice = SliceWith(ac, target);
        EXPECT_EQ(ExpectAsReadCarefully(Frame({slice, slice}, kPlenty), parameters, 1), 2);
      }
    }
  }
}

/// The slices of a random picture, behind their start codes.
std::vector<Bytes> RandomSlices(Random& random, std::size_t count, int columns,
                                PictureParameters& parameters) {
  const ModelPicture picture = RandomPicture(random, columns, static_cast<int>(count));
  parameters = ParametersOf(picture);
  std::vector<Bytes> slices;
  for (const ModelSlice& slice : picture.slices) {
    BitString bits;
    PutSlice(bits, picture, slice);
    slices.emplace_back(bits.Bytes().begin() + 4, bits.Bytes().end());
  }
  return slices;
}

TEST(SliceLanes, RandomPicturesOnAnyNumberOfLanes) {
  Random random(301);
  int again = 0;
  for (int round = 0; round < 400; ++round) {
    PictureParameters parameters;
    const std::size_t lanes = 1 + random.Below(SliceLanes::kLanes);
    const auto slices = RandomSlices(random, lanes, 5, parameters);
    again += ExpectAsReadCarefully(Frame(slices, kPlenty), parameters, 5);
    // At the end of memory the last windows cannot be loaded.
    ExpectAsReadCarefully(Frame(slices), parameters, 5);
  }
  // Levels of 256 times something are rare.
  EXPECT_LT(again, 400);
}

// Whatever is cut off, zeros follow: the slices beside know nothing of it.
TEST(SliceLanes, EveryTruncation) {
  Random random(302);
  for (int round = 0; round < 6; ++round) {
    PictureParameters parameters;
    const auto slices = RandomSlices(random, 3, 3, parameters);
    for (std::size_t size = 0; size < slices[1].size(); ++size) {
      const auto cutAt = static_cast<std::ptrdiff_t>(size);
      const Bytes cut(slices[1].begin(), slices[1].begin() + cutAt);
      ExpectAsReadCarefully(Frame({slices[0], cut, slices[2]}), parameters, 3);
      ExpectAsReadCarefully(Frame({slices[0], slices[2], cut}), parameters, 3);
      if (HasFailure()) {
        FAIL() << "round " << round << " size " << size;
      }
    }
  }
}

TEST(SliceLanes, EveryBitInverted) {
  Random random(303);
  for (int round = 0; round < 3; ++round) {
    PictureParameters parameters;
    auto slices = RandomSlices(random, 2, 2, parameters);
    for (std::size_t bit = 0; bit < 8 * slices[0].size(); ++bit) {
      const auto mask = static_cast<std::uint8_t>(0x80U >> (bit % 8));
      slices[0][bit / 8] ^= mask;
      ExpectAsReadCarefully(Frame(slices), parameters, 2);
      slices[0][bit / 8] ^= mask;
      if (HasFailure()) {
        FAIL() << "round " << round << " bit " << bit;
      }
    }
  }
}

TEST(SliceLanes, RandomBits) {
  Random random(304);
  for (int round = 0; round < 5000; ++round) {
    ModelPicture picture = FlatPicture(1, 1);
    picture.intraDcPrecision = random.Between(0, 3);
    picture.framePredFrameDct = random.OneIn(3) ? 1 : 0;
    std::vector<Bytes> slices(1 + random.Below(SliceLanes::kLanes));
    for (Bytes& slice : slices) {
      // Few bits set leads to the long codes, many to full blocks.
      const std::uint8_t mask = random.OneIn(2) ? 0xFF : 0x5B;
      const std::uint8_t set = random.OneIn(3) ? 0x92 : 0;
      slice.resize(random.Below(300));
      for (std::uint8_t& byte : slice) {
        byte = static_cast<std::uint8_t>((random.Byte() & mask) | set);
      }
    }
    ExpectAsReadCarefully(Frame(slices), ParametersOf(picture), 4);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

}  // namespace

}  // namespace qivm::test
