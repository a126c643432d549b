// Times whole frames through a codec, in process: what the codec's calls take, nothing else.
//
//   PROGRAM decode STREAM.m2v    --size WxH --format yuy2|rgb32 [options]
//   PROGRAM encode BITMAPS       --size WxH --format yuy2|rgb24 --quality 0..10000 [options]
//
//   --seconds S      repeat the input for at least so long, and at least three times (1)
//   --output FILE    also store the elementary stream (encode) or the bitmaps (decode)
//   --threads N      processors to use, where the codec can be told (1)
//   --tier NAME      kernels of plain, sse2 or avx2, where the codec can be told
//   --driver FILE    the driver to load, for vfw_bench
//
// BITMAPS holds bitmaps one after another. Prints one line of JSON.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <memory>
#include <numeric>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/frame_codec.h"
#include "tests/interop/elementary_stream.h"

namespace qivm::bench {

namespace {

using interop::Bytes;

Bytes ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary | std::ios::ate);
  Bytes bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) {
    throw std::runtime_error("cannot read " + name);
  }
  return bytes;
}

std::vector<Bytes> SplitBitmaps(std::span<const std::uint8_t> bitmaps, std::size_t bitmapBytes) {
  std::vector<Bytes> frames;
  for (; bitmaps.size() >= bitmapBytes; bitmaps = bitmaps.subspan(bitmapBytes)) {
    frames.emplace_back(bitmaps.begin(),
                        bitmaps.begin() + static_cast<std::ptrdiff_t>(bitmapBytes));
  }
  return frames;
}

/// The codec at work on one frame of its input after another.
class FrameRun {
 public:
  explicit FrameRun(const FrameTask& task)
      : codec_(MakeFrameCodec(task)),
        encode_(task.direction == FrameTask::Direction::encode),
        result_(encode_ ? task.Pixels() * 3 : task.BitmapBytes()) {}

  /// What the codec makes of a frame. Valid until the next call.
  std::span<const std::uint8_t> Run(std::span<const std::uint8_t> frame) {
    if (encode_) {
      return std::span(result_).first(codec_->Encode(frame, result_));
    }
    codec_->Decode(frame, result_);
    return result_;
  }

 private:
  std::unique_ptr<FrameCodec> codec_;
  bool encode_;
  Bytes result_;
};

void Store(std::ofstream& file, std::span<const std::uint8_t> result, bool coded) {
  Bytes bytes(result.begin(), result.end());
  if (coded) {
    // So that other decoders read the stream too.
    interop::SetFirstIncrementBit(bytes);
  }
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

/// One untimed pass, for the caches and the results. Returns the mean size of a coded frame.
double WarmUp(const FrameTask& task, FrameRun& run, const std::vector<Bytes>& frames) {
  const bool encode = task.direction == FrameTask::Direction::encode;
  std::ofstream output;
  if (!task.output.empty()) {
    output.open(task.output, std::ios::binary);
  }
  std::size_t codedBytes = 0;
  for (const Bytes& frame : frames) {
    const std::span<const std::uint8_t> result = run.Run(frame);
    codedBytes += encode ? result.size() : frame.size();
    if (!task.output.empty()) {
      Store(output, result, encode);
    }
  }
  if (!task.output.empty() && !output.flush()) {
    throw std::runtime_error("cannot write " + task.output);
  }
  return static_cast<double>(codedBytes) / static_cast<double>(frames.size());
}

/// Seconds that all frames take, each as fast as it ever was: a frame is short enough to find a
/// moment in which other programs leave the processor alone, a whole pass often is not.
double BestSeconds(FrameRun& run, const std::vector<Bytes>& frames, double seconds) {
  using Clock = std::chrono::steady_clock;
  constexpr int kFewestPasses = 3;
  std::vector<double> best(frames.size(), std::numeric_limits<double>::max());
  double total = 0;
  for (int pass = 0; total < seconds || pass < kFewestPasses; ++pass) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const Clock::time_point begin = Clock::now();
      run.Run(frames[i]);
      const double taken = std::chrono::duration<double>(Clock::now() - begin).count();
      best[i] = std::min(best[i], taken);
      total += taken;
    }
  }
  return std::accumulate(best.begin(), best.end(), 0.0);
}

void Measure(const FrameTask& task) {
  const Bytes input = ReadFile(task.input);
  const bool encode = task.direction == FrameTask::Direction::encode;
  const std::vector<Bytes> frames =
      encode ? SplitBitmaps(input, task.BitmapBytes()) : interop::SplitFrames(input);
  if (frames.empty()) {
    throw std::runtime_error(task.input + " holds no frame");
  }
  FrameRun run(task);
  const double codedBytes = WarmUp(task, run, frames);
  const double best = BestSeconds(run, frames, task.seconds);
  std::printf(
      "{\"task\": \"%s\", \"format\": \"%s\", \"width\": %d, \"height\": %d, "
      "\"frames\": %zu, \"bitsPerFrame\": %.0f, \"framesPerSecond\": %.3f}\n",
      encode ? "encode" : "decode", FormatName(task.format).data(), task.width, task.height,
      frames.size(), codedBytes * 8, static_cast<double>(frames.size()) / best);
}

}  // namespace

}  // namespace qivm::bench

int main(int argc, char** argv) {
  try {
    qivm::bench::Measure(qivm::bench::ParseFrameTask({argv + 1, argv + argc}));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: error: %s\n", argv[0], error.what());
    return 1;
  }
}
