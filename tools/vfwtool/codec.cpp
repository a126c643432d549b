#include "tools/vfwtool/codec.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/vfw_results.h"
#include "tools/vfwtool/windows_text.h"

namespace qivm {
namespace {

template <std::size_t kSize>
std::string FieldText(const WCHAR (&field)[kSize]) {
  return Utf8(std::wstring_view(field, wcsnlen(field, kSize)));
}

ICINFO AskCodec(HIC handle) {
  ICINFO info{};
  info.dwSize = sizeof(info);
  ICGetInfo(handle, &info, sizeof(info));
  return info;
}

}  // namespace

Codec Codec::ForCompression(FourCc code) {
  const HIC handle = ICOpen(ICTYPE_VIDEO, code, ICMODE_COMPRESS);
  if (handle == nullptr) {
    throw ToolError(ExitCode::kCodec, Concat("no codec with the code ", FourCcText(code),
                                             " can be opened for compression (installed: ",
                                             InstalledCodecs(), "). ", BitnessHint()));
  }
  return {handle, code};
}

std::optional<Codec> Codec::ForDecompression(FourCc handler, std::span<std::uint8_t> format) {
  const FourCc code = handler != 0 ? handler : ReadBitmapFormat(format).compression;
  const HIC handle = ICLocate(ICTYPE_VIDEO, code, HeaderOf(format), nullptr, ICMODE_DECOMPRESS);
  if (handle == nullptr) {
    return std::nullopt;
  }
  return Codec(handle, code);
}

CodecDescription Codec::Describe() const {
  const ICINFO info = AskCodec(Handle());
  CodecDescription description;
  description.code = info.fccHandler != 0 ? info.fccHandler : code_;
  description.name = FieldText(info.szName);
  description.description = FieldText(info.szDescription);
  // A codec does not know the file it was loaded from; the manager's list does.
  ICINFO listed{};
  listed.dwSize = sizeof(listed);
  if (ICInfo(ICTYPE_VIDEO, description.code, &listed)) {
    description.driver = FieldText(listed.szDriver);
  }
  return description;
}

void Codec::ShowAbout() const {
  if (!ICQueryAbout(Handle())) {
    throw ToolError(ExitCode::kCodec, Concat(Describe().Text(), " has no about box"));
  }
  ICAbout(Handle(), GetDesktopWindow());
}

void Codec::SwapFields() const {
  // The state of QIVM: 274 words, of which the second says whether fields are exchanged.
  std::array<std::uint32_t, 274> state = {};
  constexpr std::size_t kSwapWord = 1;
  constexpr auto kBytes = static_cast<LONG>(sizeof(state));
  const bool known = code_ == MakeFourCc("QIVM") || code_ == MakeFourCc("MMES");
  if (!known || ICGetStateSize(Handle()) != static_cast<DWORD>(kBytes) ||
      ICGetState(Handle(), state.data(), kBytes) < 0) {
    throw ToolError(ExitCode::kCodec,
                    Concat(Describe().Text(), " cannot be told to exchange fields: only QIVM can"));
  }
  state[kSwapWord] = 1;
  const LRESULT result = ICSetState(Handle(), state.data(), kBytes);
  if (result != kBytes) {
    ThrowCodecError(Concat(Describe().Text(), " cannot be told to exchange fields"), result);
  }
}

bool Codec::TakesQuality() const { return (AskCodec(Handle()).dwFlags & VIDCF_QUALITY) != 0; }

void ThrowCodecError(const std::string& what, LRESULT result, const std::string& advice) {
  throw ToolError(ExitCode::kCodec,
                  Concat(what, ": ", CodecResultText(static_cast<std::int32_t>(result)),
                         advice.empty() ? "" : ". ", advice));
}

BITMAPINFOHEADER* HeaderOf(std::span<std::uint8_t> format) {
  return reinterpret_cast<BITMAPINFOHEADER*>(format.data());
}

std::vector<CodecDescription> ListCodecs() {
  std::vector<CodecDescription> codecs;
  ICINFO info{};
  info.dwSize = sizeof(info);
  for (DWORD i = 0; ICInfo(ICTYPE_VIDEO, i, &info); ++i) {
    codecs.push_back({.code = info.fccHandler,
                      .name = FieldText(info.szName),
                      .description = FieldText(info.szDescription),
                      .driver = FieldText(info.szDriver)});
  }
  return codecs;
}

std::string InstalledCodecs() {
  std::string codes;
  for (const CodecDescription& codec : ListCodecs()) {
    codes += Concat(codes.empty() ? "" : ", ", FourCcText(codec.code));
  }
  return codes.empty() ? "none" : codes;
}

std::string BitnessHint() {
  constexpr bool kIs64Bit = sizeof(void*) == 8;
  return kIs64Bit ? "This is a 64-bit program, which sees 64-bit codecs only."
                  : "This is a 32-bit program, which sees 32-bit codecs only.";
}

}  // namespace qivm
