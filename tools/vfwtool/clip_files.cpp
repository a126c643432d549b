#include "tools/vfwtool/clip_files.h"

#include <array>
#include <string_view>
#include <utility>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/avi_source.h"
#include "tools/vfwtool/avi_writer.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/image_files.h"
#include "tools/vfwtool/raw_sink.h"
#include "tools/vfwtool/repacking_source.h"
#include "tools/vfwtool/standard_streams.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/y4m.h"

namespace qivm {
namespace {

bool IsAvi(std::istream& file) {
  std::array<char, 4> start{};
  file.read(start.data(), start.size());
  const bool isAvi = file && std::string_view(start.data(), start.size()) == kRiffSignature;
  file.clear();
  file.seekg(0);
  return isAvi;
}

OpenedClip OpenStandardInput(const ToolStreams& streams) {
  std::istream& input = BinaryInput(streams);
  if (input.peek() == kRiffSignature[0]) {
    throw ToolError(ExitCode::kInput,
                    "standard input: an AVI must be a file, for it is not read in order; only Y4M "
                    "can be piped");
  }
  return {nullptr, std::make_unique<Y4mSource>(input, "standard input", std::nullopt)};
}

OpenedClip OpenFile(const std::string& name) {
  auto file = std::make_unique<std::ifstream>(OpenInput(name));
  if (IsAvi(*file)) {
    return {nullptr, std::make_unique<AviSource>(name)};
  }
  auto source = std::make_unique<Y4mSource>(*file, name, FileBytes(name));
  return {std::move(file), std::move(source)};
}

}  // namespace

bool IsAviFile(const std::string& name) {
  std::ifstream file = OpenInput(name);
  return IsAvi(file);
}

OpenedClip OpenClip(const std::string& name, std::optional<PixelFormat> format,
                    const ToolStreams& streams) {
  OpenedClip clip = name == kStandardStream ? OpenStandardInput(streams) : OpenFile(name);
  if (format && *format != clip.source->Format().layout.format) {
    clip.source = std::make_unique<RepackingSource>(std::move(clip.source), *format, name);
  }
  return clip;
}

CreatedClip CreateClip(const std::string& name, ClipKind kind, const ClipFormat& format,
                       const ToolStreams& streams) {
  CreatedClip clip;
  if (kind == ClipKind::kAvi) {
    clip.sink = std::make_unique<AviSink>(name, format);
    return clip;
  }
  if (kind == ClipKind::kBmp) {
    clip.sink = std::make_unique<BmpSink>(name, format.layout);
    return clip;
  }
  const bool isStandard = name == kStandardStream;
  if (!isStandard) {
    clip.file = std::make_unique<std::ofstream>(OpenOutput(name));
  }
  std::ostream& stream = isStandard ? BinaryOutput(streams) : *clip.file;
  const std::string shownName = isStandard ? "standard output" : name;
  if (kind == ClipKind::kY4m) {
    clip.sink = std::make_unique<Y4mSink>(stream, shownName, format);
  } else {
    clip.sink = std::make_unique<RawSink>(stream, shownName, format.layout);
  }
  return clip;
}

}  // namespace qivm
