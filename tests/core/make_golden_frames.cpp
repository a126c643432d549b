// Writes the frames of golden_frames.h and their manifest. What it writes replaces what was
// recorded: that is right when frames are added, and never a way to make a test pass.
//
// usage: make_golden_frames FOLDER

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>

#include "tests/core/golden_frames.h"
#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

// Nothing is recorded yet for this program.
const std::span<const GoldenFile> kGoldenFiles;

namespace {

class Folder {
 public:
  explicit Folder(std::filesystem::path path)
      : path_(std::move(path)), manifest_(path_ / "manifest.txt", std::ios::binary) {
    manifest_
        << "# name, width, height, whether it is turned away, whether it is the codec's own;\n"
           "# then of the codec's own: input format, noise, quality, processors, order;\n"
           "# then checksums by output format, plain and shifted\n";
  }

  void Add(GoldenFrame frame, const Bytes& stream) {
    std::ofstream file(path_ / frame.name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(stream.data()),
               static_cast<std::streamsize>(stream.size()));
    frame.checksums = DecodedChecksums(frame, stream, KernelTier::plain);
    manifest_ << frame.Line() << '\n';
    if (!file.flush() || !manifest_.flush()) {
      throw std::runtime_error("cannot write " + (path_ / frame.name).string());
    }
  }

 private:
  std::filesystem::path path_;
  std::ofstream manifest_;
};

/// A frame as the encoder makes it, which must be as the model makes it.
void AddOwn(Folder& folder, const std::string& name, int width, int height,
            const GoldenPicture& picture) {
  const GoldenFrame frame = {name, width, height, false, true, picture, {}};
  const Bytes stream = EncodedFrame(frame, KernelTier::plain);
  const Bytes bitmap = picture.Bitmap(width, height);
  const Bytes expected = ModelEncode(
      picture.format, width, height,
      picture.order == Order::plain ? bitmap
                                    : RotatedRows(picture.format, width, height, bitmap, -1),
      ModelQuantiserCode(picture.quality), picture.processors > 1 ? Parts::two : Parts::one);
  if (stream != expected) {
    throw std::runtime_error(name + " is not what the model makes");
  }
  folder.Add(frame, stream);
}

void AddOwnFrames(Folder& folder) {
  using enum ClientFormat;
  AddOwn(folder, "own-rgb24", 48, 32, {rgb24, 10, 8000, 1, Order::plain});
  AddOwn(folder, "own-rgb32", 64, 48, {rgb32, 3, 10000, 2, Order::shifted});
  AddOwn(folder, "own-yuy2", 96, 64, {yuy2, 20, 0, 1, Order::plain});
  AddOwn(folder, "own-uyvy", 48, 32, {uyvy, 0, 5000, 1, Order::shifted});
  AddOwn(folder, "own-yvyu", 64, 48, {yvyu, 6, 9000, 3, Order::plain});
  AddOwn(folder, "own-y16", 96, 64, {y16, 40, 6500, 2, Order::shifted});
  AddOwn(folder, "own-y16a", 48, 48, {y16a, 8, 2500, 8, Order::plain});
  AddOwn(folder, "own-noise", 32, 16, {yuy2, 255, 10000, 1, Order::plain});
  AddOwn(folder, "own-rgb-noise", 16, 80, {rgb24, 255, 8000, 8, Order::shifted});
  AddOwn(folder, "own-one-macroblock", 16, 16, {uyvy, 30, 7000, 1, Order::plain});
}

using Change = std::function<void(ModelPicture& picture)>;
using Damage = std::function<void(Bytes& stream)>;

/// A frame that the model writes with some property of its own, which must be decoded as the model
/// does it; and one with something amiss behind its headers.
class Others {
 public:
  explicit Others(Folder& folder) : folder_(folder) {}

  void Add(const std::string& name, const Change& change, const Damage& damage = {}) {
    ModelPicture picture = RandomPicture(random_, 3, 4);
    picture.intraDcPrecision = 3;
    picture.pictureStructure = 3;
    picture.framePredFrameDct = 0;
    picture.qScaleType = 1;
    picture.alternateScan = 0;
    for (ModelSlice& slice : picture.slices) {
      for (ModelMacroblock& macroblock : slice.macroblocks) {
        for (Block& block : macroblock.blocks) {
          block[0] = static_cast<std::int16_t>(256 + block[0] % 1024);
        }
      }
    }
    change(picture);
    Bytes stream = StreamOf(picture);
    if (damage) {
      damage(stream);
    }
    const GoldenFrame frame = {name, picture.width, picture.height, false, false, {}, {}};
    if (!damage && picture.intraVlcFormat == 1) {
      CheckAgainstModel(picture, stream, name);
    }
    folder_.Add(frame, stream);
  }

 private:
  static void CheckAgainstModel(const ModelPicture& picture, const Bytes& stream,
                                const std::string& name) {
    const auto [width, height] = std::pair{picture.width, picture.height};
    for (const ClientFormat format : kOutputFormats) {
      Decompressor decompressor(format, width, height, Processors(1));
      Bytes expected = Background(format, width, height);
      ModelDecode(picture, format, width, height, expected);
      if (decompressor.Decode(stream) != expected) {
        throw std::runtime_error(name + " is not decoded as the model does it");
      }
    }
  }

  Folder& folder_;
  Random random_{601};
};

void SetDct(ModelPicture& picture, bool field) {
  for (ModelSlice& slice : picture.slices) {
    for (ModelMacroblock& macroblock : slice.macroblocks) {
      macroblock.fieldDct = field;
    }
  }
}

/// Changes every level of every block, of which the first is the DC value.
template <typename NewLevel>
void ChangeLevels(ModelPicture& picture, NewLevel newLevel) {
  for (ModelSlice& slice : picture.slices) {
    for (ModelMacroblock& macroblock : slice.macroblocks) {
      for (Block& block : macroblock.blocks) {
        for (std::size_t i = 0; i < block.size(); ++i) {
          block[i] = static_cast<std::int16_t>(newLevel(i, block[i]));
        }
      }
    }
  }
}

void AddOthers(Folder& folder) {
  Others others(folder);
  others.Add("field-dct", [](ModelPicture& picture) { SetDct(picture, true); });
  others.Add("frame-dct", [](ModelPicture& picture) { SetDct(picture, false); });
  others.Add("alternate-scan", [](ModelPicture& picture) { picture.alternateScan = 1; });
  others.Add("linear-quantiser", [](ModelPicture& picture) { picture.qScaleType = 0; });
  for (int precision = 0; precision < 3; ++precision) {
    others.Add("dc-" + std::to_string(8 + precision) + "-bits", [=](ModelPicture& picture) {
      picture.intraDcPrecision = precision;
      ChangeLevels(picture, [=](std::size_t i, int level) {
        return i == 0 ? level >> (3 - precision) : level;
      });
    });
  }
  others.Add("escapes", [](ModelPicture& picture) {
    ChangeLevels(picture, [](std::size_t i, int level) {
      return i == 0 ? level : (i % 3 == 0 ? 2047 - 40 * static_cast<int>(i) : -level);
    });
  });
  others.Add("progressive", [](ModelPicture& picture) {
    picture.framePredFrameDct = 1;
    SetDct(picture, false);
  });
  others.Add("table-zero", [](ModelPicture& picture) { picture.intraVlcFormat = 0; });

  const Change none = [](ModelPicture& /*picture*/) {};
  others.Add("cut-off", none, [](Bytes& stream) { stream.resize(stream.size() * 2 / 3); });
  others.Add("bytes-changed", none, [](Bytes& stream) {
    for (std::size_t i = stream.size() / 3; i < stream.size(); i += 97) {
      stream[i] ^= 0x24;
    }
  });
  others.Add("bytes-lost", none, [](Bytes& stream) {
    const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(stream.size() / 2);
    stream.erase(middle, middle + 50);
  });
  others.Add("slice-missing",
             [](ModelPicture& picture) { picture.slices.erase(picture.slices.begin() + 1); });
  others.Add("slice-twice",
             [](ModelPicture& picture) { picture.slices[2].row = picture.slices[3].row; });
}

}  // namespace

}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::cerr << "usage: make_golden_frames FOLDER\n";
    return 2;
  }
  testing::InitGoogleTest();
  try {
    std::filesystem::create_directories(arguments[1]);
    qivm::test::Folder folder(arguments[1]);
    qivm::test::AddOwnFrames(folder);
    qivm::test::AddOthers(folder);
  } catch (const std::exception& error) {
    std::cerr << "make_golden_frames: error: " << error.what() << '\n';
    return 1;
  }
  return testing::UnitTest::GetInstance()->Passed() ? 0 : 1;
}
