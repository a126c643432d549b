#include "tools/vfwtool/json.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>

#include "tools/vfwtool/text.h"

namespace qivm {
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
          text +=
              (i == 0 ? "\n" : ",\n") + Indentation(depth + 2) + member.objects[i].Print(depth + 2);
        }
        text += member.objects.empty() ? "]" : '\n' + Indentation(depth + 1) + ']';
        break;
    }
    text += &member == &members_.back() ? "\n" : ",\n";
  }
  return text + Indentation(depth) + '}';
}

}  // namespace qivm
