#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "tools/vfwtool/mpeg_headers.h"

namespace qivm {

/// Takes an MPEG-2 video elementary stream apart into frames that can be decoded alone, in the
/// order of the headers that the codec's decoder reads: sequence header, extensions, user data,
/// group of pictures header, user data, picture header, extensions, slices, sequence_end_code.
///
/// A frame without a sequence header gets the last one that the stream had. Of user data, one unit
/// a place is kept, which is what the decoder passes over.
class MpegFrameReader {
 public:
  /// `stream` must outlive the object; `name` is used in messages.
  MpegFrameReader(std::istream& stream, std::string name);

  /// Stores the next picture as a frame of its own. False at the end of the stream. Throws
  /// ToolError (kInput) when the stream is no MPEG video elementary stream.
  bool Next(std::vector<std::uint8_t>& frame);

  /// The bytes of the stream that were read so far.
  std::uint64_t BytesRead() const { return bytesRead_; }

 private:
  using Bytes = std::vector<std::uint8_t>;

  /// Headers of one level: the header itself, its extensions, and one unit of user data.
  struct Headers {
    Bytes header{};
    Bytes extensions{};
    Bytes userData{};

    void AppendTo(Bytes& frame) const;
  };

  bool FillBuffer();
  std::optional<std::size_t> FindStartCode(std::size_t offset);
  void ReadUnit();
  void RequireVideo() const;

  std::istream& stream_;
  std::string name_;
  Bytes buffer_;
  std::size_t next_ = 0;  ///< The buffer's first byte that belongs to no unit yet.
  std::uint64_t bytesRead_ = 0;
  Bytes unit_;  ///< The unit to be looked at next; empty at the end of the stream.
  Headers sequence_;
};

/// Throws ToolError (kInput), saying why, unless the codec's decoder gives the picture of this
/// frame. `name` and `number`, counted from 1, say where it is.
void RequireDecodable(const MpegHeaders& headers, const std::string& name, std::uint64_t number);

}  // namespace qivm
