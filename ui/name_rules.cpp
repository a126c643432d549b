#include "ui/name_rules.h"

#include <algorithm>
#include <cstring>

namespace qivm::ui {
namespace {

constexpr std::size_t kCodeCharacters = std::tuple_size_v<CodeText> - 1;

}  // namespace

CodeText CodeTextOf(FourCC code) {
  CodeText text = {};
  for (std::size_t i = 0; i < kCodeCharacters; ++i) {
    text[i] = static_cast<char>(code >> (8 * i) & 0xff);
  }
  return text;
}

FourCC CompleteCode(std::string_view text) {
  CodeText code = {' ', ' ', ' ', ' ', '\0'};
  text.copy(code.data(), kCodeCharacters);
  return UpperCaseFourCC(MakeFourCC(code[0], code[1], code[2], code[3]));
}

void AddUnlessListed(NameList& list, const char* name) {
  if (list.Find(name) == NameList::kNone) {
    list.Select(list.Add(name));
  }
}

void RemoveSelected(NameList& list) {
  const int index = list.Selected();
  if (index != NameList::kNone) {
    list.Delete(index);
    list.Select(std::min(index, list.Count() - 1));
  }
}

void DeleteSelected(NameList& list) {
  const int index = list.Selected();
  if (index != NameList::kNone) {
    list.Delete(index);
    list.Select(index);
  }
}

AddResult AddFileName(NameList& list, const char* name) {
  std::array<char, kDefectiveNameBytes> item = {};
  for (int index = 0; index < list.Count(); ++index) {
    if (list.Text(index, item) && std::strcmp(item.data(), name) == 0) {
      return AddResult::listedAlready;
    }
  }
  if (list.Count() >= kMaxListItems) {
    return AddResult::listFull;
  }
  list.Add(name);
  return AddResult::added;
}

void ListCodes(std::span<const FourCC, kMaxFourCCs> codes, NameList& list) {
  for (const FourCC code : codes) {
    if (code != 0) {
      list.Add(CodeTextOf(UpperCaseFourCC(code)).data());
    }
  }
  list.Select(0);
}

void StoreCodes(const NameList& list, std::span<FourCC, kMaxFourCCs> codes) {
  int index = 0;
  for (FourCC& code : codes) {
    CodeText text = {};
    code = list.Text(index, text) ? CompleteCode(text.data()) : 0;
    ++index;
  }
}

void ListApplications(ApplicationNames names, NameList& list, UpperCaser upperCase) {
  for (std::array<char, kApplicationNameBytes> name : names) {
    name.back() = '\0';
    if (name[0] != '\0') {
      upperCase(name.data());
      list.Add(name.data());
    }
  }
  list.Select(0);
}

void ListDefectiveApps(const DefectiveAppList& names, NameList& list) {
  for (const std::array<char, kDefectiveNameBytes>& name : names) {
    if (name[0] == '\0') {
      break;
    }
    list.Add(name.data());
  }
}

}  // namespace qivm::ui
