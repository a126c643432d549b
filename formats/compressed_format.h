#pragma once

#include <array>
#include <cstdint>

#include "kernels/client_format.h"

namespace qivm {

/// The largest compressed frame that the codec's formats announce, in bytes.
constexpr std::uint32_t kAnnouncedFrameBytes = 1007000;

/// A 128-bit identifier in the layout that Windows publishes.
struct Guid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::array<std::uint8_t, 8> data4 = {};
};

/// What the codec describes its compressed streams with: a bitmap header, followed by a media-type
/// record and an MPEG-2 video record in the layouts that DirectShow publishes (AM_MEDIA_TYPE with
/// null pointers of 32 bits, MPEG2VIDEOINFO). Hosts that read such extended headers recognise the
/// stream by them; the decompressor looks at the bitmap header alone. The same 252 bytes in both
/// architectures, for they are stored in files.
struct CompressedFormat {
  BitmapInfoHeader header;
  std::uint32_t mediaTypeOffset = 44;  // of the next field, from the start

  Guid majorType;
  Guid subtype;
  std::uint32_t fixedSizeSamples = 0;
  std::uint32_t temporalCompression = 0;  // every frame is an intra picture
  std::uint32_t sampleSize = 0;
  Guid formatType;
  std::uint32_t interfacePointer = 0;
  std::uint32_t formatBytes = 136;  // from sourceRectangle on
  std::uint32_t formatPointer = 0;

  std::array<std::int32_t, 4> sourceRectangle = {};
  std::array<std::int32_t, 4> targetRectangle = {};
  std::uint32_t bitRate = 50000000;  // bits a second
  std::uint32_t bitErrorRate = 0;
  // In units of 100 ns; 25 frames a second. Two words, for it is not aligned to its 8 bytes.
  std::uint32_t averageTimePerFrameLow = 400000;
  std::uint32_t averageTimePerFrameHigh = 0;
  std::uint32_t interlaceFlags = 0;
  std::uint32_t copyProtectFlags = 0;
  std::uint32_t pictureAspectX = 0;
  std::uint32_t pictureAspectY = 0;
  std::array<std::uint32_t, 2> reserved = {};
  BitmapInfoHeader innerHeader;

  std::uint32_t startTimeCode = 0;
  std::uint32_t sequenceHeaderBytes = 0;
  std::uint32_t profile = 6;
  std::uint32_t level = 2;
  std::uint32_t flags = 0;
  std::uint32_t sequenceHeader = 0;
};
static_assert(sizeof(CompressedFormat) == 252);

/// The description of streams made from `input` under the code `handler`.
CompressedFormat DescribeCompressedFormat(FourCC handler, const BitmapInfoHeader& input);

}  // namespace qivm
