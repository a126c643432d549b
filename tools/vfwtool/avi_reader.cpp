#include "tools/vfwtool/avi_reader.h"

#include <algorithm>

#include "tools/vfwtool/avi_limits.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/repack.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/vfw_results.h"

namespace qivm {
namespace {

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why));
}

void Check(HRESULT result, const std::string& name, const std::string& what) {
  if (FAILED(result)) {
    Refuse(name, Concat(what, ": ", AviFileResultText(static_cast<std::uint32_t>(result))));
  }
}

void RequireReadableWhole(const std::string& name) {
  if (name == kStandardStream) {
    Refuse("standard input", "an AVI must be a file, for it is not read in order");
  }
  std::ifstream file = OpenInput(name);
  RequireSingleSegment(file, FileBytes(name).value_or(0), name);
}

}  // namespace

AviReader::AviReader(const std::string& name) : name_(name) {
  RequireReadableWhole(name);
  HRESULT result = S_OK;
  file_ = OpenAviFile(name, result);
  Check(result, name, "cannot be opened as an AVI");
  IAVIStream* stream = nullptr;
  if (FAILED(AVIFileGetStream(file_.get(), &stream, streamtypeVIDEO, 0))) {
    Refuse(name, "has no video stream");
  }
  stream_.reset(stream);
  Check(AVIStreamInfoW(stream, &info_, sizeof(info_)), name, "the stream header cannot be read");
  if (info_.dwRate == 0 || info_.dwScale == 0) {
    Refuse(name, "the stream header states no frame rate");
  }
  LONG formatBytes = 0;
  Check(AVIStreamReadFormat(stream, AVIStreamStart(stream), nullptr, &formatBytes), name,
        "the stream format cannot be read");
  if (formatBytes < static_cast<LONG>(kBitmapHeaderBytes)) {
    Refuse(name, "the stream format is too short");
  }
  format_.resize(static_cast<std::size_t>(formatBytes));
  Check(AVIStreamReadFormat(stream, AVIStreamStart(stream), format_.data(), &formatBytes), name,
        "the stream format cannot be read");
}

LONG AviReader::Position(std::uint32_t index) const {
  return AVIStreamStart(stream_.get()) + static_cast<LONG>(index);
}

std::vector<AviStreamReport> AviReader::Streams() const {
  std::vector<AviStreamReport> reports;
  IAVIStream* handle = nullptr;
  constexpr DWORD kAnyType = 0;
  for (LONG i = 0; SUCCEEDED(AVIFileGetStream(file_.get(), &handle, kAnyType, i)); ++i) {
    const AviStreamHandle stream(handle);
    AVISTREAMINFOW info{};
    Check(AVIStreamInfoW(handle, &info, sizeof(info)), name_, "a stream header cannot be read");
    reports.push_back({info.fccType, info.fccHandler, info.dwLength});
  }
  return reports;
}

std::uint32_t AviReader::FrameBytes(std::uint32_t index) const {
  LONG bytes = 0;
  LONG samples = 0;
  Check(AVIStreamRead(stream_.get(), Position(index), 1, nullptr, 0, &bytes, &samples), name_,
        Concat("the size of frame ", index + 1, " cannot be read"));
  return static_cast<std::uint32_t>(std::max(bytes, 0L));
}

bool AviReader::IsKeyFrame(std::uint32_t index) const {
  return AVIStreamFindSample(stream_.get(), Position(index), FIND_KEY | FIND_PREV) ==
         Position(index);
}

std::span<std::uint8_t> AviReader::ReadFrame(std::uint32_t index) {
  const std::uint32_t frameBytes = FrameBytes(index);
  if (frameBytes == 0) {
    return {};
  }
  frame_.resize(std::max<std::size_t>(frame_.size(), frameBytes));
  LONG bytes = 0;
  LONG samples = 0;
  Check(AVIStreamRead(stream_.get(), Position(index), 1, frame_.data(),
                      static_cast<LONG>(frame_.size()), &bytes, &samples),
        name_, Concat("frame ", index + 1, " cannot be read"));
  if (static_cast<std::uint32_t>(bytes) != frameBytes) {
    Refuse(name_, Concat("the file ends inside frame ", index + 1));
  }
  return std::span(frame_).first(frameBytes);
}

AviSource::AviSource(const std::string& name) : name_(name), reader_(name) {
  const BitmapFormat bitmap = ReadBitmapFormat(reader_.Format());
  const std::optional<PixelFormat> pixelFormat = PixelFormatOf(bitmap.compression, bitmap.bits);
  if (!pixelFormat) {
    Refuse(name, Concat("has ", bitmap.bits, "-bit video of the format ",
                        bitmap.compression == BI_RGB ? "RGB" : FourCcText(bitmap.compression),
                        "; only uncompressed yuy2, uyvy, rgb24 and rgb32 are taken. A compressed "
                        "AVI has to be played into one of these first (vfwtool play)"));
  }
  const std::int64_t height = bitmap.height;
  const std::int64_t rows = height < 0 ? -height : height;
  if (!IsPictureSide(bitmap.width) || !IsPictureSide(rows)) {
    Refuse(name, Concat("has pictures of ", bitmap.width, 'x', height,
                        "; each side must be from 1 to ", kMaxPictureSide));
  }
  if (!IsRgb(*pixelFormat) && bitmap.width % 2 != 0) {
    Refuse(name, "has packed 4:2:2 pictures of an odd width");
  }
  isUpsideDown_ = IsRgb(*pixelFormat) && height < 0;
  format_ = {
      {*pixelFormat, static_cast<std::uint32_t>(bitmap.width), static_cast<std::uint32_t>(rows)},
      reader_.Rate()};
}

bool AviSource::Read(std::span<std::uint8_t> frame) {
  if (framesRead_ == reader_.FrameCount()) {
    return false;
  }
  const std::span<const std::uint8_t> stored = reader_.ReadFrame(framesRead_);
  ++framesRead_;
  if (stored.empty() && framesRead_ > 1) {
    return true;  // An empty frame repeats the one before, which `frame` still holds.
  }
  if (stored.size() < format_.layout.FrameBytes()) {
    Refuse(name_, Concat("frame ", framesRead_, " has ", stored.size(), " bytes where ",
                         format_.layout.FrameBytes(), " belong"));
  }
  std::ranges::copy(stored.first(format_.layout.FrameBytes()), frame.begin());
  if (isUpsideDown_) {
    FlipRows(format_.layout, frame);
  }
  return true;
}

}  // namespace qivm
