#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "decoder/bit_reader.h"
#include "kernels/cpu_class.h"
#include "mpeg2/macroblock_record.h"
#include "mpeg2/picture_parameters.h"
#include "platform/heap_object.h"

namespace qivm {

/// Reads one compressed frame: its headers, then macroblock after macroblock up to the quantised
/// coefficients. Each thread of a frame has a decoder of its own. The picture parameters outlive
/// the frame: one whose headers end early is decoded with those of the frame before.
class PictureDecoder : public HeapObject {
 public:
  /// Every class but the plain one decodes blocks in the fast form, with the same coefficients.
  explicit PictureDecoder(CpuClass cpuClass = CpuClass::plain)
      : fast_(cpuClass != CpuClass::plain) {}

  /// Starts a frame. Its bytes must stay in place until the frame is decoded.
  void Attach(std::span<const std::uint8_t> frame) { reader_.Attach(frame); }

  /// Reads the headers up to the first slice into the parameters and sets the record up for the
  /// first macroblock. False when the frame ends before.
  ///
  /// The order of the headers is that of 6.2.2; sequence header, picture header and picture coding
  /// extension are taken on trust where they are due. Quantiser matrices are not loaded. Whatever
  /// else is not used is passed over by searching for the next start code.
  bool ParsePictureHeaders(MacroblockRecord& record);

  /// Decodes the next macroblock of the slice, or the first of the next slice when the row is
  /// complete, into the record: coefficients in transmission order, place and parameters. Every
  /// slice starts at column 0 and covers one row. False when the frame has no further slice.
  bool DecodeNextMacroblock(MacroblockRecord& record);

  /// Sets this decoder to the first slice that begins at or after the middle of the bytes that
  /// `source`, whose headers are parsed, has not loaded yet, and takes over its parameters. Returns
  /// the slice's macroblock row, or -1 when there is none.
  int ParseSliceHeaderAt(const PictureDecoder& source);

  const PictureParameters& Parameters() const { return parameters_; }

 private:
  // Header parsing, in the order of the stream (header_parser.cpp). False when the frame ends.
  bool ParseSequenceHeader();
  bool ParseSequenceExtension();
  bool ParseExtensions(bool pictureLevel);
  bool SkipUserData();
  bool ParseGroupHeader();
  bool ParsePictureHeader();
  bool ParsePictureCodingExtension();
  bool ParseHeadersAfterSequence();
  bool FindSlice(bool (BitReader::*nextStartCode)());
  void ParseSliceHeader();
  void ParseMacroblockHeader(MacroblockRecord& record);

  void DecodeMacroblock(MacroblockRecord& record);
  [[noreturn]] static void RejectTableZero();

  const bool fast_;
  PictureParameters parameters_;
  BitReader reader_;
  int mbColumn_ = 0;  // of the next macroblock within its row
  int mbRow_ = 0;     // of the current slice
};

}  // namespace qivm
