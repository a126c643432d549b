#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/codecs/codec.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {

/// What becomes of a clip's damage: the first damaged frame, or packet of its other streams that
/// cannot be read, ends the work, or all are told and counted, with what of the file was lost
/// between them.
class DamageLog {
 public:
  /// Damage ends the work.
  DamageLog() = default;
  /// Damage is told to `errors`.
  explicit DamageLog(std::ostream& errors) : errors_(&errors) {}

  /// Notes what is wrong with a frame: `what`, as the end of a sentence that begins with the frame.
  /// Throws ToolError with `code` where that ends the work.
  void Note(const AviReader& reader, std::uint32_t frame, const std::string& what,
            ExitCode code = ExitCode::kInput);

  /// Notes packets in the same way, with kInput. The log must outlive it.
  PacketDamage OfPackets();

  /// Counts a place of the file of which nothing comes.
  void NoteLoss() { ++losses_; }

  std::uint64_t Frames() const { return frames_; }
  std::uint64_t Packets() const { return packets_; }

  /// Throws ToolError (kDamage) when there was damage in `input` that the work went on behind.
  void RequireNone(const std::string& input) const;

 private:
  void Tell(const std::string& text, ExitCode code);

  std::ostream* errors_ = nullptr;
  std::uint64_t frames_ = 0;
  std::uint64_t packets_ = 0;
  std::uint64_t losses_ = 0;
};

/// Frame and moment for messages: "frame 17 (00:00:00.640)".
std::string FramePlace(const AviReader& reader, std::uint32_t frame);

/// Reads frame `index` of an AVI, an empty one included. False, with a note in the log, when it
/// cannot be read or, being of this codec, is damaged.
bool ReadWholeFrame(const AviReader& reader, std::uint32_t index, DamageLog& log, Bytes& frame);

/// A codec that decompresses the video of an AVI; throws ToolError (kCodec) when there is none.
std::unique_ptr<Codec> FindDecoder(const AviReader& reader);

/// Reads the video of an AVI as a clip: uncompressed as it is, else by a codec. A damaged frame
/// repeats the picture before it, as an empty one does.
class AviSource final : public FrameSource {
 public:
  /// `reader` and `log` must outlive the object. Compressed video is decompressed to `format`.
  /// Throws ToolError when there is no way to read the video.
  AviSource(const AviReader& reader, PixelFormat format, DamageLog& log);

  const ClipFormat& Format() const override { return format_; }
  std::optional<std::uint64_t> FrameCount() const override { return reader_.FrameCount(); }
  bool Read(std::span<std::uint8_t> frame) override;

  /// The codec at work; empty for uncompressed video.
  std::optional<CodecDescription> Description() const;
  /// The time spent inside the codec.
  double CodecSeconds() const { return decompressor_ ? decompressor_->CodecSeconds() : 0; }

 private:
  FrameLayout UncompressedLayout();
  void RequirePlausible() const;
  FieldOrder FieldsOfFirstFrame();
  bool ReadPicture(std::uint32_t index, std::span<std::uint8_t> picture);

  const AviReader& reader_;
  DamageLog& log_;
  std::optional<Decompressor> decompressor_;
  ClipFormat format_;
  bool isUpsideDown_ = false;  ///< Uncompressed RGB with its rows from the top down.
  std::uint32_t framesRead_ = 0;
  bool hasPicture_ = false;
  Bytes frame_;
};

}  // namespace vfwtool
