#include "decoder/row_decoder.h"

#include <utility>

namespace qivm {

void RowDecoder::DecodeRows(const FrameRows& frame, const OutputConverter& converter,
                            RowCrew::Seat& seat) {
  lanes_.Attach(frame.index.Frame(), frame.parameters);
  if (interrupted_) {
    lanes_.Clear();
  }
  interrupted_ = true;
  for (Place& place : places_) {
    if (place.row != kNoRow) {
      const int row = std::exchange(place.row, kNoRow);
      DecodeAlone(frame, converter, row);
    }
  }
  DecodeClaimed(frame, converter, seat);
  interrupted_ = false;
}

/// The next row that has a slice and a place in the bitmap.
int RowDecoder::ClaimShown(const FrameRows& frame, const OutputConverter& converter,
                           RowCrew::Seat& seat) {
  int row = seat.ClaimRow();
  while (row != kNoRow && !(frame.index.Has(row) && converter.Shows(row))) {
    row = seat.ClaimRow();
  }
  return row;
}

void RowDecoder::Start(std::size_t lane, const FrameRows& frame, int row) {
  places_[lane] = {row, 0};
  lanes_.StartSlice(lane, frame.index.Slice(row));
}

void RowDecoder::DecodeAlone(const FrameRows& frame, const OutputConverter& converter, int row) {
  // No row: a second fault ends this one for good.
  places_[0] = {};
  lanes_.StartSlice(0, frame.index.Slice(row));
  record_.row = static_cast<std::int16_t>(row);
  do {
    lanes_.Read(1);
  } while (FinishMacroblock(0, frame, converter));
}

void RowDecoder::DecodeClaimed(const FrameRows& frame, const OutputConverter& converter,
                               RowCrew::Seat& seat) {
  const int rowLength = frame.parameters.MbPerRow();
  std::size_t lanes = 0;
  int inHand = 0;  // macroblocks
  for (;;) {
    while (lanes < SliceLanes::kLanes && seat.ShouldClaimMore(rowLength)) {
      const int row = ClaimShown(frame, converter, seat);
      if (row == kNoRow) {
        break;
      }
      Start(lanes++, frame, row);
      seat.SetInHand(inHand += rowLength);
    }
    if (lanes == 0) {
      return;
    }
    for (bool rowEnded = false; !rowEnded;) {
      lanes_.Read(lanes);
      for (std::size_t lane = lanes; lane-- > 0;) {
        if (!lanes_.AtMacroblocksEnd(lane)) {
          continue;
        }
        record_.row = static_cast<std::int16_t>(places_[lane].row);
        const bool goesOn = FinishMacroblock(lane, frame, converter);
        seat.SetInHand(--inHand);
        if (!goesOn) {
          rowEnded = true;
          places_[lane].row = kNoRow;
          --lanes;
          lanes_.Swap(lane, lanes);
          std::swap(places_[lane], places_[lanes]);
        }
      }
    }
  }
}

/// Brings a macroblock that is read into the bitmap. False when it was the last one of its row.
bool RowDecoder::FinishMacroblock(std::size_t lane, const FrameRows& frame,
                                  const OutputConverter& converter) {
  const bool alternateScan = frame.parameters.alternateScan != 0;
  const auto dequantise = [&] {
    SliceState& state = lanes_.State(lane);
    const SliceState before = state;
    const DcCoefficients dc = state.NextDcCoefficients(lanes_.Levels(lane), frame.parameters);
    if (!dequantise_(lanes_.Levels(lane),
                     DequantiserOf(frame.parameters.qScaleType, state.quantiserScaleCode),
                     alternateScan, dc, record_)) {
      state = before;
      return false;
    }
    return true;
  };
  if (!lanes_.ReadRegularly(lane) || !dequantise()) {
    lanes_.ReadAgain(lane);
    dequantise();
  }
  idct_(record_);
  Place& place = places_[lane];
  record_.column = static_cast<std::int16_t>(place.column);
  record_.frameDct = lanes_.State(lane).frameDct;
  converter.ConvertMacroblock(record_);
  if (++place.column == frame.parameters.MbPerRow()) {
    return false;
  }
  lanes_.NextMacroblock(lane);
  return true;
}

}  // namespace qivm
