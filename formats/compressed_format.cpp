#include "formats/compressed_format.h"

#include <cstddef>

namespace qivm {

namespace {

static_assert(offsetof(CompressedFormat, majorType) == 44);
static_assert(offsetof(CompressedFormat, formatType) == 88);
static_assert(offsetof(CompressedFormat, sourceRectangle) == 116);
static_assert(offsetof(CompressedFormat, averageTimePerFrameLow) == 156);
static_assert(offsetof(CompressedFormat, innerHeader) == 188);
static_assert(offsetof(CompressedFormat, startTimeCode) == 228);
static_assert(sizeof(CompressedFormat) - offsetof(CompressedFormat, sourceRectangle) == 136);

// MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO and FORMAT_MPEG2Video of the DirectShow headers.
constexpr Guid kVideo = {
    0x73646976, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr Guid kMpeg2Video = {
    0xE06D8026, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr Guid kMpeg2VideoFormat = {
    0xE06D80E3, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};

}  // namespace

CompressedFormat DescribeCompressedFormat(FourCC handler, const BitmapInfoHeader& input) {
  CompressedFormat format;
  format.innerHeader.biWidth = input.biWidth;
  format.innerHeader.biHeight = input.biHeight;
  format.innerHeader.biPlanes = input.biPlanes;
  format.innerHeader.biBitCount = 24;
  format.innerHeader.biCompression = kMmes;  // whatever the handler's code
  format.innerHeader.biSizeImage = kAnnouncedFrameBytes;
  format.innerHeader.biClrUsed = input.biClrUsed;
  format.innerHeader.biClrImportant = input.biClrImportant;

  format.header = format.innerHeader;
  format.header.biSize = sizeof(format);
  format.header.biCompression = handler;

  format.majorType = kVideo;
  format.subtype = kMpeg2Video;
  format.formatType = kMpeg2VideoFormat;
  return format;
}

}  // namespace qivm
