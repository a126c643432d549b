#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <numbers>
#include <vector>

#include "kernels/kernel_set.h"
#include "mpeg2/macroblock_record.h"
#include "tests/core/kernel_tiers.h"
#include "tests/support/random.h"
#include "tests/support/reference_kernels.h"

namespace qivm::test {

/// The tiers whose kernels must give the same bits as the plain ones.
inline std::vector<KernelTier> VectorTiers() {
  std::vector<KernelTier> tiers = RunnableTiers();
  std::erase(tiers, KernelTier::plain);
  return tiers;
}

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

/// The blocks of a macroblock, each in raster order.
using Blocks = std::array<Block, MacroblockRecord::kBlocks>;

/// A record between guard bytes, for kernels that must change nothing but its values.
class KernelRecord {
 public:
  KernelRecord() {
    storage_->before.fill(kGuard);
    storage_->after.fill(kGuard);
    Record().column = kColumn;
    Record().row = kRow;
    Record().frameDct = true;
  }

  MacroblockRecord& Record() { return storage_->record; }

  Blocks Samples() {
    Blocks blocks;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      std::copy_n(Record().Block(i), MacroblockRecord::kBlockSize, blocks[i].begin());
    }
    return blocks;
  }
  void SetSamples(const Blocks& blocks) {
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      std::copy(blocks[i].begin(), blocks[i].end(), Record().Block(i));
    }
  }
  Blocks Coefficients() {
    Blocks blocks;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      for (std::size_t position = 0; position < blocks[i].size(); ++position) {
        blocks[i][position] = Record().Column(i, position % 8)[position / 8];
      }
    }
    return blocks;
  }
  void SetCoefficients(const Blocks& blocks) {
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      for (std::size_t position = 0; position < blocks[i].size(); ++position) {
        Record().Column(i, position % 8)[position / 8] = blocks[i][position];
      }
    }
  }

  /// What the kernel makes of these samples.
  Blocks Fdct(MacroblockKernel kernel, const Blocks& samples) {
    SetSamples(samples);
    kernel(Record());
    return Coefficients();
  }
  /// What the kernel makes of these coefficients.
  Blocks Idct(MacroblockKernel kernel, const Blocks& coefficients) {
    SetCoefficients(coefficients);
    kernel(Record());
    return Samples();
  }

  /// Expects that nothing but the values has changed since the record was made.
  void ExpectTheRestUnchanged() {
    EXPECT_EQ(Record().column, kColumn);
    EXPECT_EQ(Record().row, kRow);
    EXPECT_TRUE(Record().frameDct);
    const auto isGuard = [](std::uint8_t byte) { return byte == kGuard; };
    EXPECT_TRUE(std::all_of(storage_->before.begin(), storage_->before.end(), isGuard));
    EXPECT_TRUE(std::all_of(storage_->after.begin(), storage_->after.end(), isGuard));
  }

 private:
  static constexpr std::uint8_t kGuard = 0xA5;
  static constexpr std::int16_t kColumn = 0x1234;
  static constexpr std::int16_t kRow = -0x1234;

  struct Storage {
    std::array<std::uint8_t, 256> before = {};
    MacroblockRecord record;
    std::array<std::uint8_t, 256> after = {};
  };

  std::unique_ptr<Storage> storage_ = std::make_unique<Storage>();
};

/// Blocks of which every value is made by make().
template <typename Make>
Blocks BlocksOf(Make make) {
  Blocks blocks;
  for (Block& block : blocks) {
    std::generate(block.begin(), block.end(), make);
  }
  return blocks;
}

/// One dimension of the exact transform (Annex A): what frequency `k` has of the value at `n`.
inline double BasisOf(std::size_t k, std::size_t n) {
  const double scale = k == 0 ? std::sqrt(0.125) : 0.5;
  return scale * std::cos((2.0 * static_cast<double>(n) + 1) * static_cast<double>(k) *
                          std::numbers::pi / 16);
}

}  // namespace qivm::test
