#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mpeg2/start_codes.h"
#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/media/clip.h"

/// MPEG-2 video elementary streams (ISO/IEC 13818-2) as units: a start code with what follows it.
namespace vfwtool {

constexpr bool IsSliceCode(std::uint32_t startCode) {
  return startCode >= qivm::mpeg2::kFirstSliceStartCode &&
         startCode <= qivm::mpeg2::kLastSliceStartCode;
}

/// The bytes of a start code.
Bytes StartCode(std::uint32_t startCode);

/// One unit of a stream in memory.
struct MpegUnit {
  std::uint32_t startCode = 0;
  std::size_t begin = 0;  ///< Of the start code.
  std::size_t end = 0;    ///< Where the next unit begins; stuffing is counted in.
};

/// All units; what precedes the first start code belongs to none.
std::vector<MpegUnit> FindUnits(std::span<const std::uint8_t> stream);

/// Up to 32 bits of a unit, the first of them `position` bits behind its start code. Bits behind
/// the unit's end are zero.
std::uint32_t UnitBits(std::span<const std::uint8_t> unit, std::size_t position, unsigned count);

/// The number of bits of a slice's header (6.2.4), from behind its start code to the first bit of
/// its first macroblock.
std::size_t SliceHeaderBits(std::span<const std::uint8_t> slice);

/// What the headers of a compressed frame say: of its sequence, its last picture and its slices.
struct MpegHeaders {
  bool hasSequence = false;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;
  bool isMpeg2 = false;  ///< There is a sequence extension; without one it is MPEG-1.
  std::uint32_t chromaFormat = 0;
  bool isScalable = false;
  /// A quantiser matrix for intra blocks is loaded that is not the default one.
  bool hasOwnMatrix = false;

  std::uint32_t pictures = 0;
  bool areAllIntra = true;
  bool hasPictureExtension = false;
  std::uint32_t structure = 0;  ///< 1 top field, 2 bottom field, 3 frame.
  std::uint32_t dcBits = 0;
  bool hasDctTypes = false;  ///< Every macroblock says whether its DCT is of fields.
  bool usesTableB15 = false;
  bool isNonLinear = false;  ///< The quantiser scale.
  bool isAlternateScan = false;
  bool isTopFieldFirst = false;
  bool isProgressive = false;

  std::uint32_t slices = 0;
  bool hasOneSliceARow = true;          ///< So far: each slice is one row below the one before.
  bool doSlicesBeginLeft = true;        ///< Their first macroblocks are in the first column.
  std::uint32_t smallestQuantiser = 0;  ///< quantiser_scale_code of the slices.
  std::uint32_t largestQuantiser = 0;
  bool usesLinearCode16 = false;

  /// "4:2:2".
  std::string ChromaText() const;
};

/// Reads the headers of one compressed frame.
MpegHeaders ReadMpegHeaders(std::span<const std::uint8_t> frame);

/// Why this codec's decoder does not give the picture of a frame with such headers; empty when it
/// does. As the end of a sentence that begins with the frame.
std::optional<std::string> WhyNotDecodable(const MpegHeaders& headers);

/// The rate that frame_rate_code stands for (Table 6-4), and the other way round; 0 where there is
/// none.
FrameRate RateOfCode(std::uint32_t frameRateCode);
std::uint32_t CodeOfRate(const FrameRate& rate);

/// Turns a frame of this codec into one that every MPEG-2 decoder reads: the first bit of its first
/// macroblock becomes 1 (docs/format.md). Nothing else is changed. False when the frame does not
/// begin with a sequence header or has no slice.
bool MakeStandard(std::span<std::uint8_t> frame);

/// Writes frames as an MPEG-2 video elementary stream.
class MpegExporter {
 public:
  /// `output` must outlive the object. The frames state the frame rate of `frameRateCode` where
  /// that is given.
  MpegExporter(Output& output, std::optional<std::uint32_t> frameRateCode)
      : output_(output), frameRateCode_(frameRateCode) {}

  /// Appends a frame; an empty one repeats the frame before, or the first one where there is none
  /// before. Throws ToolError (kInput) when it is none of MPEG-2, or (kOutput).
  void Write(std::span<const std::uint8_t> frame);

  /// Ends the stream with a sequence_end_code, if the last frame does not.
  void Finish();

  /// Ends the stream likewise behind the last whole frame, after a failure and as far as it can be
  /// done; the number of its frames.
  std::uint64_t FinishEarly() noexcept;

  /// The frame rate that the last frame states.
  FrameRate Rate() const { return ReadMpegHeaders(frame_).rate; }

 private:
  Output& output_;
  std::optional<std::uint32_t> frameRateCode_;
  Bytes frame_;
  std::uint64_t due_ = 0;  ///< Frames that wait for the first one.
  std::uint64_t frames_ = 0;
};

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
  bool Next(Bytes& frame);

 private:
  /// Headers of one level: the header itself, its extensions, and one unit of user data.
  struct Headers {
    Bytes header{};
    Bytes extensions{};
    Bytes userData{};

    std::size_t Size() const { return header.size() + extensions.size() + userData.size(); }
    void AppendTo(Bytes& frame) const;
  };

  bool FillBuffer();
  std::optional<std::size_t> FindStartCode(std::size_t offset);
  void ReadUnit();
  void RequireVideo() const;
  void RequireSmall(const Headers& headers) const;

  std::istream& stream_;
  std::string name_;
  Bytes buffer_;
  std::size_t next_ = 0;  ///< The buffer's first byte that belongs to no unit yet.
  Bytes unit_;            ///< The unit to be looked at next; empty at the end of the stream.
  Headers sequence_;
};

/// What is wrong with a compressed frame, and where.
struct FrameDamage {
  std::size_t offset = 0;  ///< In the frame, in bytes.
  std::string what;        ///< As the end of a sentence that begins with the frame.
};

/// Reads a frame of this codec to the last bit: its headers, which must be those of pictures of
/// that size which the decoder gives rightly, and in every slice each macroblock, block and code.
/// Empty when nothing is wrong. The decoder itself reports nothing: it gives what it can read.
std::vector<FrameDamage> FindDamage(std::span<const std::uint8_t> frame, std::int32_t width,
                                    std::int32_t height);

}  // namespace vfwtool
