#include "kernels/output_converter.h"

#include "mpeg2/start_codes.h"

namespace qivm {

bool OutputConverter::Init(const BitmapInfoHeader& clientFormat,
                           const PictureParameters* sequence) {
  bitmap_.Clear();
  chosen_ = {};
  const std::optional<ClientFormat> format = ClientFormatOf(clientFormat);
  ClientBitmap bitmap;
  if (!format || !Accepts(*format) || !bitmap.SetFormat(clientFormat)) {
    return false;
  }
  if (sequence == nullptr) {
    return true;
  }
  if (clientFormat.biWidth / mpeg2::kMacroblockSize != sequence->MbPerRow() ||
      sequence->chromaFormat < mpeg2::kChroma420 || sequence->chromaFormat > mpeg2::kChroma444) {
    return false;
  }
  if (sequence->chromaFormat == mpeg2::kChroma422) {
    chosen_ = kernels_[static_cast<std::size_t>(*format)];
  }
  bitmap_ = bitmap;
  return true;
}

void OutputConverter::ConvertMacroblock(const MacroblockRecord& record) const {
  if (chosen_.frameDct == nullptr || !bitmap_.Contains(record.column, record.row)) {
    return;
  }
  const OutputKernel kernel = record.frameDct ? chosen_.frameDct : chosen_.fieldDct;
  if (bitmap_.Wraps(record.row)) {
    // Loaded first, for what the format leaves as it is.
    ClientBitmap::Tile tile;
    bitmap_.LoadTile(record.column, record.row, tile);
    kernel(tile.bytes.data(), record.values.data(), ClientBitmap::Tile::kRowBytes);
    bitmap_.StoreTile(record.column, record.row, tile);
    return;
  }
  kernel(bitmap_.MacroblockAddress(record.column, record.row), record.values.data(),
         bitmap_.RowStep());
}

}  // namespace qivm
