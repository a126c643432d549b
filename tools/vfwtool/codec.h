#pragma once

#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/codec_description.h"
#include "tools/vfwtool/pixel_format.h"

namespace qivm {

/// A codec opened through the compression manager; closed when the object ends.
class Codec {
 public:
  /// Opens the codec installed under `code` for compression; throws ToolError (kCodec).
  static Codec ForCompression(FourCc code);

  /// Opens a codec that decompresses frames of `format` (a bitmap header with all that follows
  /// it), preferring the one that wrote them, `handler`. Empty when there is none.
  static std::optional<Codec> ForDecompression(FourCc handler, std::span<std::uint8_t> format);

  HIC Handle() const { return handle_.get(); }

  /// How the codec presents itself; without a driver file where the manager does not tell it.
  CodecDescription Describe() const;

  /// Shows the codec's about box and returns when it is closed; throws ToolError (kCodec) when it
  /// has none.
  void ShowAbout() const;

  /// Makes the codec exchange the two fields of every picture. Throws ToolError (kCodec) when it is
  /// not QIVM, the only one whose state the tool knows.
  void SwapFields() const;

  /// False when the codec says of itself that its quality cannot be chosen.
  bool TakesQuality() const;

 private:
  struct Closer {
    void operator()(HIC handle) const { ICClose(handle); }
  };

  Codec(HIC handle, FourCc code) : handle_(handle), code_(code) {}

  std::unique_ptr<HIC__, Closer> handle_;
  FourCc code_;
};

/// Throws ToolError (kCodec): `what` failed with the codec's `result`. `advice`, where there is
/// any, is a sentence of its own.
[[noreturn]] void ThrowCodecError(const std::string& what, LRESULT result,
                                  const std::string& advice = {});

/// A video format as the compression manager wants it.
BITMAPINFOHEADER* HeaderOf(std::span<std::uint8_t> format);

/// How all installed video codecs present themselves, with the drivers that answer for them.
std::vector<CodecDescription> ListCodecs();

/// The codes of all installed video codecs, such as "CVID, QIVM", or "none".
std::string InstalledCodecs();

/// "This is a 32-bit program, ...": which codecs the process can see at all.
std::string BitnessHint();

}  // namespace qivm
