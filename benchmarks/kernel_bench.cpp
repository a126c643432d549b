// Times the parts of a frame's work one by one, on a picture of shading and texture:
//
//   kernel/NAME/tier:TIER    every kernel of every tier, each on what those before it make
//   pass/NAME/tier:TIER      the passes that these kernels are in the codec
//   frame/NAME               what is done of a frame before its rows and behind them
//   wake/seats:N             from the call until that many threads are at a frame's rows
//
// The result is the counter ns: of a macroblock for kernels and passes, of a thousand coded bytes
// for frame/index and frame/join, of a frame for the rest. The fastest of many turns counts:
// whatever else runs on the machine spoils single ones.

#include <array>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "decoder/header_parser.h"
#include "decoder/slice_index.h"
#include "decoder/slice_lanes.h"
#include "encoder/compressor_context.h"
#include "kernels/fast_copy.h"
#include "kernels/kernel_set.h"
#include "platform/row_crew.h"

namespace qivm::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kColumns = 40;
constexpr int kRows = SliceLanes::kLanes;
constexpr int kWidth = 16 * kColumns;
constexpr int kHeight = 16 * kRows;
constexpr std::size_t kYuy2Pitch = std::size_t{kWidth} * 2;
constexpr std::uint8_t kQuantiserCode = 2;  // of the codec's default quality
/// As many as stay in the first cache together with their pixels.
constexpr std::size_t kMacroblocks = 2 * LevelBatch::kMacroblocks;
constexpr std::size_t kBlocks = MacroblockRecord::kBlocks;

struct Tier {
  const char* name;
  KernelTier tier;
};
constexpr std::array<Tier, 3> kTiers = {
    {{"plain", KernelTier::plain}, {"sse2", KernelTier::sse2}, {"avx2", KernelTier::avx2}}};

constexpr std::array<const char*, kClientFormats> kFormatNames = {"rgb24", "rgb32", "yuy2", "uyvy",
                                                                  "yvyu",  "y16",   "y16a"};
constexpr std::array<std::size_t, kClientFormats> kFormatBytes = {3, 4, 2, 2, 2, 2, 3};

using Bytes = std::vector<std::uint8_t>;
using Records = std::vector<MacroblockRecord>;
using Levels = std::vector<std::array<LevelBlock, kBlocks>>;

/// What the parts work on: the macroblocks of the picture's first row, and its frame.
struct Stages {
  Bytes pixels;
  Records samples = Records(kMacroblocks);
  Records coefficients;
  Levels levels = Levels(kMacroblocks);
  std::vector<LevelBatch> batches =
      std::vector<LevelBatch>(kMacroblocks / LevelBatch::kMacroblocks);
  DcCoefficients dc = {};
  Bytes frame;
};

/// A picture in YUY2, with room for the widest format behind it.
Bytes DrawPicture() {
  Bytes pixels(std::size_t{kWidth} * kHeight * 4);
  std::uint32_t random = 1;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    random = random * 1664525 + 1013904223;
    const std::size_t x = i / 2 % kWidth;
    const std::size_t y = i / kYuy2Pitch;
    pixels[i] =
        static_cast<std::uint8_t>(64 + x / 8 + y % 64 + (x / 3 + y) % 5 * 4 + (random >> 27));
  }
  return pixels;
}

BitmapInfoHeader Header(FourCC compression, std::uint16_t bits) {
  BitmapInfoHeader header;
  header.biWidth = kWidth;
  header.biHeight = kHeight;
  header.biBitCount = bits;
  header.biCompression = compression;
  return header;
}

Bytes EncodePicture(const Bytes& pixels) {
  BitmapInfoHeader coded = Header(kQivm, 24);
  const BitmapInfoHeader bitmap = Header(kYuy2, 16);
  Bytes frame(std::size_t{kWidth} * kHeight * 3);
  CompressorContext context;
  context.Begin(coded, bitmap, {});
  context.EncodeFrame({&coded, frame.data(), &bitmap, pixels.data()});
  frame.resize(coded.biSizeImage);
  return frame;
}

Stages MakeStages() {
  KernelSet plain = KernelsFor(KernelTier::plain);
  const Quantiser quantiser(stream_format::kQScaleType, kQuantiserCode);
  Stages stages;
  stages.pixels = DrawPicture();
  stages.frame = EncodePicture(stages.pixels);
  for (std::size_t i = 0; i < kMacroblocks; ++i) {
    plain.Input(ClientFormat::yuy2)(stages.samples[i].values.data(), &stages.pixels[i * 32],
                                    kYuy2Pitch);
  }
  stages.coefficients = stages.samples;
  for (std::size_t i = 0; i < kMacroblocks; ++i) {
    LevelBatch& batch = stages.batches[i / LevelBatch::kMacroblocks];
    const std::size_t place = i % LevelBatch::kMacroblocks;
    plain.fdct(stages.coefficients[i]);
    plain.quantise(stages.coefficients[i], quantiser, batch, place);
    for (std::size_t block = 0; block < kBlocks; ++block) {
      stages.levels[i][block].low = batch.levels[kBlocks * place + block];
    }
  }
  return stages;
}

/// Times `run`, after `restore`, which is not timed. The counter is nanoseconds by `units`.
template <typename Restore, typename Run>
void Time(benchmark::State& state, double units, Restore restore, Run run) {
  Clock::duration fastest = Clock::duration::max();
  for (auto unused : state) {
    static_cast<void>(unused);
    restore();
    benchmark::ClobberMemory();
    const Clock::time_point begin = Clock::now();
    run();
    benchmark::ClobberMemory();
    const Clock::duration turn = Clock::now() - begin;
    fastest = std::min(fastest, turn);
    state.SetIterationTime(std::chrono::duration<double>(turn).count());
  }
  state.counters["ns"] = std::chrono::duration<double, std::nano>(fastest).count() / units;
}
constexpr auto kNothing = [] {};

template <typename Function>
void Register(const std::string& name, const Function& function) {
#ifdef __clang_analyzer__  // takes what the library keeps for a leak
  static_cast<void>(name);
  static_cast<void>(function);
#else
  benchmark::RegisterBenchmark(name.c_str(), function)->UseManualTime();
#endif
}

/// The kernels of a tier at work on the stages.
class Bench {
 public:
  Bench(KernelTier tier, const Stages& stages) : kernels_(KernelsFor(tier)), stages_(stages) {}

  void FindStartCodes() {
    RowCrew alone;
    SliceIndex index;
    index.Find(stages_.frame, 0, kRows, kernels_.findStartCode, alone);
    benchmark::DoNotOptimize(index);
  }
  void RestoreLevels() { levels_ = stages_.levels; }
  void RestoreSamples() { records_ = stages_.samples; }
  void RestoreCoefficients() { records_ = stages_.coefficients; }

  void Dequantise() {
    ForEach([this](std::size_t i) { DequantiseOne(i); });
  }
  void Idct() {
    ForEach([this](std::size_t i) { kernels_.idct(records_[i]); });
  }
  void Fdct() {
    ForEach([this](std::size_t i) { kernels_.fdct(records_[i]); });
  }
  void Quantise() {
    ForEach([this](std::size_t i) { QuantiseOne(i, records_[i]); });
  }
  void Input(ClientFormat format) {
    ForEach([=, this](std::size_t i) { Input(format, i, records_[i]); });
  }
  void Output(ClientFormat format, OutputKernel kernel) {
    ForEach([=, this](std::size_t i) { Output(format, kernel, i, records_[i]); });
  }
  void CodeLevels() {
    BitTail tail = {output_.data(), 0, 0};
    for (const LevelBatch& batch : stages_.batches) {
      kernels_.codeLevels(batch, dcCodes_, *lists_, tail);
    }
  }

  void BitmapToLevels(ClientFormat format) {
    ForEach([=, this](std::size_t i) {
      Input(format, i, records_[0]);
      kernels_.fdct(records_[0]);
      QuantiseOne(i, records_[0]);
    });
  }
  void LevelsToBitmap(ClientFormat format) {
    ForEach([=, this](std::size_t i) {
      records_[0].frameDct = true;
      DequantiseOne(i);
      kernels_.idct(records_[0]);
      Output(format, kernels_.Output(format).frameDct, i, records_[0]);
    });
  }

  KernelSet& Kernels() { return kernels_; }

 private:
  template <typename Run>
  static void ForEach(Run run) {
    for (std::size_t i = 0; i < kMacroblocks; ++i) {
      run(i);
    }
  }
  static std::ptrdiff_t Pitch(ClientFormat format) {
    return static_cast<std::ptrdiff_t>(kWidth * kFormatBytes[static_cast<std::size_t>(format)]);
  }
  static std::size_t Offset(ClientFormat format, std::size_t macroblock) {
    return macroblock * 16 * kFormatBytes[static_cast<std::size_t>(format)];
  }

  void DequantiseOne(std::size_t i) {
    kernels_.dequantise(levels_[i], DequantiserOf(stream_format::kQScaleType, kQuantiserCode),
                        false, stages_.dc, records_[0]);
  }
  void QuantiseOne(std::size_t i, const MacroblockRecord& record) {
    const std::size_t place = i % LevelBatch::kMacroblocks;
    batch_->largeCount = place == 0 ? 0 : batch_->largeCount;
    kernels_.quantise(record, quantiser_, *batch_, place);
  }
  void Input(ClientFormat format, std::size_t i, MacroblockRecord& record) {
    kernels_.Input(format)(record.values.data(), &stages_.pixels[Offset(format, i)], Pitch(format));
  }
  void Output(ClientFormat format, OutputKernel kernel, std::size_t i,
              const MacroblockRecord& record) {
    kernel(&output_[Offset(format, i)], record.values.data(), Pitch(format));
  }

  Quantiser quantiser_{stream_format::kQScaleType, kQuantiserCode};
  KernelSet kernels_;
  std::array<std::uint32_t, LevelBatch::kBlocks> dcCodes_ = [] {
    std::array<std::uint32_t, LevelBatch::kBlocks> codes;
    codes.fill(PackCode(0x5A5, 12));
    return codes;
  }();
  const Stages& stages_;
  Records records_ = stages_.samples;
  Levels levels_;
  std::unique_ptr<LevelBatch> batch_ = std::make_unique<LevelBatch>();
  std::unique_ptr<CodeLists> lists_ = std::make_unique<CodeLists>();
  Bytes output_ = Bytes(stages_.pixels.size());
};

void RegisterTier(const Tier& tier, const Stages& stages) {
  const auto bench = std::make_shared<Bench>(tier.tier, stages);
  const auto add = [&](const std::string& name, auto restore, auto run) {
    Register(name + "/tier:" + tier.name, [=](benchmark::State& state) {
      const auto before = [&] { std::invoke(restore, *bench); };
      const auto timed = [&] { std::invoke(run, *bench); };
      Time(state, kMacroblocks, before, timed);
    });
  };
  const auto nothing = [](Bench&) {};
  add("kernel/dequantise", &Bench::RestoreLevels, &Bench::Dequantise);
  add("kernel/idct", &Bench::RestoreCoefficients, &Bench::Idct);
  add("kernel/fdct", &Bench::RestoreSamples, &Bench::Fdct);
  add("kernel/quantise", &Bench::RestoreCoefficients, &Bench::Quantise);
  add("kernel/codeLevels", nothing, &Bench::CodeLevels);
  for (std::size_t i = 0; i < kClientFormats; ++i) {
    const auto format = static_cast<ClientFormat>(i);
    const std::string name = kFormatNames[i];
    add("kernel/input/" + name, nothing, [format](Bench& b) { b.Input(format); });
    const OutputKernelPair& output = bench->Kernels().Output(format);
    if (output.frameDct != nullptr) {
      add("kernel/output/" + name + "/frame", nothing,
          [format, kernel = output.frameDct](Bench& b) { b.Output(format, kernel); });
      add("kernel/output/" + name + "/field", nothing,
          [format, kernel = output.fieldDct](Bench& b) { b.Output(format, kernel); });
    }
  }
  for (const ClientFormat format : {ClientFormat::yuy2, ClientFormat::rgb24, ClientFormat::rgb32}) {
    const std::string name = kFormatNames[static_cast<std::size_t>(format)];
    add("pass/bitmapToLevels/" + name, nothing, [=](Bench& b) { b.BitmapToLevels(format); });
    add(
        "pass/levelsToBitmap/" + name, [](Bench& b) { b.RestoreLevels(); },
        [=](Bench& b) { b.LevelsToBitmap(format); });
  }
  add("pass/levelsToBits", nothing, [](Bench& b) { b.CodeLevels(); });
  Register(std::string("kernel/findStartCode/tier:") + tier.name, [=](benchmark::State& state) {
    Time(state, kColumns * kRows, kNothing, [&] { bench->FindStartCodes(); });
  });
}

/// Has the lanes read the picture's slices again and again, a picture's worth of macroblocks a
/// turn.
void TimeLanes(benchmark::State& state, const Stages& stages) {
  HeaderParser headers;
  headers.ParsePictureHeaders(stages.frame);
  RowCrew alone;
  SliceIndex index;
  index.Find(stages.frame, headers.EndOfHeaders(), kRows,
             KernelsFor(KernelTier::plain).findStartCode, alone);
  const auto lanes = std::make_unique<SliceLanes>();
  lanes->Attach(stages.frame, headers.Parameters());
  std::array<int, kRows> columns = {};
  for (int row = 0; row < kRows; ++row) {
    lanes->StartSlice(static_cast<std::size_t>(row), index.Slice(row));
  }
  const auto finish = [&](std::size_t lane) {
    for (LevelBlock& block : lanes->Levels(lane)) {
      block.low.fill(0);
    }
    if (++columns[lane] == kColumns) {
      columns[lane] = 0;
      lanes->StartSlice(lane, index.Slice(static_cast<int>(lane)));
    } else {
      lanes->NextMacroblock(lane);
    }
  };
  Time(state, kColumns * kRows, kNothing, [&] {
    for (int macroblocks = 0; macroblocks < kColumns * kRows;) {
      lanes->Read(kRows);
      for (std::size_t lane = 0; lane < kRows; ++lane) {
        if (lanes->AtMacroblocksEnd(lane)) {
          finish(lane);
          ++macroblocks;
        }
      }
    }
  });
}

void RegisterFrameParts(const Stages& stages) {
  const double thousands = static_cast<double>(stages.frame.size()) / 1000;
  Register("frame/headers", [&](benchmark::State& state) {
    HeaderParser headers;
    Time(state, 1, kNothing, [&] { headers.ParsePictureHeaders(stages.frame); });
  });
  Register("frame/index", [&, thousands](benchmark::State& state) {
    Bench bench(Processor::Current().tier, stages);
    Time(state, thousands, kNothing, [&] { bench.FindStartCodes(); });
  });
  Register("frame/join", [&, thousands](benchmark::State& state) {
    Bytes output(stages.frame.size());
    const std::size_t slice = stages.frame.size() / kRows;
    Time(state, thousands, kNothing, [&] {
      for (std::size_t row = 0; row < kRows; ++row) {
        FastCopy(&output[row * slice], &stages.frame[row * slice], slice);
      }
    });
  });
}

/// From the call until all threads are at the rows: each stays until it has seen the others.
void TimeWaking(benchmark::State& state, unsigned seats) {
  struct Meeting {
    RowCrew crew;
    std::atomic<unsigned> missing = 0;
  } meeting;
  meeting.crew.Start(seats);
  constexpr RowCrew::Work kMeet = [](void* context, RowCrew::Seat&) {
    auto& missing = static_cast<Meeting*>(context)->missing;
    missing.fetch_sub(1);
    while (missing.load() != 0) {
      __builtin_ia32_pause();
    }
  };
  const auto fallAsleep = [&meeting] {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    meeting.missing = meeting.crew.Seats();
  };
  Time(state, 1, fallAsleep,
       [&] { meeting.crew.Run(static_cast<int>(meeting.crew.Seats()), kMeet, &meeting); });
}

}  // namespace

}  // namespace qivm::bench

int main(int argc, char** argv) {
  using namespace qivm;
  using namespace qivm::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  const Stages stages = MakeStages();
  const Processor processor = Processor::Current();
  for (const Tier& tier : kTiers) {
    if (tier.tier <= processor.tier) {
      RegisterTier(tier, stages);
    }
  }
  // It has one form for all tiers.
  Register("pass/slicesToLevels/tier:plain",
           [&](benchmark::State& state) { TimeLanes(state, stages); });
  RegisterFrameParts(stages);
  for (unsigned seats = 2; seats <= processor.count; seats *= 2) {
    Register("wake/seats:" + std::to_string(seats),
             [seats](benchmark::State& state) { TimeWaking(state, seats); });
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
