#include "tests/interop/elementary_stream.h"

#include <stdexcept>

#include "mpeg2/start_codes.h"

namespace qivm::interop {

namespace {

constexpr std::size_t kStartCodeBytes = 4;

std::uint32_t StartCodeAt(std::span<const std::uint8_t> stream, std::size_t offset) {
  return 0x100U + (offset + 3 < stream.size() ? stream[offset + 3] : 0U);
}

bool IsSlice(std::uint32_t startCode) {
  return startCode >= mpeg2::kFirstSliceStartCode && startCode <= mpeg2::kLastSliceStartCode;
}

/// The byte behind a unit's start code.
std::uint8_t& FirstByte(Bytes& frame, std::size_t unit) {
  if (unit + kStartCodeBytes >= frame.size()) {
    throw std::runtime_error("a start code ends the frame");
  }
  return frame[unit + kStartCodeBytes];
}

bool IsPlace(Bytes& frame, std::size_t unit, HeaderPlace place) {
  const std::uint32_t code = StartCodeAt(frame, unit);
  if (place == HeaderPlace::afterGroup) {
    return code == mpeg2::kGroupStartCode;
  }
  const std::uint32_t identifier = place == HeaderPlace::afterSequenceExtension
                                       ? mpeg2::kSequenceExtensionId
                                       : mpeg2::kPictureCodingExtensionId;
  return code == mpeg2::kExtensionStartCode && FirstByte(frame, unit) >> 4U == identifier;
}

}  // namespace

std::vector<std::size_t> FindUnits(std::span<const std::uint8_t> stream) {
  std::vector<std::size_t> units;
  for (std::size_t i = 0; i + 2 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      units.push_back(i);
    }
  }
  return units;
}

int CountUnits(std::span<const std::uint8_t> frame, std::uint32_t startCode) {
  int count = 0;
  for (const std::size_t unit : FindUnits(frame)) {
    count += StartCodeAt(frame, unit) == startCode ? 1 : 0;
  }
  return count;
}

std::vector<Bytes> SplitFrames(const Bytes& stream) {
  std::vector<std::size_t> begins;
  std::vector<int> pictures;
  for (const std::size_t unit : FindUnits(stream)) {
    const std::uint32_t code = StartCodeAt(stream, unit);
    if (code == mpeg2::kSequenceHeaderCode) {
      begins.push_back(unit);
      pictures.push_back(0);
    } else if (begins.empty()) {
      throw std::runtime_error("the stream does not begin with a sequence header");
    } else if (code == mpeg2::kPictureStartCode) {
      ++pictures.back();
    }
  }
  std::vector<Bytes> frames;
  for (std::size_t i = 0; i < begins.size(); ++i) {
    if (pictures[i] != 1) {
      throw std::runtime_error("a sequence header is followed by " + std::to_string(pictures[i]) +
                               " pictures instead of one");
    }
    const std::size_t end = i + 1 < begins.size() ? begins[i + 1] : stream.size();
    frames.emplace_back(stream.begin() + static_cast<std::ptrdiff_t>(begins[i]),
                        stream.begin() + static_cast<std::ptrdiff_t>(end));
  }
  return frames;
}

Bytes JoinFrames(const std::vector<Bytes>& frames) {
  Bytes stream;
  for (const Bytes& frame : frames) {
    stream.insert(stream.end(), frame.begin(), frame.end());
  }
  return stream;
}

void InsertUnits(Bytes& frame, HeaderPlace place, const Bytes& units) {
  const std::vector<std::size_t> present = FindUnits(frame);
  for (std::size_t i = 0; i + 1 < present.size(); ++i) {
    if (IsPlace(frame, present[i], place)) {
      frame.insert(frame.begin() + static_cast<std::ptrdiff_t>(present[i + 1]), units.begin(),
                   units.end());
      return;
    }
  }
  throw std::runtime_error("the frame does not have the header to insert behind");
}

int SetFirstIncrementBit(Bytes& frame) {
  for (const std::size_t unit : FindUnits(frame)) {
    if (IsSlice(StartCodeAt(frame, unit))) {
      // quantiser_scale_code and extra_bit_slice, or with intra_slice_flag nine bits more.
      constexpr std::uint8_t kIntraSliceFlag = 0x04;
      const bool longHeader = (FirstByte(frame, unit) & kIntraSliceFlag) != 0;
      std::uint8_t& byte = frame.at(unit + kStartCodeBytes + (longHeader ? 1 : 0));
      const std::uint8_t bit = longHeader ? 0x01 : 0x02;
      const int before = (byte & bit) != 0 ? 1 : 0;
      byte = static_cast<std::uint8_t>(byte | bit);
      return before;
    }
  }
  throw std::runtime_error("the frame has no slice");
}

void SetAlternateScan(Bytes& frame) {
  constexpr std::size_t kByte = 3;  // behind the start code
  constexpr std::uint8_t kBit = 0x04;
  for (const std::size_t unit : FindUnits(frame)) {
    if (IsPlace(frame, unit, HeaderPlace::afterPictureCodingExtension)) {
      frame.at(unit + kStartCodeBytes + kByte) |= kBit;
      return;
    }
  }
  throw std::runtime_error("the frame has no picture coding extension");
}

void ReplaceSliceQuantiserCodes(Bytes& frame, int from, int to) {
  constexpr unsigned kBitsBehindCode = 3;
  for (const std::size_t unit : FindUnits(frame)) {
    if (IsSlice(StartCodeAt(frame, unit))) {
      std::uint8_t& first = FirstByte(frame, unit);
      if (first >> kBitsBehindCode != from) {
        throw std::runtime_error("a slice has quantiser_scale_code " +
                                 std::to_string(first >> kBitsBehindCode));
      }
      first = static_cast<std::uint8_t>(static_cast<unsigned>(to) << kBitsBehindCode |
                                        (first & ((1U << kBitsBehindCode) - 1)));
    }
  }
}

}  // namespace qivm::interop
