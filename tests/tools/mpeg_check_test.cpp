// Frames with every liberty that the decoder grants, intact and damaged.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/core/random_pictures.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

using qivm::test::ModelPicture;
using qivm::test::Random;
using qivm::test::RandomPicture;
using qivm::test::StreamOf;

constexpr int kColumns = 3;
constexpr int kRows = 2;
constexpr std::int32_t kWidth = 16 * kColumns;
constexpr std::int32_t kHeight = 16 * kRows;

/// What is wrong with a frame, in a few words; empty when nothing is.
std::string Damage(std::span<const std::uint8_t> frame) {
  std::string text;
  for (const FrameDamage& damage : FindDamage(frame, kWidth, kHeight)) {
    EXPECT_LE(damage.offset, frame.size());
    text += damage.what + '\n';
  }
  return text;
}

/// A picture of the kind that the decoder gives rightly.
ModelPicture SoundPicture(Random& random) {
  ModelPicture picture = RandomPicture(random, kColumns, kRows);
  picture.chromaFormat = 2;
  picture.intraVlcFormat = 1;
  picture.pictureStructure = 3;
  // The one code that means another scale to the decoder.
  for (auto& slice : picture.slices) {
    slice.quantiserCode = slice.quantiserCode == 16 ? 17 : slice.quantiserCode;
  }
  return picture;
}

TEST(FindDamage, FindsNoneInWhatTheDecoderReads) {
  Random random(1);
  for (int i = 0; i < 300; ++i) {
    const ModelPicture picture = SoundPicture(random);
    EXPECT_EQ(Damage(StreamOf(picture)), "") << "picture " << i;
    EXPECT_EQ(Damage(StreamOf(picture, 1)), "") << "picture " << i << " in two parts";
  }
}

TEST(FindDamage, FindsWhereAFrameBreaksOff) {
  Random random(2);
  const Bytes frame = StreamOf(SoundPicture(random));
  ASSERT_EQ(Damage(frame), "");
  const std::size_t lastSlice = FindUnits(frame).at(FindUnits(frame).size() - 2).begin;
  for (std::size_t size = 0; size < frame.size() - 4; ++size) {
    const std::string damage = Damage(std::span(frame).first(size));
    // What may be missing of the last slice is the stuffing behind it.
    EXPECT_TRUE(!damage.empty() || size + 8 > frame.size()) << size << " of " << frame.size();
    if (size > lastSlice + 8) {
      EXPECT_TRUE(damage.empty() || Contains(damage, "is damaged in row 2")) << damage;
    }
  }
}

TEST(FindDamage, FindsBitsThatAreTurned) {
  Random random(3);
  int turned = 0;
  int found = 0;
  for (int i = 0; i < 20; ++i) {
    Bytes frame = StreamOf(SoundPicture(random));
    const std::vector<MpegUnit> units = FindUnits(frame);
    const std::size_t slices =
        std::ranges::find_if(units, IsSliceCode, &MpegUnit::startCode)->begin;
    for (std::size_t bit = 8 * slices; bit < 8 * frame.size(); bit += 7) {
      frame[bit / 8] = static_cast<std::uint8_t>(frame[bit / 8] ^ 0x80U >> bit % 8);
      found += Damage(frame).empty() ? 0 : 1;
      ++turned;
      frame[bit / 8] = static_cast<std::uint8_t>(frame[bit / 8] ^ 0x80U >> bit % 8);
    }
  }
  // A turned bit of a sign or a level is another picture, not another syntax.
  EXPECT_GT(found, turned / 3);
  EXPECT_LT(found, turned);
}

TEST(FindDamage, NamesWhatIsWrongWithTheHeaders) {
  Random random(4);
  const ModelPicture picture = SoundPicture(random);
  const Bytes frame = StreamOf(picture);
  EXPECT_EQ(Damage({}), "does not begin with a sequence header\n");
  EXPECT_EQ(Damage(Bytes(100, 7)), "does not begin with a sequence header\n");
  EXPECT_EQ(FindDamage(frame, kWidth, 2 * kHeight).at(0).what,
            "states 48x32 where the AVI states 48x64");
  Bytes two = frame;
  AppendBytes(two, frame);
  EXPECT_EQ(Damage(two), "has 2 pictures\n");
  ModelPicture shorter = picture;
  shorter.slices.pop_back();
  EXPECT_EQ(Damage(StreamOf(shorter)), "ends after 1 row of 2\n");
  ModelPicture exchanged = picture;
  std::swap(exchanged.slices[0], exchanged.slices[1]);
  EXPECT_EQ(Damage(StreamOf(exchanged)), "has row 2 where row 1 belongs\n");
  ModelPicture table = picture;
  table.intraVlcFormat = 0;
  EXPECT_TRUE(Contains(Damage(StreamOf(table)), "has intra_vlc_format 0"));
}

TEST(FindDamage, EveryDamagedRowIsTold) {
  Random random(5);
  Bytes frame = StreamOf(SoundPicture(random));
  std::size_t damaged = 0;
  for (const MpegUnit& unit : FindUnits(frame)) {
    if (IsSliceCode(unit.startCode)) {
      // The first macroblock's type and codes become zeros.
      std::fill_n(frame.begin() + static_cast<std::ptrdiff_t>(unit.end) - 6, 6, std::uint8_t{0xFF});
      ++damaged;
    }
  }
  const std::vector<FrameDamage> damages = FindDamage(frame, kWidth, kHeight);
  ASSERT_EQ(damages.size(), damaged);
  EXPECT_TRUE(Contains(damages[0].what, "is damaged in row 1: macroblock "));
  EXPECT_TRUE(Contains(damages[1].what, "is damaged in row 2: macroblock "));
  EXPECT_LT(damages[0].offset, damages[1].offset);
}

}  // namespace
}  // namespace vfwtool
