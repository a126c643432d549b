#include "tests/interop/tool_runs.h"

#include <array>
#include <span>
#include <sstream>

#include "tools/vfwtool/avi_reader.h"
#include "tools/vfwtool/avi_writer.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/command_table.h"

namespace qivm::interop {

namespace {

std::vector<std::uint8_t> Format(PixelFormat format, Size size) {
  return MakeBitmapFormat(
      {format, static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height)});
}

}  // namespace

ToolRun RunVfwtool(const std::vector<std::string>& words) {
  constexpr std::array kCommands = {&kExportCommand, &kImportCommand};
  const Tool tool{.name = "vfwtool", .purpose = "", .version = "", .commands = kCommands};
  std::istringstream input;
  std::ostringstream output;
  std::ostringstream errors;
  const ToolStreams streams{
      .input = input, .output = output, .errors = errors, .errorsAreTerminal = false};
  const int exitCode = RunTool(tool, words, streams);
  return {exitCode, output.str(), errors.str()};
}

void StoreAvi(const std::string& name, std::uint32_t rate, std::uint32_t scale, Size size,
              const std::vector<Bytes>& frames) {
  AviWriter writer(name, {.bitmap = Format(PixelFormat::kRgb24, size),
                          .handler = MakeFourCc("QIVM"),
                          .rate = {rate, scale}});
  for (const Bytes& frame : frames) {
    writer.Write(frame, true);
  }
  writer.Finish();
}

std::vector<Bytes> LoadAvi(const std::string& name) {
  AviReader reader(name);
  std::vector<Bytes> frames;
  for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
    const std::span<std::uint8_t> frame = reader.ReadFrame(i);
    frames.emplace_back(frame.begin(), frame.end());
  }
  return frames;
}

std::size_t StoreSegmentedYuy2(const std::string& name, Size size, const Bytes& pixels) {
  AviWriter writer(name,
                   {.bitmap = Format(PixelFormat::kYuy2, size),
                    .handler = MakeFourCc("YUY2"),
                    .rate = {25, 1},
                    .isCompressed = false},
                   {.firstSegmentBytes = 100000, .nextSegmentBytes = 50000, .segments = 30});
  const std::size_t frameBytes = 2 * size.Samples();
  for (std::size_t at = 0; at < pixels.size(); at += frameBytes) {
    writer.Write(std::span(pixels).subspan(at, frameBytes), true);
  }
  writer.Finish();
  return writer.Segments();
}

}  // namespace qivm::interop
