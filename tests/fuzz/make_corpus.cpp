// Writes the seeds that the fuzz targets start from: one folder a target.
//
// usage: make_fuzz_corpus FOLDER
//
// A seed is the bytes of a frame or bitmap and behind them, last choice first, what the target
// chooses by them.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/core/random_pictures.h"
#include "tests/fuzz/frames_input.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

class SeedFolder {
 public:
  explicit SeedFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
  }

  /// Writes one seed; `choices` are in the order in which the target makes them.
  void Add(const std::string& name, const Bytes& content, const Bytes& choices) const {
    std::ofstream file(folder_ / name, std::ios::binary);
    const Bytes reversed(choices.rbegin(), choices.rend());
    for (const Bytes* part : {&content, &reversed}) {
      file.write(reinterpret_cast<const char*>(part->data()),
                 static_cast<std::streamsize>(part->size()));
    }
    if (!file.flush()) {
      throw std::runtime_error("cannot write " + (folder_ / name).string());
    }
  }

 private:
  std::filesystem::path folder_;
};

/// How many of each thing the targets' arrays hold.
constexpr std::size_t kOutputs = kOutputFormats.size();
constexpr std::size_t kInputs = kInputFormats.size();

std::uint8_t Choice(std::size_t number, std::size_t of) {
  return static_cast<std::uint8_t>(number % of);
}

/// What the targets of the decoder read of one frame's choices.
Bytes FrameChoices(std::size_t number, int columns, std::size_t rows, bool shifted) {
  constexpr std::uint8_t kSmall = 0;
  return {Choice(number, kOutputs),           static_cast<std::uint8_t>(columns - 1),
          static_cast<std::uint8_t>(rows),    kSmall,
          Choice(0, FramesInput::kMaxFrames), static_cast<std::uint8_t>(shifted ? 1 : 0)};
}

void AddFrames(const SeedFolder& seeds) {
  Random random(1);
  constexpr auto kRows = FramesInput::kSmallRows;
  // The codec's own frames, in one part and in two.
  for (std::size_t i = 0; i < 8; ++i) {
    const ClientFormat format = kInputFormats[i % kInputs];
    const int width = 16 * (1 + static_cast<int>(i % 3));
    const int height = 16 * kRows[i % kRows.size()];
    const Bytes bitmap = NaturalBitmap(format, width, height, i);
    const Bytes stream = ModelEncode(format, width, height, bitmap, 1 + static_cast<int>(4 * i),
                                     i % 2 == 0 ? Parts::one : Parts::two);
    seeds.Add("own-" + std::to_string(i), stream,
              FrameChoices(i, width / 16, i % kRows.size(), i % 3 == 0));
  }
  // What others may write.
  for (std::size_t i = 0; i < 12; ++i) {
    const int columns = 1 + static_cast<int>(i % 3);
    const ModelPicture picture = RandomPicture(random, columns, kRows[i % kRows.size()]);
    seeds.Add("liberties-" + std::to_string(i), StreamOf(picture),
              FrameChoices(i, columns, i % kRows.size(), false));
  }
  // A frame before another, of another size.
  const Bytes first = StreamOf(RandomPicture(random, 2, 1));
  const Bytes second = StreamOf(RandomPicture(random, 1, 2));
  Bytes both = first;
  both.insert(both.end(), second.begin(), second.end());
  Bytes choices = FrameChoices(0, 1, 1, false);
  choices[4] = 1;
  choices.insert(choices.end(), {static_cast<std::uint8_t>(first.size() >> 8),
                                 static_cast<std::uint8_t>(first.size()), 1});
  seeds.Add("two-frames", both, choices);
  // A bitmap that ends inside of macroblocks.
  choices = FrameChoices(2, 3, 1, true);
  choices[1] = 3;
  choices[2] = 2;
  choices[3] = 0xFF;
  seeds.Add("odd-size", StreamOf(RandomPicture(random, 3, 2)), choices);
  seeds.Add("empty", {}, FrameChoices(2, 1, 0, false));
}

void AddBitmaps(const SeedFolder& seeds) {
  for (std::size_t i = 0; i < 8; ++i) {
    const ClientFormat format = kInputFormats[i % kInputs];
    const Bytes bitmap =
        i == 7 ? BlackWhiteNoiseBitmap(format, 16, 16, i) : NaturalBitmap(format, 16, 16, i);
    const std::size_t quality = 1400 * i;
    seeds.Add("bitmap-" + std::to_string(i), bitmap,
              {Choice(i, kInputs), 1, 0, 1, 0, Choice(i, 2), Choice(i, 3), Choice(i, 4), 0,
               static_cast<std::uint8_t>(quality >> 8), static_cast<std::uint8_t>(quality)});
  }
}

void AddRoundTrips(const SeedFolder& seeds) {
  for (std::size_t i = 0; i < 8; ++i) {
    const ClientFormat format = kInputFormats[i % kInputs];
    const std::size_t quality = 1400 * i;
    seeds.Add("picture-" + std::to_string(i), NaturalBitmap(format, 16, 16, i),
              {Choice(i, kInputs), Choice(i, kOutputs), 0, Choice(i, 3),
               static_cast<std::uint8_t>(quality >> 8), static_cast<std::uint8_t>(quality),
               Choice(i, 3), Choice(i, 4)});
  }
}

void AddMacroblocks(const SeedFolder& seeds) {
  Random random(2);
  for (std::size_t i = 0; i < 6; ++i) {
    // From samples' size to anything that 16 bits hold.
    Bytes words;
    for (int word = 0; word < 128; ++word) {
      const int value = i == 5 ? random.Word() : random.Between(-(8 << (2 * i)), 8 << (2 * i));
      words.push_back(static_cast<std::uint8_t>(value));
      words.push_back(static_cast<std::uint8_t>(value >> 8));
    }
    seeds.Add("macroblock-" + std::to_string(i), words,
              {Choice(i, 2), static_cast<std::uint8_t>(5 * i), Choice(i / 2, 2),
               static_cast<std::uint8_t>(i == 4 ? 15 : 0), Choice(i, 8)});
  }
}

void AddSettings(const SeedFolder& seeds) {
  // Field order, number of codes, a code; number of applications, a name; the complete mark.
  const Bytes content = {1, 0, 0, 0,   1,   0,   0,   0,   'q', 'i', 'v', 'm', 1,
                         0, 0, 0, 'A', '.', 'E', 'X', 'E', 1,   0,   0,   0,   'B'};
  Bytes choices;
  for (const std::uint8_t length : Bytes{4, 4, 4, 4, 5, 4, 1}) {
    const std::uint8_t type = length == 4 ? 1 : 0;
    choices.insert(choices.end(), {1, 1, type, length});
  }
  seeds.Add("settings", content, choices);
  seeds.Add("empty", {}, {});
}

}  // namespace

}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::cerr << "usage: make_fuzz_corpus FOLDER\n";
    return 2;
  }
  const std::filesystem::path folder = arguments[1];
  try {
    qivm::test::AddFrames(qivm::test::SeedFolder(folder / "decompress"));
    qivm::test::AddBitmaps(qivm::test::SeedFolder(folder / "compress"));
    qivm::test::AddRoundTrips(qivm::test::SeedFolder(folder / "round_trip"));
    qivm::test::AddMacroblocks(qivm::test::SeedFolder(folder / "kernels"));
    qivm::test::AddSettings(qivm::test::SeedFolder(folder / "settings"));
  } catch (const std::exception& error) {
    std::cerr << "make_fuzz_corpus: error: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
