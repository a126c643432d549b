#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "decoder/bit_reader.h"
#include "mpeg2/picture_parameters.h"

namespace qivm {

/// Reads the headers of compressed frames. The picture parameters outlive the frame: what a frame
/// has no header for is as in the frame before.
class HeaderParser {
 public:
  /// Reads a frame's headers up to the first slice into the parameters. False when the frame ends
  /// before.
  ///
  /// The order of the headers is that of 6.2.2; sequence header, picture header and picture coding
  /// extension are taken on trust where they are due. Quantiser matrices are not loaded. Whatever
  /// else is not used is passed over by searching for the next start code.
  bool ParsePictureHeaders(std::span<const std::uint8_t> frame);

  const PictureParameters& Parameters() const { return parameters_; }
  /// The offset of the start code behind the headers.
  std::size_t EndOfHeaders() const { return static_cast<std::size_t>(reader_.BitPosition() / 8); }

 private:
  // In the order of the stream. False when the frame ends.
  bool ParseSequenceHeader();
  bool ParseSequenceExtension();
  bool ParseExtensions();
  bool SkipUserData();
  bool ParseGroupHeader();
  bool ParsePictureHeader();
  bool ParsePictureCodingExtension();
  bool ParseHeadersAfterSequence();

  BitReader reader_;
  PictureParameters parameters_;
};

}  // namespace qivm
