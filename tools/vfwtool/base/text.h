#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vfwtool {

/// The arguments, printed one after the other.
template <typename... Parts>
std::string Concat(const Parts&... parts) {
  std::ostringstream stream;
  (stream << ... << parts);
  return stream.str();
}

/// `value` in decimal with `digits` places after the point, whatever the locale.
std::string FixedText(double value, int digits);

/// A byte count for people: "812 bytes", "25.31 MB" (1 MB = 1,000,000 bytes).
std::string ByteCountText(std::uint64_t bytes);

/// A moment or a duration: "00:01:02.500".
std::string TimeText(std::uint64_t milliseconds);

/// The milliseconds of a time with colons, such as "00:01:02.500" or "1:02.5"; empty when `text` is
/// none.
std::optional<std::uint64_t> ParseTime(std::string_view text);

/// "1 frame", "2 frames": the count with its noun, which takes a plain s in the plural.
std::string CountText(std::uint64_t count, const std::string& noun);

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

  /// Prints the object, which has members, with one more: a list of what `next` gives until it
  /// gives nothing, for lists that are too long to be kept.
  void Print(std::ostream& stream, std::string_view list,
             const std::function<std::optional<JsonObject>()>& next) const;

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

}  // namespace vfwtool
