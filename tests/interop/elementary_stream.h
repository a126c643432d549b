#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tests/interop/bytes.h"

/// MPEG-2 video elementary streams (ISO/IEC 13818-2) as sequences of units, each a start code with
/// what follows it up to the next one. Knows nothing of what the units hold.
namespace qivm::interop {

/// Offsets of all start code prefixes.
std::vector<std::size_t> FindUnits(std::span<const std::uint8_t> stream);

/// How many units of a frame have the given start code.
int CountUnits(std::span<const std::uint8_t> frame, std::uint32_t startCode);

/// The frames of an intra-only stream, each beginning with its own sequence header. Throws
/// std::runtime_error unless every one holds exactly one picture and nothing precedes the first.
std::vector<Bytes> SplitFrames(const Bytes& stream);

/// Frames one after another.
Bytes JoinFrames(const std::vector<Bytes>& frames);

/// Places in a frame's headers.
enum class HeaderPlace { afterSequenceExtension, afterGroup, afterPictureCodingExtension };

/// Inserts whole units right behind a header. Throws std::runtime_error when the frame does not
/// have it.
void InsertUnits(Bytes& frame, HeaderPlace place, const Bytes& units);

/// Sets the first bit of the picture's first macroblock, so that its macroblock_address_increment
/// is "1". The first slice must be without extra_information_slice. Returns what the bit was.
int SetFirstIncrementBit(Bytes& frame);

/// Sets alternate_scan in the picture coding extension.
void SetAlternateScan(Bytes& frame);

/// Replaces quantiser_scale_code in all slice headers. Throws std::runtime_error when one does not
/// have the code `from`.
void ReplaceSliceQuantiserCodes(Bytes& frame, int from, int to);

}  // namespace qivm::interop
