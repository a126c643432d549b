#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>

#include "mpeg2/macroblock_record.h"
#include "tests/core/kernel_variants.h"
#include "tests/support/random.h"
#include "tests/support/reference_kernels.h"

namespace qivm::test {

/// How large the random values of a block are.
enum class Spread : std::uint8_t { small, level, extreme, full };
constexpr std::array<Spread, 4> kSpreads = {Spread::small, Spread::level, Spread::extreme,
                                            Spread::full};

inline std::int16_t RandomCoefficient(Random& random, Spread spread) {
  switch (spread) {
    case Spread::small:
      return static_cast<std::int16_t>(random.Between(-8, 8));
    case Spread::level:
      return static_cast<std::int16_t>(random.Between(-2048, 2047));
    case Spread::extreme:
      return static_cast<std::int16_t>(random.OneIn(2) ? 32767 : -32768);
    case Spread::full:
      break;
  }
  return random.Word();
}

/// A record between guard bytes, for kernels that must change nothing but the blocks they are told
/// of.
class KernelRecord {
 public:
  explicit KernelRecord(int blockCount) {
    storage_->record.blockCount = static_cast<std::int16_t>(blockCount);
    storage_->before.fill(kGuard);
    storage_->after.fill(kGuard);
  }

  MacroblockRecord& Record() { return storage_->record; }
  Block Get(int index) {
    Block block = {};
    const auto values = Record().Block(index);
    std::copy(values.begin(), values.end(), block.begin());
    return block;
  }
  void Set(int index, const Block& block) {
    std::copy(block.begin(), block.end(), Record().Block(index).begin());
  }
  /// Fills every block, those behind blockCount included.
  void Randomise(Random& random, Spread spread) {
    for (std::int16_t& value : Record().coefficients) {
      value = RandomCoefficient(random, spread);
    }
  }

  /// Runs a kernel and expects every block to become `reference(block, index)`, and everything
  /// else to stay.
  template <typename Reference>
  void ExpectKernel(MacroblockKernel kernel, Reference reference) {
    const auto before = std::make_unique<Storage>(*storage_);
    kernel(Record());
    for (int index = 0; index < Record().blockCount; ++index) {
      Block expected = {};
      const auto values = before->record.Block(index);
      std::copy(values.begin(), values.end(), expected.begin());
      reference(expected, index);
      ASSERT_EQ(Get(index), expected) << "block " << index;
    }
    const std::size_t used = static_cast<std::size_t>(Record().blockCount) * 64;
    for (std::size_t i = used; i < Record().coefficients.size(); ++i) {
      ASSERT_EQ(Record().coefficients[i], before->record.coefficients[i]) << "beyond the blocks";
    }
    EXPECT_EQ(Record().intraMatrixLuma, before->record.intraMatrixLuma);
    EXPECT_EQ(Record().intraMatrixChroma, before->record.intraMatrixChroma);
    EXPECT_EQ(Record().blockCount, before->record.blockCount);
    EXPECT_EQ(Record().column, before->record.column);
    EXPECT_EQ(Record().row, before->record.row);
    EXPECT_EQ(Record().parameters.quantiserScaleCode, before->record.parameters.quantiserScaleCode);
    EXPECT_EQ(Record().parameters.qScaleType, before->record.parameters.qScaleType);
    EXPECT_EQ(storage_->before, before->before);
    EXPECT_EQ(storage_->after, before->after);
  }

 private:
  static constexpr std::uint8_t kGuard = 0xA5;

  struct Storage {
    std::array<std::uint8_t, 256> before = {};
    MacroblockRecord record;
    std::array<std::uint8_t, 256> after = {};
  };

  std::unique_ptr<Storage> storage_ = std::make_unique<Storage>();
};

/// Runs the same kernel of a variant and of the plain one on random macroblocks and expects the
/// same bits.
template <MacroblockKernel KernelSet::*kKernel>
void ExpectSameAsPlain(const KernelVariant& variant, std::uint64_t seed) {
  const MacroblockKernel kernel = KernelsFor(variant).*kKernel;
  const MacroblockKernel plain = KernelsFor(kPlainKernels).*kKernel;
  Random random(seed);
  constexpr int kRounds = 4000;
  for (int round = 0; round < kRounds; ++round) {
    constexpr std::array<int, 3> kBlockCounts = {6, 8, 12};
    KernelRecord mine(kBlockCounts[random.Below(3)]);
    mine.Randomise(random, kSpreads[random.Below(4)]);
    MacroblockRecord& record = mine.Record();
    record.parameters.qScaleType = static_cast<std::uint8_t>(random.Below(2));
    record.parameters.quantiserScaleCode = static_cast<std::uint8_t>(random.Between(1, 31));
    KernelRecord theirs(record.blockCount);
    theirs.Record() = record;
    kernel(record);
    plain(theirs.Record());
    ASSERT_EQ(record.coefficients, theirs.Record().coefficients) << "round " << round;
  }
}

}  // namespace qivm::test
