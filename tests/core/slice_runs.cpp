#include "tests/core/slice_runs.h"

#include <algorithm>
#include <memory>

namespace qivm::test {

namespace {

/// Takes a macroblock out of its levels, which are zero afterwards.
LenientMacroblock Take(MacroblockLevels levels, SliceState& state,
                       const PictureParameters& parameters) {
  LenientMacroblock macroblock;
  macroblock.quantiserCode = state.quantiserScaleCode;
  macroblock.frameDct = state.frameDct;
  const DcCoefficients dc = state.NextDcCoefficients(levels, parameters);
  for (std::size_t i = 0; i < levels.size(); ++i) {
    Block& block = macroblock.blocks.emplace_back();
    for (std::size_t position = 1; position < block.size(); ++position) {
      block[position] = static_cast<std::int16_t>(levels[i].Level(position));
    }
    block[0] = dc[i];
    levels[i].low.fill(0);
    levels[i].high.fill(0);
  }
  return macroblock;
}

bool AnyOverrun(MacroblockLevels levels) {
  return std::any_of(levels.begin(), levels.end(), [](const LevelBlock& block) {
    return std::any_of(block.overrun.begin(), block.overrun.end(), [](int l) { return l != 0; });
  });
}

}  // namespace

PictureParameters ParametersOf(const ModelPicture& picture) {
  PictureParameters parameters;
  parameters.width = static_cast<std::uint16_t>(picture.width);
  parameters.height = static_cast<std::uint16_t>(picture.height);
  parameters.chromaFormat = static_cast<std::uint8_t>(picture.chromaFormat);
  parameters.intraDcPrecision = static_cast<std::uint8_t>(picture.intraDcPrecision);
  parameters.pictureStructure = static_cast<std::uint8_t>(picture.pictureStructure);
  parameters.framePredFrameDct = static_cast<std::uint8_t>(picture.framePredFrameDct);
  parameters.qScaleType = static_cast<std::uint8_t>(picture.qScaleType);
  parameters.intraVlcFormat = static_cast<std::uint8_t>(picture.intraVlcFormat);
  parameters.alternateScan = static_cast<std::uint8_t>(picture.alternateScan);
  return parameters;
}

std::vector<LenientMacroblock> ReadCarefully(std::span<const std::uint8_t> slice,
                                             const PictureParameters& parameters, int macroblocks) {
  std::vector<LenientMacroblock> result;
  BitReader reader;
  reader.Attach(slice);
  SliceState state = ReadSliceHeader(reader, parameters);
  std::array<LevelBlock, MacroblockRecord::kBlocks> levels;
  for (int i = 0; i < macroblocks; ++i) {
    ReadMacroblock(reader, parameters, state, levels);
    result.push_back(Take(levels, state, parameters));
  }
  return result;
}

LaneRun ReadInLanes(std::span<const std::uint8_t> frame,
                    const std::vector<std::span<const std::uint8_t>>& slices,
                    const PictureParameters& parameters, int macroblocks) {
  LaneRun run;
  run.macroblocks.resize(slices.size());
  const auto lanes = std::make_unique<SliceLanes>();
  lanes->Attach(frame, parameters);
  // The slice that each lane reads; a lane whose slice is read trades places with the last one.
  std::vector<std::size_t> sliceOf;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    lanes->StartSlice(i, slices[i]);
    sliceOf.push_back(i);
  }
  while (!sliceOf.empty()) {
    lanes->Read(sliceOf.size());
    for (std::size_t lane = sliceOf.size(); lane-- > 0;) {
      if (!lanes->AtMacroblocksEnd(lane)) {
        continue;
      }
      if (!lanes->ReadRegularly(lane) || AnyOverrun(lanes->Levels(lane))) {
        lanes->ReadAgain(lane);
        ++run.readAgain;
      }
      auto& read = run.macroblocks[sliceOf[lane]];
      read.push_back(Take(lanes->Levels(lane), lanes->State(lane), parameters));
      if (static_cast<int>(read.size()) < macroblocks) {
        lanes->NextMacroblock(lane);
      } else {
        lanes->Swap(lane, sliceOf.size() - 1);
        std::swap(sliceOf[lane], sliceOf.back());
        sliceOf.pop_back();
      }
    }
  }
  return run;
}

}  // namespace qivm::test
