#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "settings/codec_settings.h"
#include "settings/defective_app_list.h"

/// What the dialogs do with the names and codes that the user enters, without any window.
namespace qivm::ui {

/// Most items of any list that the dialogs edit.
constexpr int kMaxListItems = 16;
static_assert(kMaxListItems == kMaxFourCCs && kMaxListItems == kMaxApplications &&
              kMaxListItems == kMaxDefectiveApps);

/// Upper-cases a NUL-terminated text in place, as the system's locale does.
using UpperCaser = void (*)(char* text);

/// A code as text: up to four characters and a NUL.
using CodeText = std::array<char, 5>;

/// The characters of a code; a NUL inside the code ends the text early.
CodeText CodeTextOf(FourCC code);

/// The code of the first four characters of `text`, padded with blanks when there are fewer, in
/// upper case.
FourCC CompleteCode(std::string_view text);

/// A list of names with at most one of them selected. The list keeps its items in an order of its
/// own; they are counted from 0.
class NameList {
 public:
  /// Stands for no item.
  static constexpr int kNone = -1;

  virtual int Count() const = 0;
  virtual int Selected() const = 0;
  /// The item that equals `name`, whatever the case, or kNone.
  virtual int Find(const char* name) const = 0;
  /// Copies an item's text with a NUL into `text`, cut off where that ends; false, with `text` as
  /// it was, when there is no such item or no memory to fetch it.
  virtual bool Text(int index, std::span<char> text) const = 0;
  /// Adds an item and returns its place.
  virtual int Add(const char* name) = 0;
  /// Deletes an item; afterwards none is selected if it was.
  virtual void Delete(int index) = 0;
  /// Selects an item; none when there is no such item.
  virtual void Select(int index) = 0;

 protected:
  ~NameList() = default;
};

/// Adds and selects the name, unless an item equals it.
void AddUnlessListed(NameList& list, const char* name);

/// Deletes the selected item, if any, and selects its successor, or the last item if there is none.
void RemoveSelected(NameList& list);

/// Deletes the selected item, if any, and selects its successor, if any.
void DeleteSelected(NameList& list);

enum class AddResult { added, listedAlready, listFull };

/// Adds a file name unless it is listed already, exactly as it is, or the list is full; that it is
/// listed counts first.
AddResult AddFileName(NameList& list, const char* name);

/// Adds every code of a record's list to a list of names, upper-cased, and selects the first item.
void ListCodes(std::span<const FourCC, kMaxFourCCs> codes, NameList& list);

/// Replaces a record's codes by the items of a list, at most 16: the first four characters of each,
/// completed as CompleteCode does. The remaining codes become zero.
void StoreCodes(const NameList& list, std::span<FourCC, kMaxFourCCs> codes);

using ApplicationNames = std::span<const std::array<char, kApplicationNameBytes>, kMaxApplications>;

/// Adds every application name to a list of names, upper-cased, and selects the first item. A name
/// that fills its entry up loses its last character, which stands where the NUL belongs.
void ListApplications(ApplicationNames names, NameList& list, UpperCaser upperCase);

/// Adds the names up to the first empty one to a list of names.
void ListDefectiveApps(const DefectiveAppList& names, NameList& list);

/// Replaces an array of NUL-terminated names by the items of a list, in the list's order, as many
/// as there is room for, and of each as much. The remaining entries become empty.
template <std::size_t bytes, std::size_t entries>
void StoreNames(const NameList& list, std::array<std::array<char, bytes>, entries>& names) {
  int index = 0;
  for (std::array<char, bytes>& name : names) {
    if (!list.Text(index, name)) {
      name[0] = '\0';
    }
    ++index;
  }
}

}  // namespace qivm::ui
