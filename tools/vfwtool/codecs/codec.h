#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/base/progress.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/picture.h"

namespace vfwtool {

/// How an installed codec presents itself; all texts are UTF-8 and may be empty.
struct CodecDescription {
  FourCc code = 0;
  std::string name;         ///< Short, such as "QIVM".
  std::string description;  ///< For lists that a user picks from.
  std::string driver;       ///< The file of the driver, as registered.

  /// "QIVM (description, driver file)" as far as they are known.
  std::string Text() const;
  JsonObject Json() const;
};

/// Why a codec did not do what it was asked for, in words; empty when it did.
using Refusal = std::optional<std::string>;

/// A codec that is open for one direction; closed when the object ends.
///
/// This is what the tool knows codecs by: on Windows the compression manager's functions stand
/// behind it, elsewhere the codec that is built into the tool. Formats are bitmap headers with all
/// that follows them.
class Codec {
 public:
  Codec() = default;
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;
  virtual ~Codec() = default;

  /// Without a driver file where that is not known.
  virtual CodecDescription Describe() const = 0;

  /// False when the codec says of itself that its quality cannot be chosen.
  virtual bool TakesQuality() const = 0;
  /// 0 to 10000; empty when the codec names none.
  virtual std::optional<std::uint32_t> DefaultQuality() const = 0;
  /// Makes the codec exchange the two fields of every picture.
  virtual Refusal SwapFields() = 0;

  /// Whether pictures of `input` can be compressed, into frames of `output` where it is given.
  virtual Refusal QueryCompression(const Bytes& input, const Bytes* output) const = 0;
  /// The format of the frames that pictures of `input` are compressed to.
  virtual Refusal GetCompressedFormat(const Bytes& input, Bytes& format) const = 0;
  /// The most bytes that a frame takes; 0 when the codec does not tell.
  virtual std::size_t LargestFrame(const Bytes& input, const Bytes& output) const = 0;
  virtual Refusal BeginCompression(const Bytes& input, const Bytes& output) = 0;

  struct CompressedFrame {
    std::size_t bytes = 0;
    bool isKeyFrame = false;
  };
  /// Compresses picture `number`, counted from 0, into `frame`, which has room for the largest; the
  /// codec's own quality is used where none is given.
  virtual Refusal Compress(std::span<std::uint8_t> picture, std::uint32_t number,
                           std::optional<std::uint32_t> quality, std::span<std::uint8_t> frame,
                           CompressedFrame& result) = 0;
  virtual void EndCompression() = 0;

  /// Whether frames of `input` can be decompressed to pictures of `output`.
  virtual Refusal QueryDecompression(const Bytes& input, const Bytes& output) const = 0;
  virtual Refusal BeginDecompression(const Bytes& input, const Bytes& output) = 0;
  /// Decompresses a frame. `picture` still has the previous picture in it, which frames that are no
  /// key frames build upon.
  virtual Refusal Decompress(std::span<std::uint8_t> frame, bool isKeyFrame,
                             std::span<std::uint8_t> picture) = 0;
  virtual void EndDecompression() = 0;
};

/// Opens the codec of that code for compression; throws ToolError (kCodec).
std::unique_ptr<Codec> OpenCompressor(FourCc code);

/// Opens a codec that decompresses frames of `format`, preferring the one that wrote them,
/// `handler`. Null when there is none.
std::unique_ptr<Codec> FindDecompressor(FourCc handler, const Bytes& format);

/// How all codecs that there are present themselves.
std::vector<CodecDescription> ListCodecs();

/// Which codecs this program can see at all, as a sentence.
std::string CodecScope();

/// The codes of all codecs that there are, such as "CVID, QIVM", or "none".
std::string CodecCodes();

/// Throws ToolError (kCodec): `what` is not there for lack of a codec.
[[noreturn]] void FailWithoutCodec(const std::string& what);

/// Compresses pictures of one layout, each into a key frame.
class Compressor {
 public:
  struct Frame {
    std::span<const std::uint8_t> bytes;  ///< Valid until the next frame.
    bool isKeyFrame;
  };

  /// Begins compression. `quality` is 0 to 10000, or empty for the codec's default.
  /// Throws ToolError (kCodec) when the codec refuses, with what it would take instead.
  Compressor(std::unique_ptr<Codec> codec, const FrameLayout& layout,
             std::optional<std::uint32_t> quality);
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor();

  /// The stream format of the frames: a bitmap header with all that the codec puts behind it.
  const Bytes& Format() const { return format_; }

  const CodecDescription& Description() const { return description_; }

  /// The quality in use; empty when the codec names no default.
  std::optional<std::uint32_t> Quality() const { return quality_; }

  bool TakesQuality() const { return codec_->TakesQuality(); }

  /// Compresses the next picture, which the codec leaves as it is.
  Frame Compress(std::span<std::uint8_t> picture);

  /// The time spent compressing frames so far, inside the codec alone.
  double CodecSeconds() const { return inCodec_.Seconds(); }

 private:
  void AskForFormat(const FrameLayout& layout);

  std::unique_ptr<Codec> codec_;
  CodecDescription description_;
  Bytes input_;
  Bytes format_;
  Bytes frame_;
  std::optional<std::uint32_t> quality_;
  std::uint32_t framesDone_ = 0;
  Stopwatch inCodec_;
};

/// Decompresses the frames of one stream.
class Decompressor {
 public:
  /// Begins decompression of frames of `format` into pictures of the same width and height. Throws
  /// ToolError (kCodec) when the codec refuses.
  Decompressor(std::unique_ptr<Codec> codec, Bytes format, PixelFormat pixelFormat);
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
  ~Decompressor();

  const FrameLayout& Layout() const { return layout_; }
  const CodecDescription& Description() const { return description_; }

  /// Decompresses a frame. `picture` holds Layout().FrameBytes() bytes and still has the previous
  /// picture in it. What the codec says when it cannot.
  Refusal Decompress(std::span<std::uint8_t> frame, bool isKeyFrame,
                     std::span<std::uint8_t> picture);

  /// The time spent decompressing frames so far, inside the codec alone.
  double CodecSeconds() const { return inCodec_.Seconds(); }

 private:
  std::unique_ptr<Codec> codec_;
  CodecDescription description_;
  Bytes format_;
  FrameLayout layout_;
  Stopwatch inCodec_;
};

}  // namespace vfwtool
