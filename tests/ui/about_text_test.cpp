#include "ui/about_text.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace qivm::ui {
namespace {

constexpr const char* kTranslations = "\\VarFileInfo\\Translation";
constexpr const char* kBuild = "\\StringFileInfo\\040904b0\\SpecialBuild";

/// A version block of the values that a test puts into it.
class FakeVersionBlock final : public VersionBlock {
 public:
  /// Language and code page, one after the other.
  FakeVersionBlock& Translations(const std::vector<std::uint16_t>& words) {
    std::string& value = values_[kTranslations];
    for (const std::uint16_t word : words) {
      value += static_cast<char>(word & 0xff);
      value += static_cast<char>(word >> 8);
    }
    return *this;
  }
  FakeVersionBlock& Value(const std::string& path, const std::string& value) {
    values_[path] = value;
    return *this;
  }

  std::span<const char> Value(const char* path) const override {
    const auto value = values_.find(path);
    return value == values_.end() ? std::span<const char>() : std::span(value->second);
  }

 private:
  std::map<std::string, std::string> values_;
};

std::string Build(const VersionBlock& block) { return FindBuild(block).data(); }

TEST(FindBuild, TakesTheTextOfTheTranslation) {
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033, 1200}).Value(kBuild, "07 april 2003")),
            "07 april 2003");
}

TEST(FindBuild, EndsTheTextAtItsNul) {
  using std::string_literals::operator""s;
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033, 1200}).Value(kBuild, "today\0x"s)),
            "today");
}

TEST(FindBuild, FindsTheTranslationBehindOthers) {
  const std::vector<std::uint16_t> words = {1049, 1251, 1033, 1252, 1200, 1033, 1033, 1200};
  EXPECT_EQ(Build(FakeVersionBlock().Translations(words).Value(kBuild, "today")), "today");
}

TEST(FindBuild, NeedsAVersionBlock) { EXPECT_EQ(Build(FakeVersionBlock()), "not available."); }

TEST(FindBuild, NeedsAWholeTranslation) {
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033}).Value(kBuild, "today")),
            "not available.");
  // The pair is in the words, but not as one entry; the last entry is cut.
  EXPECT_EQ(
      Build(FakeVersionBlock().Translations({1031, 1033, 1200, 7, 1033}).Value(kBuild, "today")),
      "not available.");
}

TEST(FindBuild, NeedsTheRightTranslation) {
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033, 1252}).Value(kBuild, "today")),
            "not available.");
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1031, 1200}).Value(kBuild, "today")),
            "not available.");
}

TEST(FindBuild, NeedsAText) {
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033, 1200})), "not available.");
}

TEST(FindBuild, CutsATextThatIsTooLong) {
  const std::string text(5000, 'x');
  EXPECT_EQ(Build(FakeVersionBlock().Translations({1033, 1200}).Value(kBuild, text)),
            text.substr(0, std::tuple_size_v<BuildValue> - 1));
}

TEST(ComposeAboutText, PutsTextLabelAndBuildTogether) {
  std::array<char, 100> text = {};
  ComposeAboutText(text, "A codec.", "Build", "07 april 2003");
  EXPECT_STREQ(text.data(), "A codec.\n\nBuild: 07 april 2003");
}

TEST(ComposeAboutText, CutsWhatDoesNotFit) {
  const std::string whole = "text\n\nlabel: build";
  for (std::size_t size = 1; size <= whole.size() + 2; ++size) {
    std::vector<char> text(size, '?');
    ComposeAboutText(text, "text", "label", "build");
    EXPECT_EQ(std::string(text.data()), whole.substr(0, size - 1)) << size;
  }
}

}  // namespace
}  // namespace qivm::ui
