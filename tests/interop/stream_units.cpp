#include "tests/interop/stream_units.h"

#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"
#include "mpeg2/start_codes.h"

namespace qivm::interop {

namespace {

/// A unit made of bit fields, most significant bit first, with zero bits up to the last whole byte.
class Unit {
 public:
  explicit Unit(std::uint32_t startCode) { Put(startCode, 32); }
  Unit(std::uint32_t startCode, std::uint32_t identifier) : Unit(startCode) { Put(identifier, 4); }

  Unit& Put(std::uint32_t value, unsigned bits) {
    for (unsigned bit = bits; bit-- > 0;) {
      if (used_ == 0) {
        bytes_.push_back(0);
      }
      bytes_.back() =
          static_cast<std::uint8_t>(bytes_.back() | ((value >> bit & 1U) << (7 - used_)));
      used_ = (used_ + 1) % 8;
    }
    return *this;
  }
  Unit& PutMarker() { return Put(1, 1); }
  Bytes Take() { return std::move(bytes_); }

 private:
  Bytes bytes_;
  unsigned used_ = 0;  // bits of the last byte
};

constexpr std::uint32_t kQuantMatrixExtensionId = 3;
constexpr std::uint32_t kCopyrightExtensionId = 4;
constexpr std::uint32_t kPictureDisplayExtensionId = 7;

void PutDefaultIntraMatrix(Unit& unit) {
  unit.Put(1, 1);
  for (const std::uint8_t position : mpeg2::kZigzagScan) {
    unit.Put(mpeg2::kDefaultIntraMatrix[position], 8);
  }
}

}  // namespace

Bytes UserData(std::string_view text) {
  Unit unit(mpeg2::kUserDataStartCode);
  for (const char character : text) {
    unit.Put(static_cast<unsigned char>(character), 8);
  }
  return unit.Take();
}

Bytes SequenceDisplayExtension(Size display) {
  Unit unit(mpeg2::kExtensionStartCode, mpeg2::kSequenceDisplayExtensionId);
  unit.Put(1, 3);  // video_format: PAL
  unit.Put(1, 1);  // colour_description
  unit.Put(5, 8).Put(5, 8).Put(5, 8);
  unit.Put(static_cast<std::uint32_t>(display.width), 14).PutMarker();
  unit.Put(static_cast<std::uint32_t>(display.height), 14);
  return unit.Take();
}

Bytes DefaultQuantMatrixExtension() {
  Unit unit(mpeg2::kExtensionStartCode, kQuantMatrixExtensionId);
  PutDefaultIntraMatrix(unit);
  unit.Put(0, 1);  // load_non_intra_quantiser_matrix
  PutDefaultIntraMatrix(unit);
  unit.Put(0, 1);  // load_chroma_non_intra_quantiser_matrix
  return unit.Take();
}

Bytes PictureDisplayExtension(int offsets) {
  Unit unit(mpeg2::kExtensionStartCode, kPictureDisplayExtensionId);
  for (int i = 0; i < offsets; ++i) {
    unit.Put(0x1234, 16).PutMarker();  // frame_centre_horizontal_offset
    unit.Put(0xFEDC, 16).PutMarker();  // frame_centre_vertical_offset
  }
  return unit.Take();
}

Bytes CopyrightExtension() {
  Unit unit(mpeg2::kExtensionStartCode, kCopyrightExtensionId);
  unit.Put(1, 1);     // copyright_flag
  unit.Put(0x5A, 8);  // copyright_identifier
  unit.Put(1, 1);     // original_or_copy
  unit.Put(0, 7).PutMarker();
  unit.Put(0x12345, 20).PutMarker();
  unit.Put(0x2ABCDE, 22).PutMarker();
  unit.Put(0x155555, 22);
  return unit.Take();
}

}  // namespace qivm::interop
