#include "tools/vfwtool/base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <iomanip>
#include <locale>
#include <system_error>

namespace vfwtool {

std::string FixedText(double value, int digits) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << std::fixed << std::setprecision(digits) << value;
  return stream.str();
}

std::string ByteCountText(std::uint64_t bytes) {
  constexpr std::uint64_t kShownInBytes = 10000;
  if (bytes < kShownInBytes) {
    return CountText(bytes, "byte");
  }
  return FixedText(static_cast<double>(bytes) / 1e6, 2) + " MB";
}

std::string TimeText(std::uint64_t milliseconds) {
  const auto padded = [](std::uint64_t value, std::size_t digits) {
    std::string text = std::to_string(value);
    text.insert(0, digits - std::min(digits, text.size()), '0');
    return text;
  };
  const std::uint64_t seconds = milliseconds / 1000;
  return Concat(padded(seconds / 3600, 2), ':', padded(seconds / 60 % 60, 2), ':',
                padded(seconds % 60, 2), '.', padded(milliseconds % 1000, 3));
}

std::optional<std::uint64_t> ParseTime(std::string_view text) {
  constexpr std::uint64_t kMostSeconds = 1000000000;
  std::uint64_t seconds = 0;
  std::uint64_t milliseconds = 0;
  std::size_t colons = 0;
  for (bool isLast = false; !isLast; text.remove_prefix(isLast ? 0 : 1)) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || number > kMostSeconds) {
      return std::nullopt;
    }
    seconds = seconds * 60 + number;
    text.remove_prefix(static_cast<std::size_t>(next - text.data()));
    isLast = text.empty() || text.front() != ':';
    colons += isLast ? 0 : 1;
  }
  if (text.starts_with('.')) {
    std::string digits(text.substr(1, 3));
    if (digits.empty() || text.size() > 4 ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
      return std::nullopt;
    }
    digits.resize(3, '0');
    milliseconds = std::stoul(digits);
  } else if (!text.empty()) {
    return std::nullopt;
  }
  const bool isTime = (colons == 1 || colons == 2) && seconds <= kMostSeconds;
  return isTime ? std::optional(1000 * seconds + milliseconds) : std::nullopt;
}

std::string CountText(std::uint64_t count, const std::string& noun) {
  return Concat(count, ' ', noun, count == 1 ? "" : "s");
}

namespace {

std::string Indentation(int depth) { return std::string(2 * static_cast<std::size_t>(depth), ' '); }

}  // namespace

std::string JsonString(std::string_view text) {
  std::string quoted = "\"";
  for (const char character : text) {
    switch (character) {
      case '"':
      case '\\':
        quoted += '\\';
        quoted += character;
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\t':
        quoted += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(character) < 0x20) {
          std::array<char, 7> escape{};
          std::snprintf(escape.data(), escape.size(), "\\u%04x",
                        static_cast<unsigned>(static_cast<unsigned char>(character)));
          quoted += escape.data();
        } else {
          quoted += character;
        }
    }
  }
  return quoted + '"';
}

JsonObject& JsonObject::Plain(std::string_view name, std::string value) {
  members_.push_back({std::string(name), std::move(value)});
  return *this;
}

JsonObject& JsonObject::Text(std::string_view name, std::string_view text) {
  return Plain(name, JsonString(text));
}

JsonObject& JsonObject::Integer(std::string_view name, std::int64_t value) {
  return Plain(name, std::to_string(value));
}

JsonObject& JsonObject::Number(std::string_view name, double value, int digits) {
  if (!std::isfinite(value)) {
    return Null(name);
  }
  std::string text = FixedText(value, digits);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
      text.pop_back();
    }
  }
  return Plain(name, text);
}

JsonObject& JsonObject::Boolean(std::string_view name, bool value) {
  return Plain(name, value ? "true" : "false");
}

JsonObject& JsonObject::Null(std::string_view name) { return Plain(name, "null"); }

JsonObject& JsonObject::Object(std::string_view name, const JsonObject& value) {
  members_.push_back({std::string(name), {}, {value}, Member::Kind::kObject});
  return *this;
}

JsonObject& JsonObject::List(std::string_view name, const std::vector<JsonObject>& values) {
  members_.push_back({std::string(name), {}, values, Member::Kind::kList});
  return *this;
}

std::string JsonObject::Print(int depth) const {
  if (members_.empty()) {
    return "{}";
  }
  std::string text = "{\n";
  for (const Member& member : members_) {
    text += Indentation(depth + 1) + JsonString(member.name) + ": ";
    switch (member.kind) {
      case Member::Kind::kPlain:
        text += member.value;
        break;
      case Member::Kind::kObject:
        text += member.objects.front().Print(depth + 1);
        break;
      case Member::Kind::kList:
        text += '[';
        for (std::size_t i = 0; i < member.objects.size(); ++i) {
          text += i == 0 ? "\n" : ",\n";
          text += Indentation(depth + 2);
          text += member.objects[i].Print(depth + 2);
        }
        text += member.objects.empty() ? "]" : '\n' + Indentation(depth + 1) + ']';
        break;
    }
    text += &member == &members_.back() ? "\n" : ",\n";
  }
  return text + Indentation(depth) + '}';
}

void JsonObject::Print(std::ostream& stream, std::string_view list,
                       const std::function<std::optional<JsonObject>()>& next) const {
  constexpr std::size_t kEndLength = 2;
  std::string text = Print();
  text.resize(text.size() - kEndLength);
  stream << text << ",\n" << Indentation(1) << JsonString(list) << ": [";
  bool isEmpty = true;
  while (const std::optional<JsonObject> object = next()) {
    stream << (isEmpty ? "\n" : ",\n") << Indentation(2) << object->Print(2);
    isEmpty = false;
  }
  stream << (isEmpty ? "]" : '\n' + Indentation(1) + ']') << "\n}";
}

}  // namespace vfwtool
