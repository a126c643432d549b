#include "tools/vfwtool/repacking_source.h"

#include <utility>

#include "tools/vfwtool/repack.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"

namespace qivm {

RepackingSource::RepackingSource(std::unique_ptr<FrameSource> source, PixelFormat format,
                                 const std::string& name)
    : source_(std::move(source)), format_(source_->Format()) {
  const PixelFormat sourceFormat = format_.layout.format;
  if (!CanRepack(sourceFormat, format)) {
    throw ToolError(ExitCode::kUsage,
                    Concat("--format ", PixelFormatName(format), ": the pictures of ", name,
                           " are ", PixelFormatName(sourceFormat),
                           ", and this tool does not convert colours; feed it a clip that is ",
                           IsRgb(format) ? "RGB" : "YUV", " already"));
  }
  format_.layout.format = format;
  sourceFrame_.resize(source_->Format().layout.FrameBytes());
}

bool RepackingSource::Read(std::span<std::uint8_t> frame) {
  if (!source_->Read(sourceFrame_)) {
    return false;
  }
  Repack(source_->Format().layout, sourceFrame_, format_.layout.format, frame);
  return true;
}

}  // namespace qivm
