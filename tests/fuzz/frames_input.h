#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

#include "decoder/decompressor_context.h"
#include "platform/platform_hooks.h"
#include "tests/fuzz/require.h"
#include "tests/support/client_pictures.h"

/// What the two targets of the decoder have in common. They read an input alike, so that one goes
/// on with what the other has found.
namespace qivm::test {

/// Frames, and the bitmap that they go into one after another.
struct FramesInput {
  static constexpr std::size_t kMaxFrames = 3;
  static constexpr int kSmallColumns = 3;
  static constexpr std::array<int, 4> kSmallRows = {1, 2, 4, 8};

  struct Frame {
    std::span<const std::uint8_t> bytes;
    bool shifted = false;
  };

  ClientFormat format = ClientFormat::yuy2;
  /// Of a small picture, in macroblocks: one of kSmallColumns x kSmallRows.
  int columns = 1;
  int rows = 1;
  /// Whether another size is wanted: any, in pixels; zero and below too.
  bool isOdd = false;
  int oddWidth = 0;
  int oddHeight = 0;
  std::size_t count = 1;
  std::array<Frame, kMaxFrames> frames;
  /// Of all bytes: decides what is tried of the things of which not all are tried with each input.
  std::uint32_t hash = 0;
};

/// Reads an input. At its beginning stand the frames; at its end, last first: the format; columns
/// and rows; what is missing of the last ones, the highest bit for an odd size; how many frames
/// there are; for each whether it is shifted and, but for the last, two bytes of its length.
inline FramesInput ReadFrames(std::span<const std::uint8_t> bytes) {
  FramesInput input;
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const std::uint8_t byte : bytes) {
    hash = (hash ^ byte) * 0x100000001B3;
  }
  input.hash = static_cast<std::uint32_t>(hash ^ hash >> 32);

  const auto take = [&bytes] {
    unsigned byte = 0;
    if (!bytes.empty()) {
      byte = bytes.back();
      bytes = bytes.first(bytes.size() - 1);
    }
    return byte;
  };
  input.format = kOutputFormats[take() % kOutputFormats.size()];
  const unsigned columns = take();
  const unsigned rows = take();
  const unsigned missing = take();
  input.columns = 1 + static_cast<int>(columns % FramesInput::kSmallColumns);
  input.rows = FramesInput::kSmallRows[rows % FramesInput::kSmallRows.size()];
  input.isOdd = missing >= 0x80;
  input.oddWidth = 16 * static_cast<int>(columns % 176) - static_cast<int>(missing % 16);
  input.oddHeight = 16 * static_cast<int>(rows % 176) - static_cast<int>(missing / 16 % 8);
  input.count = 1 + take() % FramesInput::kMaxFrames;
  for (std::size_t i = 0; i < input.count; ++i) {
    FramesInput::Frame& frame = input.frames[i];
    frame.shifted = take() % 2 != 0;
    const std::size_t wanted =
        i + 1 < input.count ? take() * std::size_t{256} + take() : bytes.size();
    const std::size_t size = std::min(wanted, bytes.size());
    frame.bytes = bytes.first(size);
    bytes = bytes.subspan(size);
  }
  return input;
}

/// Whether the decoder has turned a frame away since the last call, which it does by a fault under
/// its own guard, for a table that it does not offer.
inline bool TakeTurnedAway() {
  static bool turnedAway = false;
  platform::Hooks().debugText = [](const char* text) {
    turnedAway = turnedAway || std::strcmp(text, "USING TABLE ZERO\n") == 0;
  };
  return std::exchange(turnedAway, false);
}

/// Decodes one frame of the format that the context has begun with. It must be decoded as far as
/// there is something to decode, or be turned away. Returns whether it was decoded.
inline bool DecodeSoundly(DecompressorContext& context, const FramesInput::Frame& frame,
                          const void* bytes, BitmapInfoHeader outputFormat, void* bitmap) {
  const BitmapInfoHeader inputFormat =
      CompressedHeader(outputFormat.biWidth, outputFormat.biHeight, frame.bytes.size());
  const DecompressFrame call = {&inputFormat, bytes, &outputFormat, bitmap};
  const FrameOutcome outcome =
      frame.shifted ? context.DecodeFrameShifted(call) : context.DecodeFrame(call);
  const FrameOutcome expected = TakeTurnedAway() ? FrameOutcome::faulted : FrameOutcome::done;
  Require(outcome == expected, "no frame faults unless it is turned away");
  return outcome == FrameOutcome::done;
}

}  // namespace qivm::test
