#pragma once

#include <windows.h>

#include <vfw.h>

#include <array>
#include <optional>

namespace qivm::test {

constexpr std::size_t kStateWords = 274;
constexpr std::size_t kStateBytes = kStateWords * sizeof(DWORD);
using State = std::array<DWORD, kStateWords>;

/// The state of an instance in a process whose settings are the built-in ones.
State InitialState(DWORD handler);

/// What a begun context was begun with.
struct BegunContext {
  BITMAPINFOHEADER format = {};  // of the uncompressed side
  bool severalProcessors = false;
};

/// What a host has to expect of an instance: its state, and by that what the messages return. It is
/// written from the interface's description alone and shares no code with the driver.
struct InstanceModel {
  explicit InstanceModel(DWORD handler) : state(InitialState(handler)) {}

  DWORD Handler() const { return state[0]; }
  bool FieldsChanged() const { return state[1] != 0; }

  LRESULT CompressQuery(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output) const;
  LRESULT DecompressQuery(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output,
                          bool defectiveHost) const;

  State state;
  DWORD quality = 8000;
  std::optional<BegunContext> compressor;
  std::optional<BegunContext> decompressor;
  /// Whether the decompressor has seen anything but the reference frames: what a damaged frame's
  /// headers say can be in force for the next ones.
  bool strayHeaders = false;

 private:
  bool Accepts(DWORD code) const;
};

/// Whether a context begins with a bitmap that the query has accepted.
bool CompressorBegins(const BITMAPINFOHEADER& bitmap);
bool DecompressorBegins(const BITMAPINFOHEADER& bitmap);
/// Whether such a context needs so much memory that the system may well refuse.
bool IsMuchMemory(const BITMAPINFOHEADER& bitmap);

}  // namespace qivm::test
