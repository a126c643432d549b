#include "tests/core/lenient_parser.h"

#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

std::uint32_t Peek(BitCursor cursor, unsigned bits) { return cursor.Take(bits); }

}  // namespace

void LenientAc(BitCursor& cursor, Block& block) {
  std::size_t position = 0;
  for (;;) {
    int run = 0;
    int level = 0;
    if (Peek(cursor, 6) == 1) {
      cursor.Take(6);
      run = static_cast<int>(cursor.Take(6));
      level = static_cast<int>(cursor.Take(12));
      level = level >= 2048 ? level - 4096 : level;
    } else {
      const ReferenceRunLevel* found = nullptr;
      for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
        if (Peek(cursor, entry.length) == entry.bits) {
          found = &entry;
        }
      }
      if (found == nullptr) {
        cursor.Take(4);
        return;
      }
      cursor.Take(found->length);
      run = found->run;
      level = cursor.Take(1) == 0 ? found->level : -found->level;
    }
    position += static_cast<std::size_t>(run) + 1;
    if (position > 63) {
      return;
    }
    block[position] = static_cast<std::int16_t>(level);
  }
}

int LenientDcDifference(BitCursor& cursor, Component component) {
  const auto& codes = component == Component::luma ? kReferenceDcLuma : kReferenceDcChroma;
  unsigned size = 0;
  for (unsigned i = 0; i < codes.size(); ++i) {
    BitCursor probe = cursor;
    bool same = true;
    for (const char digit : codes[i]) {
      same = same && probe.Take(1) == (digit == '1' ? 1U : 0U);
    }
    if (same) {
      size = i;
    }
  }
  cursor.Take(static_cast<unsigned>(codes[size].size()));
  if (size == 0) {
    return 0;
  }
  const int value = static_cast<int>(cursor.Take(size));
  return value < 1 << (size - 1) ? value - (1 << size) + 1 : value;
}

LenientMacroblock LenientSlice::Next() {
  LenientMacroblock macroblock;
  cursor_.Take(1);
  const bool withQuant = cursor_.Take(1) == 0;
  if (withQuant) {
    cursor_.Take(1);
  }
  if (picture_.HasDctType()) {
    frameDct_ = cursor_.Take(1) == 0;
  }
  if (withQuant) {
    quantiserCode_ = static_cast<int>(cursor_.Take(5));
  }
  macroblock.quantiserCode = quantiserCode_;
  macroblock.frameDct = frameDct_;
  for (int index = 0; index < picture_.BlockCount(); ++index) {
    Block block = {};
    Component component = Component::luma;
    if (index >= 4) {
      component = index % 2 == 0 ? Component::cb : Component::cr;
    }
    std::int16_t& predictor = predictors_[static_cast<std::size_t>(component)];
    predictor = static_cast<std::int16_t>(predictor + LenientDcDifference(cursor_, component));
    block[0] = static_cast<std::int16_t>(predictor * (1 << (3 - picture_.intraDcPrecision)));
    LenientAc(cursor_, block);
    macroblock.blocks.push_back(block);
  }
  return macroblock;
}

}  // namespace qivm::test
