#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qivm {

/// A JSON object, built member by member and printed in that order.
class JsonObject {
 public:
  /// `text` is UTF-8.
  JsonObject& Text(std::string_view name, std::string_view text);
  JsonObject& Integer(std::string_view name, std::int64_t value);
  /// Printed with up to `digits` places after the point; null when it is not finite.
  JsonObject& Number(std::string_view name, double value, int digits = 6);
  JsonObject& Boolean(std::string_view name, bool value);
  JsonObject& Null(std::string_view name);
  JsonObject& Object(std::string_view name, const JsonObject& value);
  JsonObject& List(std::string_view name, const std::vector<JsonObject>& values);

  /// The object with one member a line, indented by `depth` levels, without a final line end.
  std::string Print(int depth = 0) const;

 private:
  struct Member {
    std::string name;
    std::string value;                  ///< A printed value without structure,
    std::vector<JsonObject> objects{};  ///< or the objects of a list or the one object.
    enum class Kind { kPlain, kObject, kList } kind = Kind::kPlain;
  };

  JsonObject& Plain(std::string_view name, std::string value);

  std::vector<Member> members_;
};

/// `text` as a JSON string with its quotation marks.
std::string JsonString(std::string_view text);

}  // namespace qivm
