#include "ui/name_rules.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace qivm::ui {
namespace {

using Names = std::vector<std::string>;

/// A code of three characters and a NUL.
constexpr FourCC kY16 = MakeFourCC('Y', '1', '6', '\0');

void UpperCase(char* text) {
  for (; *text != '\0'; ++text) {
    if (*text >= 'a' && *text <= 'z') {
      *text = static_cast<char>(*text - 'a' + 'A');
    }
  }
}

std::string UpperCased(std::string text) {
  UpperCase(text.data());
  return text;
}

/// A list as a sorted list box is one.
class FakeList final : public NameList {
 public:
  FakeList() = default;
  FakeList(const Names& names, int selection) {
    for (const std::string& name : names) {
      Add(name.c_str());
    }
    Select(selection);
  }

  int Count() const override { return static_cast<int>(items.size()); }
  int Selected() const override { return selected; }
  int Find(const char* name) const override {
    const auto found = std::find_if(items.begin(), items.end(), [&](const std::string& item) {
      return UpperCased(item) == UpperCased(name);
    });
    return found == items.end() ? kNone : static_cast<int>(found - items.begin());
  }
  bool Text(int index, std::span<char> text) const override {
    if (index < 0 || index >= Count()) {
      return false;
    }
    text[At(index).copy(text.data(), text.size() - 1)] = '\0';
    return true;
  }
  int Add(const char* name) override {
    const auto place = std::upper_bound(items.begin(), items.end(), std::string(name));
    const auto index = place - items.begin();
    items.insert(place, name);
    return static_cast<int>(index);
  }
  void Delete(int index) override {
    items.erase(items.begin() + index);
    if (index == selected) {
      selected = kNone;
    }
  }
  void Select(int index) override { selected = index >= 0 && index < Count() ? index : kNone; }

  Names items;
  int selected = kNone;

 private:
  const std::string& At(int index) const { return items[static_cast<std::size_t>(index)]; }
};

/// That many names: "N00", "N01" and so on.
Names NumberedNames(int count) {
  Names names;
  for (int i = 0; i < count; ++i) {
    names.push_back({'N', static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)});
  }
  return names;
}

TEST(CodeText, HasTheCodesCharacters) {
  EXPECT_STREQ(CodeTextOf(kQivm).data(), "QIVM");
  EXPECT_STREQ(CodeTextOf(MakeFourCC('m', 'p', '2', ' ')).data(), "mp2 ");
  EXPECT_STREQ(CodeTextOf(MakeFourCC('\xfc', '\x80', '\xff', '!')).data(), "\xfc\x80\xff!");
}

TEST(CodeText, EndsAtANul) {
  EXPECT_STREQ(CodeTextOf(kY16).data(), "Y16");
  EXPECT_STREQ(CodeTextOf(MakeFourCC('\0', 'A', 'B', 'C')).data(), "");
}

TEST(CodeText, TurnsBackIntoTheCode) {
  for (const FourCC code : {kQivm, kMmes, MakeFourCC('M', 'P', '2', ' '), FourCC{0xffffffffU}}) {
    EXPECT_EQ(CompleteCode(CodeTextOf(code).data()), code);
  }
}

TEST(CompleteCode, PadsAndUpperCases) {
  EXPECT_STREQ(CodeTextOf(CompleteCode("mp2")).data(), "MP2 ");
  EXPECT_STREQ(CodeTextOf(CompleteCode("x")).data(), "X   ");
  EXPECT_STREQ(CodeTextOf(CompleteCode("")).data(), "    ");
  EXPECT_STREQ(CodeTextOf(CompleteCode("QivM")).data(), "QIVM");
}

TEST(CompleteCode, TakesFourCharacters) {
  EXPECT_STREQ(CodeTextOf(CompleteCode("abcdefgh")).data(), "ABCD");
}

TEST(AddUnlessListed, AddsAndSelects) {
  FakeList list({"A", "C"}, 0);
  AddUnlessListed(list, "B");
  EXPECT_EQ(list.items, (Names{"A", "B", "C"}));
  EXPECT_EQ(list.selected, 1);
}

TEST(AddUnlessListed, LeavesAListThatHasTheNameAsItIs) {
  FakeList list({"A", "B", "C"}, 0);
  AddUnlessListed(list, "b");
  EXPECT_EQ(list.items, (Names{"A", "B", "C"}));
  EXPECT_EQ(list.selected, 0);
}

TEST(RemoveSelected, SelectsTheSuccessor) {
  FakeList list({"A", "B", "C"}, 1);
  RemoveSelected(list);
  EXPECT_EQ(list.items, (Names{"A", "C"}));
  EXPECT_EQ(list.selected, 1);
}

TEST(RemoveSelected, SelectsTheLastItemBehindTheLast) {
  FakeList list({"A", "B", "C"}, 2);
  RemoveSelected(list);
  EXPECT_EQ(list.items, (Names{"A", "B"}));
  EXPECT_EQ(list.selected, 1);
}

TEST(RemoveSelected, EmptiesAList) {
  FakeList list({"A"}, 0);
  RemoveSelected(list);
  EXPECT_EQ(list.items, Names());
  EXPECT_EQ(list.selected, NameList::kNone);
}

TEST(RemoveSelected, NeedsASelection) {
  FakeList list({"A", "B"}, NameList::kNone);
  RemoveSelected(list);
  EXPECT_EQ(list.items, (Names{"A", "B"}));
  EXPECT_EQ(list.selected, NameList::kNone);
}

TEST(DeleteSelected, SelectsTheSuccessor) {
  FakeList list({"A", "B", "C"}, 0);
  DeleteSelected(list);
  EXPECT_EQ(list.items, (Names{"B", "C"}));
  EXPECT_EQ(list.selected, 0);
}

TEST(DeleteSelected, SelectsNothingBehindTheLast) {
  FakeList list({"A", "B", "C"}, 2);
  DeleteSelected(list);
  EXPECT_EQ(list.items, (Names{"A", "B"}));
  EXPECT_EQ(list.selected, NameList::kNone);
}

TEST(DeleteSelected, NeedsASelection) {
  FakeList list({"A", "B"}, NameList::kNone);
  DeleteSelected(list);
  EXPECT_EQ(list.items, (Names{"A", "B"}));
}

TEST(AddFileName, AddsWithoutSelecting) {
  FakeList list({"B.EXE"}, NameList::kNone);
  EXPECT_EQ(AddFileName(list, "A.EXE"), AddResult::added);
  EXPECT_EQ(list.items, (Names{"A.EXE", "B.EXE"}));
  EXPECT_EQ(list.selected, NameList::kNone);
}

TEST(AddFileName, RefusesAListedName) {
  FakeList list({"A.EXE", "B.EXE"}, 0);
  EXPECT_EQ(AddFileName(list, "B.EXE"), AddResult::listedAlready);
  EXPECT_EQ(list.items, (Names{"A.EXE", "B.EXE"}));
}

TEST(AddFileName, TakesNamesAsTheyAre) {
  FakeList list({"A.EXE"}, 0);
  EXPECT_EQ(AddFileName(list, "a.exe"), AddResult::added);
}

TEST(AddFileName, KeepsTheListsLimit) {
  FakeList list(NumberedNames(kMaxListItems - 1), 0);
  EXPECT_EQ(AddFileName(list, "X"), AddResult::added);
  EXPECT_EQ(AddFileName(list, "Y"), AddResult::listFull);
  EXPECT_EQ(list.Count(), kMaxListItems);
}

TEST(AddFileName, SaysOfAFullListFirstThatItHasTheName) {
  FakeList list(NumberedNames(kMaxListItems), 0);
  EXPECT_EQ(AddFileName(list, "N15"), AddResult::listedAlready);
  EXPECT_EQ(list.Count(), kMaxListItems);
}

TEST(Codes, AreListedInUpperCaseWithTheFirstSelected) {
  constexpr std::array<FourCC, kMaxFourCCs> kCodes = {kQivm, 0, MakeFourCC('m', 'm', 'e', 's'),
                                                      kY16};
  FakeList list;
  ListCodes(kCodes, list);
  EXPECT_EQ(list.items, (Names{"MMES", "QIVM", "Y16"}));
  EXPECT_EQ(list.selected, 0);
}

TEST(Codes, ComeBackInTheListsOrder) {
  std::array<FourCC, kMaxFourCCs> codes;
  codes.fill(kMmes);
  StoreCodes(FakeList({"QIVM", "MMES", "y16"}, 0), codes);
  EXPECT_EQ(codes, (std::array<FourCC, kMaxFourCCs>{kMmes, kQivm, MakeFourCC('Y', '1', '6', ' ')}));
}

TEST(Codes, TakeFourCharactersOfALongerItem) {
  std::array<FourCC, kMaxFourCCs> codes = {};
  StoreCodes(FakeList({"AAAA", "ABCDE", "QIVM"}, 0), codes);
  EXPECT_EQ(codes, (std::array<FourCC, kMaxFourCCs>{MakeFourCC('A', 'A', 'A', 'A'),
                                                    MakeFourCC('A', 'B', 'C', 'D'), kQivm}));
}

TEST(Codes, BecomeZeroWhenTheListIsEmpty) {
  std::array<FourCC, kMaxFourCCs> codes;
  codes.fill(kMmes);
  StoreCodes(FakeList(), codes);
  EXPECT_EQ(codes, (std::array<FourCC, kMaxFourCCs>{}));
}

TEST(Codes, FillTheRecordAtMost) {
  std::array<FourCC, kMaxFourCCs> codes = {};
  StoreCodes(FakeList(NumberedNames(kMaxListItems + 1), 0), codes);
  EXPECT_EQ(codes.front(), MakeFourCC('N', '0', '0', ' '));
  EXPECT_EQ(codes.back(), MakeFourCC('N', '1', '5', ' '));
}

TEST(Applications, AreListedInUpperCaseWithTheFirstSelected) {
  const std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> names = {
      {{"player.exe"}, {""}, {"Editor.exe"}}};
  FakeList list;
  ListApplications(names, list, UpperCase);
  EXPECT_EQ(list.items, (Names{"EDITOR.EXE", "PLAYER.EXE"}));
  EXPECT_EQ(list.selected, 0);
}

TEST(Applications, EndInsideTheirEntry) {
  std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> names = {};
  names[0].fill('a');
  names[1].fill('b');
  FakeList list;
  ListApplications(names, list, UpperCase);
  EXPECT_EQ(list.items, (Names{std::string(63, 'A'), std::string(63, 'B')}));
}

TEST(Applications, ComeBackInTheListsOrder) {
  std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> names = {};
  names.fill({"OLD.EXE"});
  const std::string longest(63, 'X');
  StoreNames(FakeList({longest, "A.EXE"}, 0), names);
  EXPECT_STREQ(names[0].data(), "A.EXE");
  EXPECT_STREQ(names[1].data(), longest.c_str());
  for (std::size_t i = 2; i < names.size(); ++i) {
    EXPECT_STREQ(names[i].data(), "") << i;
  }
}

TEST(Applications, AreCutOffWhereTheirEntryEnds) {
  std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> names = {};
  StoreNames(FakeList({std::string(64, 'X'), "Y.EXE"}, 0), names);
  EXPECT_STREQ(names[0].data(), std::string(63, 'X').c_str());
  EXPECT_STREQ(names[1].data(), "Y.EXE");
  EXPECT_STREQ(names[2].data(), "");
}

TEST(Applications, FillTheRecordAtMost) {
  std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> names = {};
  StoreNames(FakeList(NumberedNames(kMaxListItems + 1), 0), names);
  EXPECT_STREQ(names.back().data(), "N15");
}

TEST(DefectiveApps, AreListedUpToTheFirstEmptyEntry) {
  const DefectiveAppList names = {{{"WMPLAYER.EXE"}, {"EDITOR.EXE"}, {""}, {"BEHIND.EXE"}}};
  FakeList list;
  ListDefectiveApps(names, list);
  EXPECT_EQ(list.items, (Names{"EDITOR.EXE", "WMPLAYER.EXE"}));
  EXPECT_EQ(list.selected, NameList::kNone);
}

TEST(DefectiveApps, FillTheWholeList) {
  DefectiveAppList names = {};
  StoreNames(FakeList(NumberedNames(kMaxListItems), 0), names);
  FakeList list;
  ListDefectiveApps(names, list);
  EXPECT_EQ(list.items, NumberedNames(kMaxListItems));
}

}  // namespace
}  // namespace qivm::ui
