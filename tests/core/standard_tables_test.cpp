// The tables of ISO/IEC 13818-2 as the codec has them: against a second copy, and against the
// properties that any misprint would break.

#include <algorithm>
#include <gtest/gtest.h>

#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"
#include "mpeg2/vlc.h"
#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

std::string Text(const mpeg2::Code& code) {
  std::string text;
  for (unsigned i = code.length; i-- > 0;) {
    text += (code.bits >> i & 1) != 0 ? '1' : '0';
  }
  return text;
}

/// The share of all bit strings that begin with a code, in 65536ths.
unsigned Share(unsigned length) { return 65536U >> length; }

// The figures give the index of every position, the codec's tables the position of every index.
TEST(Scans, AreThoseOfTheFigures) {
  for (std::size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(kReferenceZigzag[mpeg2::kZigzagScan[i]], i);
    EXPECT_EQ(kReferenceAlternate[mpeg2::kAlternateScan[i]], i);
  }
}

TEST(Scans, ByAlternateScan) {
  EXPECT_EQ(mpeg2::kScans[0], mpeg2::kZigzagScan);
  EXPECT_EQ(mpeg2::kScans[1], mpeg2::kAlternateScan);
}

TEST(Quantiser, DefaultIntraMatrix) {
  for (std::size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(mpeg2::kDefaultIntraMatrix[i], kReferenceMatrix[i]) << i;
  }
}

TEST(Quantiser, Scales) {
  for (int code = 0; code < 32; ++code) {
    EXPECT_EQ(mpeg2::kQuantiserScale[0][static_cast<std::size_t>(code)], ReferenceScale(0, code));
    EXPECT_EQ(mpeg2::kQuantiserScale[1][static_cast<std::size_t>(code)], ReferenceScale(1, code));
  }
  EXPECT_EQ(mpeg2::kQuantiserScale[0][16], 22);
  EXPECT_EQ(mpeg2::kQuantiserScale[1][16], 24);
  EXPECT_EQ(mpeg2::kQuantiserScale[1][31], 112);
}

TEST(DcSizeCodes, AreThoseOfTheTables) {
  for (std::size_t size = 0; size < 12; ++size) {
    EXPECT_EQ(Text(mpeg2::kDcSizeLuma[size]), kReferenceDcLuma[size]);
    EXPECT_EQ(Text(mpeg2::kDcSizeChroma[size]), kReferenceDcChroma[size]);
  }
}

// No bit string is left without a meaning: the decoder's table look-up cannot fail.
TEST(DcSizeCodes, LeaveNothingFree) {
  for (const auto& codes : {mpeg2::kDcSizeLuma, mpeg2::kDcSizeChroma}) {
    unsigned sum = 0;
    for (const mpeg2::Code& code : codes) {
      sum += Share(code.length);
    }
    EXPECT_EQ(sum, 65536U);
  }
}

TEST(RunLevelCodes, AreThoseOfTheTable) {
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    const ReferenceRunLevel* const reference = FindRunLevel(entry.run, entry.level);
    ASSERT_NE(reference, nullptr) << int{entry.run} << "/" << int{entry.level};
    EXPECT_EQ(entry.code.length, reference->length) << int{entry.run} << "/" << int{entry.level};
    EXPECT_EQ(entry.code.bits, reference->bits) << int{entry.run} << "/" << int{entry.level};
  }
  EXPECT_EQ(Text(mpeg2::kEndOfBlock), kReferenceEndOfBlock);
  EXPECT_EQ(Text(mpeg2::kEscape), kReferenceEscape);
}

TEST(RunLevelCodes, AreListedByRunThenLevelWithoutGaps) {
  int run = 0;
  int level = 0;
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    if (entry.run != run) {
      EXPECT_EQ(entry.run, run + 1);
      run = entry.run;
      level = 0;
    }
    EXPECT_EQ(entry.level, level + 1);
    level = entry.level;
  }
  EXPECT_EQ(run, 31);
}

// Signed codes, end of block and escape together; 144 of the 65536 strings of 16 bits begin with
// none of them.
TEST(RunLevelCodes, LeaveTheRightShareFree) {
  unsigned sum = Share(mpeg2::kEndOfBlock.length) + Share(mpeg2::kEscape.length);
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    sum += Share(entry.code.length);  // both signs
  }
  EXPECT_EQ(sum, 65536U - 144U);
}

TEST(RunLevelCodes, NoneIsThePrefixOfAnother) {
  std::vector<std::string> codes = {Text(mpeg2::kEndOfBlock), Text(mpeg2::kEscape)};
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    codes.push_back(Text(entry.code));
  }
  std::sort(codes.begin(), codes.end());
  // A prefix sorts right before what it begins.
  for (std::size_t i = 1; i < codes.size(); ++i) {
    EXPECT_FALSE(codes[i].starts_with(codes[i - 1])) << codes[i - 1] << " and " << codes[i];
  }
}

TEST(RunLevelCodes, LargestLevelOfEachRun) {
  std::array<int, 64> largest = {};
  for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
    largest[entry.run] = std::max(largest[entry.run], int{entry.level});
  }
  for (std::size_t run = 0; run < 64; ++run) {
    int expected = 0;
    if (run == 0) {
      expected = 40;
    } else if (run == 1) {
      expected = 18;
    } else if (run == 2) {
      expected = 5;
    } else if (run == 3) {
      expected = 4;
    } else if (run <= 6) {
      expected = 3;
    } else if (run <= 16) {
      expected = 2;
    } else if (run <= 31) {
      expected = 1;
    }
    EXPECT_EQ(largest[run], expected) << "run " << run;
  }
}

}  // namespace

}  // namespace qivm::test
