#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <array>

#include "driver/bitmap_headers.h"
#include "driver/codec_instance.h"
#include "formats/negotiation.h"
#include "settings/defective_apps.h"
#include "ui/dialogs.h"

namespace qivm {

namespace {

/// The id of an open that the manager makes only to configure the driver.
constexpr DWORD_PTR kNoInstanceId = ~DWORD_PTR{0};

/// Whether all bits are set, of the value or of the 32 that older hosts know of.
bool IsAllOnes(DWORD_PTR value) { return value == kNoInstanceId || value == 0xFFFFFFFF; }

CodecInstance* InstanceOfId(DWORD_PTR id) {
  return id == 0 || IsAllOnes(id) ? nullptr : reinterpret_cast<CodecInstance*>(id);
}

HWND WindowParameter(LPARAM parameter) { return reinterpret_cast<HWND>(parameter); }

LRESULT Open(const ICOPEN* open) {
  if (open == nullptr) {
    return static_cast<LRESULT>(kNoInstanceId);
  }
  // Null when there is no memory, which the manager takes for a failed open.
  return reinterpret_cast<LRESULT>(new CodecInstance(open->fccHandler));
}

/// What the codec does on one message, for an instance.
struct CodecMessage {
  UINT message;
  LRESULT (*answer)(CodecInstance& instance, LPARAM parameter1, LPARAM parameter2);
};

LRESULT RefuseDrawing(CodecInstance& /*instance*/, LPARAM /*parameter1*/, LPARAM /*parameter2*/) {
  return ICERR_ERROR;
}

constexpr auto kCodecMessages = std::to_array<CodecMessage>({
    {ICM_COMPRESS_GET_FORMAT,
     [](CodecInstance& instance, LPARAM input, LPARAM output) -> LRESULT {
       return CompressGetFormat(instance.Settings(), HeaderParameter(input),
                                reinterpret_cast<void*>(output));
     }},
    {ICM_COMPRESS_GET_SIZE,
     [](CodecInstance& /*instance*/, LPARAM input, LPARAM /*output*/) -> LRESULT {
       return CompressGetSize(HeaderParameter(input));
     }},
    {ICM_COMPRESS_QUERY,
     [](CodecInstance& instance, LPARAM input, LPARAM output) -> LRESULT {
       return CompressQuery(instance.Settings(), HeaderParameter(input), HeaderParameter(output));
     }},
    {ICM_COMPRESS_BEGIN,
     [](CodecInstance& instance, LPARAM input, LPARAM output) {
       return instance.CompressBegin(HeaderParameter(input), HeaderParameter(output));
     }},
    {ICM_COMPRESS,
     [](CodecInstance& instance, LPARAM request, LPARAM size) {
       return instance.Compress(reinterpret_cast<const ICCOMPRESS*>(request), size);
     }},
    {ICM_COMPRESS_END, [](CodecInstance& instance, LPARAM /*unused1*/,
                          LPARAM /*unused2*/) { return instance.CompressEnd(); }},
    {ICM_DECOMPRESS_GET_FORMAT,
     [](CodecInstance& instance, LPARAM input, LPARAM output) -> LRESULT {
       return DecompressGetFormat(instance.Settings(), HeaderParameter(input),
                                  reinterpret_cast<void*>(output));
     }},
    {ICM_DECOMPRESS_QUERY,
     [](CodecInstance& instance, LPARAM input, LPARAM output) -> LRESULT {
       return DecompressQuery(instance.Settings(), HeaderParameter(input), HeaderParameter(output),
                              IsDefectiveHost());
     }},
    {ICM_DECOMPRESS_BEGIN,
     [](CodecInstance& instance, LPARAM input, LPARAM output) {
       return instance.DecompressBegin(HeaderParameter(input), HeaderParameter(output));
     }},
    {ICM_DECOMPRESS,
     [](CodecInstance& instance, LPARAM request, LPARAM size) {
       return instance.Decompress(reinterpret_cast<const ICDECOMPRESS*>(request), size);
     }},
    {ICM_DECOMPRESS_END, [](CodecInstance& instance, LPARAM /*unused1*/,
                            LPARAM /*unused2*/) { return instance.DecompressEnd(); }},
    {ICM_DRAW_BEGIN, &RefuseDrawing},
    {ICM_DRAW, &RefuseDrawing},
    {ICM_DRAW_START, &RefuseDrawing},
    {ICM_DRAW_STOP, &RefuseDrawing},
    {ICM_DRAW_END, &RefuseDrawing},
    {ICM_DRAW_FLUSH, &RefuseDrawing},
    {ICM_DRAW_QUERY, &RefuseDrawing},
    {ICM_DRAW_GETTIME, &RefuseDrawing},
    {ICM_DRAW_SETTIME, &RefuseDrawing},
    {ICM_GETBUFFERSWANTED, &RefuseDrawing},
    {ICM_GETSTATE,
     [](CodecInstance& instance, LPARAM state, LPARAM size) {
       return instance.GetState(reinterpret_cast<void*>(state), size);
     }},
    {ICM_SETSTATE,
     [](CodecInstance& instance, LPARAM state, LPARAM size) {
       return instance.SetState(reinterpret_cast<const void*>(state), size);
     }},
    {ICM_GETINFO,
     [](CodecInstance& instance, LPARAM info, LPARAM size) {
       return instance.GetInfo(reinterpret_cast<ICINFO*>(info), size);
     }},
    {ICM_CONFIGURE,
     [](CodecInstance& instance, LPARAM parent, LPARAM /*unused*/) -> LRESULT {
       return ui::ShowSettingsEditor(WindowParameter(parent), instance.Settings());
     }},
    {ICM_ABOUT,
     [](CodecInstance& instance, LPARAM parent, LPARAM /*unused*/) -> LRESULT {
       return ui::ShowAbout(WindowParameter(parent), instance.Settings().handlerFourCC);
     }},
    {ICM_GETDEFAULTQUALITY,
     [](CodecInstance& instance, LPARAM quality, LPARAM /*unused*/) {
       auto* const value = reinterpret_cast<DWORD*>(quality);
       return instance.GetDefaultQuality(value);
     }},
    {ICM_GETQUALITY,
     [](CodecInstance& instance, LPARAM quality, LPARAM /*unused*/) {
       auto* const value = reinterpret_cast<DWORD*>(quality);
       return instance.GetQuality(value);
     }},
    {ICM_SETQUALITY,
     [](CodecInstance& instance, LPARAM quality, LPARAM /*unused*/) {
       auto* const value = reinterpret_cast<const DWORD*>(quality);
       return instance.SetQuality(value);
     }},
});

LRESULT AnswerCodecMessage(CodecInstance* instance, UINT message, LPARAM parameter1,
                           LPARAM parameter2) {
  const auto* const known =
      std::find_if(kCodecMessages.begin(), kCodecMessages.end(),
                   [=](const CodecMessage& entry) { return entry.message == message; });
  if (known == kCodecMessages.end()) {
    return ICERR_UNSUPPORTED;
  }
  // With this parameter the manager only asks whether there is such a dialog.
  if ((message == ICM_CONFIGURE || message == ICM_ABOUT) &&
      IsAllOnes(static_cast<DWORD_PTR>(parameter1))) {
    return ICERR_OK;
  }
  return instance == nullptr ? ICERR_ERROR : known->answer(*instance, parameter1, parameter2);
}

}  // namespace

}  // namespace qivm

/// The library's one export: answers every message of the installable-driver interface (DRV_*) and
/// of the compression manager (ICM_*). `id` is what DRV_OPEN returned.
extern "C" LRESULT CALLBACK DriverProc(DWORD_PTR id, HDRVR driver, UINT message, LPARAM parameter1,
                                       LPARAM parameter2) {
  qivm::CodecInstance* const instance = qivm::InstanceOfId(id);
  if (message >= DRV_USER) {
    return qivm::AnswerCodecMessage(instance, message, parameter1, parameter2);
  }
  switch (message) {
    case DRV_LOAD:
    case DRV_ENABLE:
    case DRV_DISABLE:
    case DRV_FREE:
    case DRV_QUERYCONFIGURE:
    case DRV_INSTALL:
    case DRV_REMOVE:
      return 1;
    case DRV_OPEN:
      return qivm::Open(reinterpret_cast<const ICOPEN*>(parameter2));
    case DRV_CLOSE:
      delete instance;
      return 1;
    case DRV_CONFIGURE:
      if (parameter1 != 0) {
        qivm::ui::ShowLauncher(qivm::WindowParameter(parameter1));
      }
      // Hosts have always got 0 here, whatever the user did. Of the published results that is
      // DRVCNF_CANCEL; DRVCNF_OK would be 1.
      return 0;
    default:
      return DefDriverProc(id, driver, message, parameter1, parameter2);
  }
}
