#include <algorithm>
#include <gtest/gtest.h>

#include "kernels/kernel_set.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

constexpr std::array<std::uint8_t, 3> kPrefix = {0, 0, 1};

// Longer than several steps of the widest vectors.
constexpr std::size_t kLongest = 600;

class StartCodesTest : public TierTest {
 protected:
  /// Expects every prefix of the bytes to be found one after the other, in memory that ends behind
  /// them.
  void ExpectReference(const Bytes& bytes) const {
    const auto range = memory_.Bytes().last(bytes.size());
    std::copy(bytes.begin(), bytes.end(), range.begin());
    const std::uint8_t* const last = range.data() + range.size();
    const std::uint8_t* at = range.data();
    auto expected = bytes.begin();
    do {
      at = findStartCode_(at, last);
      expected = std::search(expected, bytes.end(), kPrefix.begin(), kPrefix.end());
      ASSERT_EQ(at - range.data(), expected - bytes.begin());
      if (at != last) {
        ++at;
        ++expected;
      }
    } while (at != last);
  }

  const StartCodeKernel findStartCode_ = KernelsFor(GetParam()).findStartCode;
  const GuardedBuffer memory_ = GuardedBuffer(kLongest);
};

TEST_P(StartCodesTest, EveryPlaceInEveryLength) {
  for (const auto background : std::to_array<std::uint8_t>({0xFF, 0x01, 0x02})) {
    for (std::size_t length = 0; length < 300; ++length) {
      Bytes bytes(length, background);
      ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes)) << length;
      // At the beginning, at the end and around the vectors' ends behind and before these.
      for (std::size_t place = 0; place + kPrefix.size() <= length; place += 1 + length / 70) {
        std::copy(kPrefix.begin(), kPrefix.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(place));
        ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes)) << place << " of " << length;
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place), kPrefix.size(), background);
      }
    }
  }
}

TEST_P(StartCodesTest, EveryPlaceInALongRange) {
  for (std::size_t place = 0; place + kPrefix.size() <= kLongest; ++place) {
    Bytes bytes(kLongest, 0x80);
    std::copy(kPrefix.begin(), kPrefix.end(), bytes.begin() + static_cast<std::ptrdiff_t>(place));
    ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes)) << place;
  }
}

// Any address: the search begins where the one before has ended.
TEST_P(StartCodesTest, EveryAlignment) {
  Bytes bytes(kLongest, 0x80);
  std::copy(kPrefix.begin(), kPrefix.end(), bytes.end() - 3);
  for (std::size_t first = 0; first < 64; ++first) {
    const std::uint8_t* const last = bytes.data() + bytes.size();
    ASSERT_EQ(findStartCode_(bytes.data() + first, last), last - 3) << first;
  }
}

// A prefix that only what lies behind the range would complete is none.
TEST_P(StartCodesTest, CutOffByTheRange) {
  Bytes bytes(kLongest, 0x80);
  for (std::size_t end = 2; end < 400; ++end) {
    for (const std::size_t missing : {std::size_t{1}, std::size_t{2}}) {
      Bytes cut = bytes;
      std::copy(kPrefix.begin(), kPrefix.end(),
                cut.begin() + static_cast<std::ptrdiff_t>(end + missing) - 3);
      const std::uint8_t* const last = cut.data() + end;
      ASSERT_EQ(findStartCode_(cut.data(), last), last) << missing << " missing at " << end;
    }
  }
}

TEST_P(StartCodesTest, RunsOfZeros) {
  for (std::size_t zeros = 0; zeros < 200; ++zeros) {
    for (const auto before : std::to_array<std::size_t>({0, 1, 2, 63, 64, 65, 127, 128, 129})) {
      Bytes bytes(before, 0x80);
      bytes.insert(bytes.end(), zeros, 0);
      ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes));
      bytes.insert(bytes.end(), {1, 0, 0, 0, 1, 1, 0, 1, 0, 0, 1, 0, 0, 1});
      bytes.insert(bytes.end(), before, 0x80);
      ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes)) << zeros << " zeros behind " << before;
    }
  }
}

// Bytes of which most are 0 or 1, and longer stretches without two zeros in a row.
TEST_P(StartCodesTest, RandomBytes) {
  Random random(81);
  for (int round = 0; round < 5000; ++round) {
    const std::uint32_t others = 1 + random.Below(60);
    const std::uint32_t ones = 1 + random.Below(8);
    Bytes bytes(random.Below(kLongest));
    for (std::uint8_t& byte : bytes) {
      if (!random.OneIn(others)) {
        byte = random.Byte();
      } else {
        byte = random.OneIn(ones) ? 1 : 0;
      }
    }
    ASSERT_NO_FATAL_FAILURE(ExpectReference(bytes)) << "round " << round;
  }
}

INSTANTIATE_TEST_SUITE_P(AllTiers, StartCodesTest, testing::ValuesIn(RunnableTiers()), TierName);

}  // namespace

}  // namespace qivm::test
