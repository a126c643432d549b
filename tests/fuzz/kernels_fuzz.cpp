// Every kernel of every tier that the machine runs on the same values, levels, pixels or bytes: the
// same bits as the plain kernel's. The values are all those that the kernel promises something for.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kernels/kernel_set.h"
#include "tests/core/kernel_tiers.h"
#include "tests/fuzz/fuzz_input.h"

namespace qivm::test {

namespace {

using Values = std::array<std::int16_t, MacroblockRecord::kBlocks * MacroblockRecord::kBlockSize>;

/// What all kernels are given in turn.
struct Macroblock {
  Bytes bytes;
  std::uint8_t qScaleType = 0;
  std::uint8_t quantiserScaleCode = 0;
  bool alternateScan = false;
  bool overrun = false;  ///< a block has a level behind its last position
  unsigned offset = 0;   ///< where in a byte the codes begin

  /// The bytes as numbers, each put through `limit`.
  template <typename Limit>
  Values Words(Limit limit) const {
    Values values;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int word = bytes[2 * i] | bytes[2 * i + 1] << 8;
      values[i] = static_cast<std::int16_t>(limit(static_cast<std::int16_t>(word)));
    }
    return values;
  }
};

std::unique_ptr<MacroblockRecord> RecordOf(const Values& values) {
  auto record = std::make_unique<MacroblockRecord>();
  record->values = values;
  return record;
}

void CompareTransforms(const Macroblock& macroblock, const KernelSet& plain,
                       const KernelSet& other) {
  const auto compare = [](const Values& values, MacroblockKernel mine, MacroblockKernel theirs) {
    const auto expected = RecordOf(values);
    const auto record = RecordOf(values);
    mine(*expected);
    theirs(*record);
    Require(record->values == expected->values, "the same transform");
  };
  compare(macroblock.Words([](int word) { return word; }), plain.idct, other.idct);
  // Coefficients as large as those of pictures, and samples.
  compare(macroblock.Words([](int word) { return word / 16; }), plain.idct, other.idct);
  compare(macroblock.Words([](int word) { return word & 255; }), plain.fdct, other.fdct);
}

/// The levels of a macroblock: the low bytes are the input's, and few of them have more.
std::unique_ptr<std::array<LevelBlock, MacroblockRecord::kBlocks>> LevelsOf(
    const Macroblock& macroblock) {
  auto levels = std::make_unique<std::array<LevelBlock, MacroblockRecord::kBlocks>>();
  auto byte = macroblock.bytes.begin();
  for (LevelBlock& block : *levels) {
    for (std::size_t i = 1; i < LevelBlock::kLevels; ++i) {
      block.low[i] = static_cast<std::int8_t>(*byte++);
      const int more = *byte++;
      block.high[i] = static_cast<std::int8_t>(more < 16 ? more - 8 : 0);
    }
  }
  if (macroblock.overrun) {
    levels->at(macroblock.bytes[0] % 8U).overrun.at(macroblock.bytes[1] % 64U) = 1;
  }
  return levels;
}

void CompareDequantise(const Macroblock& macroblock, const KernelSet& plain,
                       const KernelSet& other) {
  const Dequantiser& dequantiser =
      DequantiserOf(macroblock.qScaleType, macroblock.quantiserScaleCode);
  const Values before = macroblock.Words([](int word) { return word; });
  DcCoefficients dc;
  std::copy_n(before.begin(), dc.size(), dc.begin());
  const auto levels = LevelsOf(macroblock);
  const auto expectedLevels = LevelsOf(macroblock);
  const auto record = RecordOf(before);
  const auto expected = RecordOf(before);
  const bool done =
      plain.dequantise(*expectedLevels, dequantiser, macroblock.alternateScan, dc, *expected);
  Require(done != macroblock.overrun, "levels behind the last position are refused");
  Require(other.dequantise(*levels, dequantiser, macroblock.alternateScan, dc, *record) == done,
          "the same answer");
  Require(record->values == expected->values, "the same coefficients");
  for (std::size_t i = 0; i < levels->size(); ++i) {
    const LevelBlock& mine = levels->at(i);
    const LevelBlock& theirs = expectedLevels->at(i);
    Require(mine.low == theirs.low && mine.high == theirs.high && mine.overrun == theirs.overrun,
            "the same levels are left");
  }
}

/// Coefficients as samples have them, more and more sparse from macroblock to macroblock.
std::unique_ptr<MacroblockRecord> CoefficientsOf(const Macroblock& macroblock, std::size_t number) {
  const int divisor = 32 << number;
  return RecordOf(macroblock.Words(
      [divisor](int word) { return std::max(word / divisor, -Quantiser::kLargestCoefficient); }));
}

std::unique_ptr<LevelBatch> BatchOf(const Macroblock& macroblock, QuantiseKernel quantise) {
  auto batch = std::make_unique<LevelBatch>();
  const Quantiser quantiser(macroblock.qScaleType,
                            std::max<std::uint8_t>(macroblock.quantiserScaleCode, 1));
  for (std::size_t i = 0; i < LevelBatch::kMacroblocks; ++i) {
    quantise(*CoefficientsOf(macroblock, i), quantiser, *batch, i);
  }
  return batch;
}

void CompareQuantise(const LevelBatch& expected, const LevelBatch& batch) {
  Require(batch.masks == expected.masks && batch.dc == expected.dc, "the same masks and DC");
  constexpr int kSmall = LevelBatch::kLargestSmallLevel;
  for (std::size_t block = 0; block < LevelBatch::kBlocks; ++block) {
    for (std::size_t i = 0; i < LevelBatch::kLevels; ++i) {
      // Of levels that are too large for a byte only that they are.
      const auto kept = [](int level) { return std::clamp(level, -kSmall - 1, kSmall + 1); };
      Require(kept(batch.levels[block][i]) == kept(expected.levels[block][i]), "the same levels");
    }
  }
  Require(batch.largeCount == expected.largeCount, "as many large levels");
  for (std::size_t i = 0; i < batch.largeCount; ++i) {
    const LevelBatch::Large& mine = batch.large[i];
    const LevelBatch::Large& theirs = expected.large[i];
    Require(mine.block == theirs.block && mine.position == theirs.position &&
                mine.level == theirs.level,
            "the same large levels");
  }
}

/// The bytes of a batch's codes behind `offset` bits, those of the last byte that are not there
/// zero.
Bytes Coded(const LevelBatch& batch, const Macroblock& macroblock, CodeLevelsKernel codeLevels) {
  std::array<std::uint32_t, LevelBatch::kBlocks> dcCodes;
  for (std::size_t i = 0; i < dcCodes.size(); ++i) {
    const unsigned count = 2U + macroblock.bytes[i] % 26U;
    dcCodes[i] = PackCode(macroblock.bytes[i + 1] & ((1U << count) - 1), count);
  }
  constexpr std::size_t kRoom = LevelBatch::kBlocks * (4 + 63 * 3) + 8;
  Bytes output(kRoom);
  const auto lists = std::make_unique<CodeLists>();
  BitTail tail = {output.data(), 0, static_cast<std::uint8_t>(macroblock.offset)};
  codeLevels(batch, dcCodes, *lists, tail);
  output.resize(static_cast<std::size_t>(tail.next - output.data()));
  output.insert(output.end(), {tail.bits, tail.count});
  return output;
}

constexpr std::size_t kRowBytes = 64;  // 16 pixels of the widest format
using Pixels = std::array<std::uint8_t, 16 * kRowBytes>;

Pixels PixelsOf(const Macroblock& macroblock) {
  Pixels pixels;
  std::copy_n(macroblock.bytes.begin(), pixels.size(), pixels.begin());
  return pixels;
}

void CompareOutput(const Macroblock& macroblock, OutputKernel plain, OutputKernel other) {
  const auto samples = RecordOf(macroblock.Words([](int word) { return word; }));
  Pixels expected = PixelsOf(macroblock);
  Pixels pixels = expected;
  plain(expected.data(), samples->values.data(), kRowBytes);
  other(pixels.data(), samples->values.data(), kRowBytes);
  Require(pixels == expected, "the same pixels");
}

void CompareInput(const Macroblock& macroblock, InputKernel plain, InputKernel other) {
  const Pixels pixels = PixelsOf(macroblock);
  const auto expected = RecordOf({});
  const auto samples = RecordOf({});
  plain(expected->values.data(), pixels.data(), kRowBytes);
  other(samples->values.data(), pixels.data(), kRowBytes);
  Require(samples->values == expected->values, "the same samples");
}

void CompareSearch(const Bytes& bytes, StartCodeKernel plain, StartCodeKernel other) {
  const std::uint8_t* const last = bytes.data() + bytes.size();
  for (const std::uint8_t* at = bytes.data(); at != last; ++at) {
    const std::uint8_t* const found = plain(at, last);
    Require(other(at, last) == found, "the same start code");
    if (found == last) {
      return;
    }
    at = found;
  }
}

void Fuzz(FuzzedDataProvider& input) {
  Macroblock macroblock;
  macroblock.qScaleType = input.ConsumeIntegralInRange<std::uint8_t>(0, 1);
  macroblock.quantiserScaleCode = input.ConsumeIntegralInRange<std::uint8_t>(0, 31);
  macroblock.alternateScan = input.ConsumeBool();
  macroblock.overrun = input.ConsumeIntegralInRange(0, 15) == 15;
  macroblock.offset = input.ConsumeIntegralInRange(0U, 7U);
  macroblock.bytes = TakeAllRepeated(input, 2 * Values().size());
  macroblock.bytes.shrink_to_fit();

  KernelSet plain = KernelsFor(KernelTier::plain);
  const auto expectedBatch = BatchOf(macroblock, plain.quantise);
  const Bytes expectedCodes = Coded(*expectedBatch, macroblock, plain.codeLevels);
  for (const KernelTier tier : {KernelTier::sse2, KernelTier::avx2}) {
    if (!Runs(tier)) {
      continue;
    }
    KernelSet other = KernelsFor(tier);
    CompareTransforms(macroblock, plain, other);
    CompareDequantise(macroblock, plain, other);
    CompareQuantise(*expectedBatch, *BatchOf(macroblock, other.quantise));
    Require(Coded(*expectedBatch, macroblock, other.codeLevels) == expectedCodes, "the same codes");
    CompareSearch(macroblock.bytes, plain.findStartCode, other.findStartCode);
    for (const ClientFormat format : kInputFormats) {
      CompareInput(macroblock, plain.Input(format), other.Input(format));
    }
    for (const ClientFormat format : kOutputFormats) {
      CompareOutput(macroblock, plain.Output(format).frameDct, other.Output(format).frameDct);
      CompareOutput(macroblock, plain.Output(format).fieldDct, other.Output(format).fieldDct);
    }
  }
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
