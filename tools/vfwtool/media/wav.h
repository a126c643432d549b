#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {

/// The sound of a WAV file, of RF64 and BW64 too, in packets of an eighth of a second.
class WavPackets final : public PacketSource {
 public:
  /// Throws ToolError (kInput) when the file cannot be read, has less sound than it states, or
  /// sound that is not PCM.
  explicit WavPackets(const std::string& name);

  /// Reads `file`, of `fileBytes`; `name` is used in messages.
  WavPackets(std::unique_ptr<std::istream> file, std::uint64_t fileBytes, std::string name);

  const AviStreamHeaders& Headers() const override { return headers_; }
  std::optional<std::uint64_t> NextBegin() const override;
  void Read(Packet& packet) override;

 private:
  std::string name_;
  std::unique_ptr<std::istream> stream_;
  std::uint64_t fileBytes_;
  AviStreamHeaders headers_;
  SoundFormat format_;
  std::uint64_t position_ = 0;  ///< Of the next packet in the file.
  std::uint64_t end_ = 0;       ///< Behind the last whole block.
  std::uint64_t done_ = 0;      ///< In blocks.
};

/// Writes PCM sound into a WAV file, into an RF64 file where it takes more than 4 GB.
class WavWriter {
 public:
  /// What the sizes of a WAV file can state.
  static constexpr std::uint64_t kLargestRiff = 0xFFFFFFFE;

  /// `format` is a WAVEFORMATEX. Throws ToolError (kOutput).
  WavWriter(std::string name, Bytes format, std::uint64_t largestRiff = kLargestRiff);
  WavWriter(const WavWriter&) = delete;
  WavWriter& operator=(const WavWriter&) = delete;
  /// Completes the file as far as it goes when Finish was not called.
  ~WavWriter();

  /// Appends samples; throws ToolError (kOutput).
  void Write(std::span<const std::uint8_t> samples);

  /// Writes the final header and closes the file; throws ToolError (kOutput).
  void Finish();

 private:
  Bytes Header() const;

  Output file_;
  Bytes format_;
  std::uint64_t largestRiff_;
  std::uint64_t dataBytes_ = 0;
  bool isFinished_ = false;
};

/// Writes a PCM stream of an AVI into a WAV file, side by side with the frames of the video. The
/// file begins with the first frame: what sounds earlier is left out, and silence stands before
/// what begins later.
class WavTrack {
 public:
  /// `reader` must outlive the object; `damage` as of AviPackets. Throws ToolError (kOutput).
  WavTrack(std::string name, const AviReader& reader, std::size_t stream,
           PacketDamage damage = nullptr);

  /// Appends what begins before that frame, counted from 0. Throws ToolError.
  void WriteUntil(std::uint64_t frame);

  /// Appends what is left and completes the file. Throws ToolError.
  void Finish();

  /// Completes the file with what was written. Throws ToolError (kOutput).
  void Stop() { wav_.Finish(); }

 private:
  void WritePackets(std::uint64_t until);

  const AviReader& reader_;
  JoinedPackets packets_{0};
  WavWriter wav_;
  PacketSource::Packet packet_;
};

}  // namespace vfwtool
