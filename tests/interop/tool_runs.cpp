#include "tests/interop/tool_runs.h"

#include <array>
#include <span>
#include <sstream>

#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/media/avi_reader.h"
#include "tools/vfwtool/media/avi_writer.h"

namespace qivm::interop {
namespace {

using vfwtool::operator""_fourcc;

constexpr std::uint32_t kSoundRate = 8000;
constexpr std::uint16_t kSoundBlock = 2;

/// The headers of an AVI's video.
vfwtool::AviStreamHeaders VideoHeaders(vfwtool::PixelFormat format, vfwtool::FourCc handler,
                                       Size size, const vfwtool::FrameRate& rate) {
  const vfwtool::FrameLayout layout{format, static_cast<std::uint32_t>(size.width),
                                    static_cast<std::uint32_t>(size.height)};
  return vfwtool::MakeVideoHeaders(vfwtool::MakeBitmapFormat(layout), handler, rate,
                                   handler == "QIVM"_fourcc);
}

/// Those of PCM sound of one channel with 16 bits.
vfwtool::AviStreamHeaders SoundHeaders() {
  Bytes format;
  vfwtool::AppendLittleEndian16(format, 1);
  vfwtool::AppendLittleEndian16(format, 1);
  vfwtool::AppendLittleEndian32(format, kSoundRate);
  vfwtool::AppendLittleEndian32(format, kSoundRate * kSoundBlock);
  vfwtool::AppendLittleEndian16(format, kSoundBlock);
  vfwtool::AppendLittleEndian16(format, 8 * kSoundBlock);
  return vfwtool::MakeSoundHeaders(format);
}

}  // namespace

ToolRun RunVfwtool(const std::vector<std::string>& words) {
  constexpr std::array kCommands = {&vfwtool::kExportCommand, &vfwtool::kImportCommand};
  const vfwtool::Tool tool{.name = "vfwtool", .purpose = "", .version = "", .commands = kCommands};
  std::istringstream input;
  std::ostringstream output;
  std::ostringstream errors;
  const int exitCode =
      vfwtool::RunTool(tool, words, {.input = input, .output = output, .errors = errors});
  return {exitCode, output.str(), errors.str()};
}

void StoreAvi(const std::string& name, std::uint32_t rate, std::uint32_t scale, Size size,
              const std::vector<Bytes>& frames) {
  vfwtool::AviWriter writer(name, {.streams = {VideoHeaders(vfwtool::PixelFormat::kRgb24,
                                                            "QIVM"_fourcc, size, {rate, scale})}});
  for (const Bytes& frame : frames) {
    writer.Write(0, frame, true);
  }
  writer.Finish();
}

std::vector<Bytes> LoadAvi(const std::string& name) {
  vfwtool::AviReader reader(name);
  std::vector<Bytes> frames;
  for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
    const std::span<std::uint8_t> frame = reader.ReadFrame(i);
    frames.emplace_back(frame.begin(), frame.end());
  }
  return frames;
}

std::size_t StoreSegmentedYuy2(const std::string& name, Size size, const Bytes& pixels,
                               const Bytes& sound) {
  vfwtool::AviWriter writer(
      name,
      {.streams = {VideoHeaders(vfwtool::PixelFormat::kYuy2, "YUY2"_fourcc, size, {25, 1}),
                   SoundHeaders()}},
      {.firstSegmentBytes = 100000, .nextSegmentBytes = 50000, .segments = 30});
  const std::size_t frameBytes = 2 * size.Samples();
  const std::size_t soundBytes = kSoundRate * kSoundBlock / 25;
  for (std::size_t i = 0; i * frameBytes < pixels.size(); ++i) {
    writer.Write(1, std::span(sound).subspan(i * soundBytes, soundBytes), true);
    writer.Write(0, std::span(pixels).subspan(i * frameBytes, frameBytes), true);
  }
  writer.Finish();
  return writer.Segments();
}

}  // namespace qivm::interop
