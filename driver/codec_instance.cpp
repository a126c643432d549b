#include "driver/codec_instance.h"

#include <cstring>
#include <span>

#include "driver/bitmap_headers.h"
#include "formats/negotiation.h"
#include "platform/platform.h"
#include "resources/resource.h"
#include "settings/defective_apps.h"
#include "settings/module_handle.h"

namespace qivm {

namespace {

constexpr DWORD kDriverVersion = 2002;
constexpr DWORD kInfoSizeField = 4;  // what dwSize says and what is demanded of the host's size

// The 32-bit sizes are those that the published interface names.
static_assert(sizeof(void*) != 4 || (sizeof(ICCOMPRESS) == 48 && sizeof(ICDECOMPRESS) == 24));
static_assert(sizeof(ICINFO) == 568);
static_assert(CompressorContext::kKeyFrame == AVIIF_KEYFRAME);
static_assert(kIcErrOk == ICERR_OK && kIcErrBadFormat == ICERR_BADFORMAT &&
              kIcErrBadParam == ICERR_BADPARAM);
static_assert(kDefaultQualityRequest == static_cast<DWORD>(ICQUALITY_DEFAULT));

/// Hosts rely on finding the x87 unit free for floating-point code after a frame, whatever MMX
/// code, their own or a filter's, has run on the thread before.
void ClearMmxState() { __asm__ volatile("emms"); }

/// What the debugger is told of a frame that was not coded.
const char* TextOf(FrameOutcome outcome) {
  switch (outcome) {
    case FrameOutcome::refused:
      return ": frame refused, not of the format begun\n";
    case FrameOutcome::doesNotFit:
      return ": frame does not fit its output at the coarsest quantiser\n";
    case FrameOutcome::faulted:
    case FrameOutcome::done:
      break;
  }
  return ": exception while compressing\n";
}

/// Loads a string resource into a wide field; the field is all zero when there is none.
void LoadWideField(UINT id, std::span<WCHAR> field) {
  char text[4096];
  if (LoadStringA(ModuleHandle(), id, text, sizeof(text)) < 1) {
    std::memset(field.data(), 0, field.size_bytes());
    return;
  }
  MultiByteToWideChar(CP_ACP, 0, text, -1, field.data(), static_cast<int>(field.size()));
}

}  // namespace

CodecInstance::CodecInstance(FourCC handler) : settings_(ProcessSettings()) {
  settings_.handlerFourCC = handler;
}

CodecInstance::~CodecInstance() {
  DecompressEnd();
  CompressEnd();
}

LRESULT CodecInstance::GetInfo(ICINFO* info, LPARAM size) const {
  if (info == nullptr) {
    return kInfoSizeField;
  }
  if (size < static_cast<LPARAM>(kInfoSizeField)) {
    return ICERR_BADSIZE;
  }
  ICINFO answer = {};
  answer.dwSize = kInfoSizeField;
  answer.fccType = ICTYPE_VIDEO;
  answer.fccHandler = settings_.handlerFourCC;
  answer.dwFlags = VIDCF_QUALITY;
  answer.dwVersion = kDriverVersion;
  answer.dwVersionICM = ICVERSION;
  LoadWideField(IDS_DESCRIPTION, answer.szDescription);
  LoadWideField(IDS_NAME, answer.szName);
  std::memcpy(info, &answer, sizeof(answer));
  return sizeof(answer);
}

LRESULT CodecInstance::GetState(void* state, LPARAM size) const {
  if (state == nullptr) {
    return sizeof(settings_);
  }
  if (size < static_cast<LPARAM>(sizeof(settings_))) {
    return ICERR_BADSIZE;
  }
  std::memcpy(state, &settings_, sizeof(settings_));
  return ICERR_OK;
}

LRESULT CodecInstance::SetState(const void* state, LPARAM size) {
  if (state == nullptr) {
    const FourCC handler = settings_.handlerFourCC;
    settings_ = ProcessSettings();
    settings_.handlerFourCC = handler;
    return ICERR_OK;
  }
  FourCC handler = 0;
  std::memcpy(&handler, state, sizeof(handler));
  if (handler != settings_.handlerFourCC) {
    return ICERR_ERROR;
  }
  std::memcpy(&settings_, state, sizeof(settings_));
  return size;
}

LRESULT CodecInstance::GetDefaultQuality(DWORD* quality) {
  if (quality != nullptr) {
    *quality = kInitialQuality;
  }
  return ICERR_OK;
}

LRESULT CodecInstance::GetQuality(DWORD* quality) const {
  if (quality != nullptr) {
    *quality = quality_;
  }
  return ICERR_OK;
}

LRESULT CodecInstance::SetQuality(const DWORD* quality) {
  if (quality != nullptr) {
    quality_ = *quality;
  }
  return ICERR_OK;
}

LRESULT CodecInstance::CompressBegin(const BitmapInfoHeader* input,
                                     const BitmapInfoHeader* output) {
  const LRESULT error = CompressQuery(settings_, input, output);
  if (error != ICERR_OK) {
    return error;
  }
  CompressEnd();
  compressor_.reset(new CompressorContext);
  if (compressor_ == nullptr) {
    return ICERR_INTERNAL;
  }
  // A query may leave the output out; a begin cannot do without.
  if (output == nullptr || !library_.Hold() ||
      !compressor_->Begin(*output, *input, Processor::Current())) {
    CompressEnd();
    return ICERR_BADFORMAT;
  }
  return ICERR_OK;
}

LRESULT CodecInstance::Compress(const ICCOMPRESS* request, LPARAM size) {
  if (size != static_cast<LPARAM>(sizeof(*request))) {
    return ICERR_BADPARAM;
  }
  if (compressor_ == nullptr) {
    return ICERR_ERROR;
  }
  // The guard here is for what the host passes; the context has its own around each thread's work.
  auto outcome = FrameOutcome::refused;
  auto compress = [&] {
    if (request != nullptr) {
      outcome = CompressFrameOf(*request);
    }
  };
  if (!platform::RunGuarded(compress)) {
    outcome = FrameOutcome::faulted;
  }
  if (outcome == FrameOutcome::done) {
    ClearMmxState();
  } else {
    platform::DebugText("MPEG2Codec (Compress)");
    platform::DebugText(TextOf(outcome));
  }
  return ICERR_OK;
}

FrameOutcome CodecInstance::CompressFrameOf(const ICCOMPRESS& request) {
  const CompressFrame frame = {
      .outputFormat = CoreHeader(request.lpbiOutput),
      .output = request.lpOutput,
      .inputFormat = CoreHeader(request.lpbiInput),
      .input = request.lpInput,
      .flags = reinterpret_cast<std::uint32_t*>(request.lpdwFlags),
      .quality = request.dwQuality,
  };
  compressor_->SetQuality(quality_);
  return settings_.changeFieldsOrder != 0 ? compressor_->EncodeFrameShifted(frame)
                                          : compressor_->EncodeFrame(frame);
}

LRESULT CodecInstance::CompressEnd() {
  compressor_.reset();
  LetLibraryGoWithoutContexts();
  return ICERR_OK;
}

LRESULT CodecInstance::DecompressBegin(const BitmapInfoHeader* input,
                                       const BitmapInfoHeader* output) {
  const LRESULT error = DecompressQuery(settings_, input, output, IsDefectiveHost());
  if (error != ICERR_OK) {
    return error;
  }
  DecompressEnd();
  decompressor_.reset(new DecompressorContext);
  if (decompressor_ == nullptr) {
    return ICERR_BADFORMAT;
  }
  if (output == nullptr || !library_.Hold() ||
      !decompressor_->Begin(*output, Processor::Current())) {
    DecompressEnd();
    return ICERR_ERROR;
  }
  return ICERR_OK;
}

LRESULT CodecInstance::Decompress(const ICDECOMPRESS* request, LPARAM size) {
  if (size != static_cast<LPARAM>(sizeof(*request))) {
    return ICERR_BADPARAM;
  }
  if (decompressor_ == nullptr) {
    return ICERR_ERROR;
  }
  bool decoded = false;
  auto decompress = [&] {
    decoded = request != nullptr && DecompressFrameOf(*request) == FrameOutcome::done;
  };
  if (platform::RunGuarded(decompress) && decoded) {
    ClearMmxState();
  }
  return ICERR_OK;
}

FrameOutcome CodecInstance::DecompressFrameOf(const ICDECOMPRESS& request) {
  const DecompressFrame frame = {
      .inputFormat = CoreHeader(request.lpbiInput),
      .input = request.lpInput,
      .outputFormat = CoreHeader(request.lpbiOutput),
      .output = request.lpOutput,
  };
  return settings_.changeFieldsOrder != 0 ? decompressor_->DecodeFrameShifted(frame)
                                          : decompressor_->DecodeFrame(frame);
}

LRESULT CodecInstance::DecompressEnd() {
  decompressor_.reset();
  LetLibraryGoWithoutContexts();
  return ICERR_OK;
}

void CodecInstance::LetLibraryGoWithoutContexts() {
  if (compressor_ == nullptr && decompressor_ == nullptr) {
    library_.LetGo();
  }
}

}  // namespace qivm
