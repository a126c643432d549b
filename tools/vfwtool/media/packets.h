#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tools/vfwtool/media/avi_reader.h"

/// Streams that go from file to file beside the video.
namespace vfwtool {

/// A stream to be read once, packet by packet.
class PacketSource {
 public:
  PacketSource() = default;
  PacketSource(const PacketSource&) = delete;
  PacketSource& operator=(const PacketSource&) = delete;
  virtual ~PacketSource() = default;

  virtual const AviStreamHeaders& Headers() const = 0;

  /// When the next packet begins, in units of the stream's rate; empty at the end.
  virtual std::optional<std::uint64_t> NextBegin() const = 0;

  struct Packet {
    Bytes bytes;
    bool isKeyFrame = true;
  };
  /// The next packet, of which there must be one. Throws ToolError when it cannot be read.
  virtual void Read(Packet& packet) = 0;
};

/// True when the stream can be cut between any two of its samples.
bool IsCutAnywhere(const AviStreamHeaders& headers);

/// The moment at which a stream of an AVI ends, in units of its rate.
std::uint64_t EndOf(const AviReader& reader, std::size_t stream);

/// Samples of silence; `format` is one of PCM.
Bytes Silence(const SoundFormat& format, std::uint64_t samples);

/// A packet that cannot be read: its stream, its beginning in units of the stream's rate, and the
/// place in the file.
struct UnreadablePacket {
  std::size_t stream = 0;
  std::uint64_t begin = 0;
  std::uint64_t position = 0;
};
/// Is told of a packet that cannot be read; throws ToolError unless the work is to go on.
using PacketDamage = std::function<void(const AviReader& reader, const UnreadablePacket& packet)>;

/// A stream of an AVI, or a part of it: what begins at a moment and before another one, to the
/// sample where the stream can be cut so, else to the packet. The packets are those of the file but
/// for chunks of more than a second, which come in pieces where their coding allows it, and for
/// those that cannot be read: of sound, silence or zeros of the same length stand for them, so that
/// what follows keeps its moment, of other streams an empty packet.
class AviPackets final : public PacketSource {
 public:
  /// A part of a stream in units of its rate, counted from where the file begins.
  struct Part {
    std::uint64_t from = 0;
    std::uint64_t to = UINT64_MAX;
  };

  /// `reader` must outlive the object. Without `damage`, a packet that cannot be read is an error
  /// (kInput).
  AviPackets(const AviReader& reader, std::size_t stream, const Part& part,
             PacketDamage damage = nullptr);
  AviPackets(const AviReader& reader, std::size_t stream) : AviPackets(reader, stream, Part{}) {}

  const AviStreamHeaders& Headers() const override { return headers_; }
  std::optional<std::uint64_t> NextBegin() const override;
  void Read(Packet& packet) override;

  /// Passes over what is left; the moment at which the last packet ends.
  std::uint64_t SkipToEnd();

 private:
  const std::vector<AviChunk>& Chunks() const { return reader_.Contents().streams[stream_]; }
  void SkipToBegin();
  void Advance(std::uint32_t bytes);
  std::uint32_t PieceOf(std::uint32_t bytes) const;

  const AviReader& reader_;
  std::size_t stream_;
  const AviStreamHeaders& headers_;
  Part part_;
  PacketDamage damage_;
  bool isCutAnywhere_;
  std::uint64_t begin_;       ///< Of the rest of the current chunk.
  std::size_t chunk_ = 0;     ///< The current chunk,
  std::uint32_t offset_ = 0;  ///< and the bytes of it that are done.
};

/// Sources one behind the other, each from its own moment on. Where a stream can be cut anywhere,
/// silence fills what is missing between two of them.
class JoinedPackets final : public PacketSource {
 public:
  /// The headers are those of the first part, but for the moment at which the stream begins.
  JoinedPackets() = default;
  /// Silence reaches to the first part too, from that moment on.
  explicit JoinedPackets(std::uint64_t begin) : done_(begin) {}

  /// Appends a source; its moment `from`, before which it has no packets, is the moment `at` of the
  /// whole.
  void Add(std::unique_ptr<PacketSource> source, std::uint64_t from, std::uint64_t at);

  const AviStreamHeaders& Headers() const override { return headers_; }
  std::optional<std::uint64_t> NextBegin() const override;
  /// Throws ToolError (kInput) too where more silence is missing than any recording lacks.
  void Read(Packet& packet) override;

 private:
  struct Part {
    std::unique_ptr<PacketSource> source;
    std::uint64_t from = 0;
    std::uint64_t at = 0;
  };
  /// When the next packet of the parts begins; empty at the end of all.
  std::optional<std::uint64_t> NextOfParts() const;
  /// Silence is due before the next packet.
  bool IsGap() const;

  AviStreamHeaders headers_;
  std::vector<Part> parts_;            ///< Those that are left.
  std::optional<std::uint64_t> done_;  ///< Up to where there are packets, once there are any.
};

}  // namespace vfwtool
