#include "kernels/input_converter.h"

namespace qivm {

bool InputConverter::Init(const BitmapInfoHeader& clientFormat) {
  const std::optional<ClientFormat> format = ClientFormatOf(clientFormat);
  if (!format || !Accepts(*format) || !bitmap_.SetFormat(clientFormat)) {
    return false;
  }
  fieldDct_ = kernels_[static_cast<std::size_t>(*format)];
  return fieldDct_ != nullptr;
}

void InputConverter::SetBuffer(const void* pixels, LineOrder order) {
  // The bitmap class serves both directions; this one only ever reads through it.
  bitmap_.SetBuffer(const_cast<void*>(pixels), order);
}

void InputConverter::ConvertMacroblock(MacroblockRecord& record) const {
  if (bitmap_.Wraps(record.row)) {
    ClientBitmap::Tile tile;
    bitmap_.LoadTile(record.column, record.row, tile);
    fieldDct_(record.values.data(), tile.bytes.data(), ClientBitmap::Tile::kRowBytes);
    return;
  }
  fieldDct_(record.values.data(), bitmap_.MacroblockAddress(record.column, record.row),
            bitmap_.RowStep());
}

}  // namespace qivm
