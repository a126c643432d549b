// A Video for Windows codec that stores pictures as they are; see store_codec_format.h.

#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "tests/tools/store_codec_format.h"
#include "tools/vfwtool/media/bytes.h"

namespace vfwtool {
namespace {

const BITMAPINFOHEADER* Header(LPARAM parameter) {
  return reinterpret_cast<const BITMAPINFOHEADER*>(parameter);
}

/// The header of the stored pictures, which follows the stream format's own.
const BITMAPINFOHEADER* StoredHeader(const BITMAPINFOHEADER* format) { return format + 1; }

std::uint32_t PictureBytes(const BITMAPINFOHEADER* header) {
  const auto rowBytes = static_cast<std::uint32_t>(header->biWidth * header->biBitCount / 8);
  return (rowBytes + 3) / 4 * 4 * static_cast<std::uint32_t>(header->biHeight);
}

bool IsStored(const BITMAPINFOHEADER* header) {
  return header->biCompression == kStoreCode && header->biSize == kStoreFormatBytes;
}

/// Takes YUY2, UYVY and 32-bit RGB, of sizes that are multiples of the step.
LRESULT QueryCompression(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output) {
  const bool isYuv = input->biCompression == "YUY2"_fourcc || input->biCompression == "UYVY"_fourcc;
  const bool isRgb32 = input->biCompression == BI_RGB && input->biBitCount == 32;
  const bool isWholeSteps = input->biWidth > 0 && input->biHeight > 0 &&
                            input->biWidth % kStoreSizeStep == 0 &&
                            input->biHeight % kStoreSizeStep == 0;
  if (!(isYuv || isRgb32) || !isWholeSteps) {
    return ICERR_BADFORMAT;
  }
  return output == nullptr || IsStored(output) ? ICERR_OK : ICERR_BADFORMAT;
}

LRESULT GetCompressedFormat(const BITMAPINFOHEADER* input, LPARAM output) {
  if (output == 0) {
    return kStoreFormatBytes;
  }
  auto* const bytes = reinterpret_cast<std::uint8_t*>(output);
  std::fill_n(bytes, kStoreFormatBytes, kStorePatternByte);
  BITMAPINFOHEADER header = *input;
  header.biSize = kStoreFormatBytes;
  header.biBitCount = 24;
  header.biCompression = kStoreCode;
  std::memcpy(bytes, &header, sizeof(header));
  std::memcpy(bytes + sizeof(header), input, sizeof(*input));
  return ICERR_OK;
}

/// Sets an event of the test; false when there is none of that name.
bool SignalTest(const wchar_t* eventName) {
  const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName);
  if (event == nullptr) {
    return false;
  }
  SetEvent(event);
  CloseHandle(event);
  return true;
}

LRESULT Compress(const ICCOMPRESS& call) {
  const auto* const picture = static_cast<const std::uint8_t*>(call.lpInput);
  if (*picture == kStoreFailByte) {
    return ICERR_INTERNAL;
  }
  *call.lpdwFlags = (call.dwFlags & ICCOMPRESS_KEYFRAME) != 0 ? AVIIF_KEYFRAME : 0;
  if (*picture == kStoreEmptyByte) {
    call.lpbiOutput->biSizeImage = 0;
    return ICERR_OK;
  }
  const StoreFrameHeader header{static_cast<std::uint32_t>(call.lFrameNum), call.dwQuality};
  const std::uint32_t pictureBytes = PictureBytes(call.lpbiInput);
  auto* const frame = static_cast<std::uint8_t*>(call.lpOutput);
  std::memcpy(frame, &header, sizeof(header));
  std::memcpy(frame + sizeof(header), picture, pictureBytes);
  call.lpbiOutput->biSizeImage = static_cast<DWORD>(sizeof(header)) + pictureBytes;
  return *picture != kStoreSignalByte || SignalTest(kStoreCompressedEvent) ? ICERR_OK
                                                                           : ICERR_INTERNAL;
}

/// Gives only the format that was stored.
LRESULT QueryDecompression(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output) {
  if (!IsStored(input)) {
    return ICERR_BADFORMAT;
  }
  if (output == nullptr) {
    return ICERR_OK;
  }
  const BITMAPINFOHEADER* const stored = StoredHeader(input);
  const bool isSame = output->biCompression == stored->biCompression &&
                      output->biBitCount == stored->biBitCount &&
                      output->biWidth == stored->biWidth && output->biHeight == stored->biHeight;
  return isSame ? ICERR_OK : ICERR_BADFORMAT;
}

LRESULT Decompress(const ICDECOMPRESS& call) {
  const std::uint32_t pictureBytes = PictureBytes(call.lpbiOutput);
  if (call.lpbiInput->biSizeImage != sizeof(StoreFrameHeader) + pictureBytes) {
    return ICERR_BADSIZE;
  }
  std::memcpy(call.lpOutput,
              static_cast<const std::uint8_t*>(call.lpInput) + sizeof(StoreFrameHeader),
              pictureBytes);
  return ICERR_OK;
}

template <std::size_t kSize>
void SetField(WCHAR (&field)[kSize], std::wstring_view text) {
  std::ranges::copy(text.substr(0, kSize - 1), field);
}

LRESULT GetInfo(ICINFO* info, LPARAM bytes) {
  if (info == nullptr || bytes < static_cast<LPARAM>(sizeof(*info))) {
    return 0;
  }
  *info = {};
  info->dwSize = sizeof(*info);
  info->fccType = ICTYPE_VIDEO;
  info->fccHandler = kStoreCode;
  info->dwFlags = VIDCF_QUALITY;
  SetField(info->szName, L"Store");
  SetField(info->szDescription, L"Stores pictures \u2013 for tests");
  return sizeof(*info);
}

LRESULT SetDword(LPARAM target, DWORD value) {
  if (target != 0) {
    *reinterpret_cast<DWORD*>(target) = value;
  }
  return ICERR_OK;
}

/// Stands for a dialog that the user closes at once; tells a test that waits for it.
LRESULT ShowDialog(LPARAM parent, const wchar_t* eventName, LRESULT result) {
  return parent != 0 && SignalTest(eventName) ? result : ICERR_ERROR;
}

}  // namespace
}  // namespace vfwtool

extern "C" LRESULT WINAPI DriverProc(DWORD_PTR id, HDRVR driver, UINT message, LPARAM first,
                                     LPARAM second) {
  using namespace vfwtool;
  switch (message) {
    case DRV_LOAD:
    case DRV_FREE:
    case DRV_OPEN:
    case DRV_CLOSE:
    case DRV_ENABLE:
    case DRV_DISABLE:
      return 1;
    case DRV_QUERYCONFIGURE:
      return 1;
    case DRV_CONFIGURE:
      return ShowDialog(first, kStoreConfigureEvent, DRVCNF_RESTART);
    case ICM_ABOUT:
      return first == -1 ? ICERR_OK : ShowDialog(first, kStoreAboutEvent, ICERR_OK);
    case ICM_GETINFO:
      return GetInfo(reinterpret_cast<ICINFO*>(first), second);
    case ICM_GETDEFAULTQUALITY:
      return SetDword(first, kStoreDefaultQuality);
    case ICM_COMPRESS_QUERY:
    case ICM_COMPRESS_BEGIN:
      return QueryCompression(Header(first), Header(second));
    case ICM_COMPRESS_GET_FORMAT:
      return GetCompressedFormat(Header(first), second);
    case ICM_COMPRESS_GET_SIZE:
      return static_cast<LRESULT>(sizeof(StoreFrameHeader) + PictureBytes(Header(first)));
    case ICM_COMPRESS:
      return Compress(*reinterpret_cast<const ICCOMPRESS*>(first));
    case ICM_DECOMPRESS_QUERY:
    case ICM_DECOMPRESS_BEGIN:
      return QueryDecompression(Header(first), Header(second));
    case ICM_DECOMPRESS:
      return Decompress(*reinterpret_cast<const ICDECOMPRESS*>(first));
    case ICM_COMPRESS_END:
    case ICM_DECOMPRESS_END:
      return ICERR_OK;
    default:
      return message < DRV_USER ? DefDriverProc(id, driver, message, first, second)
                                : ICERR_UNSUPPORTED;
  }
}
