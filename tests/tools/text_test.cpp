#include "tools/vfwtool/base/text.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace vfwtool {
namespace {

TEST(Text, CountsAreForPeople) {
  EXPECT_EQ(CountText(1, "frame"), "1 frame");
  EXPECT_EQ(CountText(0, "frame"), "0 frames");
  EXPECT_EQ(ByteCountText(1), "1 byte");
  EXPECT_EQ(ByteCountText(9999), "9999 bytes");
  EXPECT_EQ(ByteCountText(12345678), "12.35 MB");
  EXPECT_EQ(FixedText(1234.5678, 2), "1234.57");
}

TEST(Text, TimesHaveColons) {
  EXPECT_EQ(TimeText(0), "00:00:00.000");
  EXPECT_EQ(TimeText(62500), "00:01:02.500");
  EXPECT_EQ(TimeText(360000007), "100:00:00.007");
  EXPECT_EQ(ParseTime("00:01:02.500"), 62500U);
  EXPECT_EQ(ParseTime("1:2.5"), 62500U);
  EXPECT_EQ(ParseTime("1:02"), 62000U);
  EXPECT_EQ(ParseTime("100:00:00.007"), 360000007U);
  for (const char* const text : {"", "62", "62.5", ":", "1:", ":1", "1:2:3:4", "1:2.", "1:2.5x",
                                 "1:2.5000", "-1:2", "1:-2", "a:b", "1 :2", "99999999999:1"}) {
    EXPECT_FALSE(ParseTime(text).has_value()) << text;
  }
}

TEST(Json, PrintsMembersInTheirOrder) {
  JsonObject inner;
  inner.Integer("z", 1).Boolean("a", true);
  JsonObject json;
  json.Text("name", "clip")
      .Integer("large", std::numeric_limits<std::int64_t>::max())
      .Null("nothing")
      .Object("inner", inner)
      .List("list", {inner, JsonObject()})
      .List("empty", {});
  EXPECT_EQ(json.Print(),
            "{\n"
            "  \"name\": \"clip\",\n"
            "  \"large\": 9223372036854775807,\n"
            "  \"nothing\": null,\n"
            "  \"inner\": {\n"
            "    \"z\": 1,\n"
            "    \"a\": true\n"
            "  },\n"
            "  \"list\": [\n"
            "    {\n"
            "      \"z\": 1,\n"
            "      \"a\": true\n"
            "    },\n"
            "    {}\n"
            "  ],\n"
            "  \"empty\": []\n"
            "}");
}

TEST(Json, LongListsArePrintedAsTheyCome) {
  for (const std::size_t length : {0U, 1U, 3U}) {
    std::vector<JsonObject> list;
    for (std::size_t i = 0; i < length; ++i) {
      list.push_back(JsonObject().Integer("i", static_cast<std::int64_t>(i)));
    }
    JsonObject whole;
    whole.Integer("n", 1).List("list", list);
    std::size_t next = 0;
    std::ostringstream stream;
    JsonObject().Integer("n", 1).Print(
        stream, "list", [&] { return next < length ? std::optional(list[next++]) : std::nullopt; });
    EXPECT_EQ(stream.str(), whole.Print());
  }
}

TEST(Json, NumbersAreShortAndFinite) {
  const auto printed = [](double value, int digits) {
    const std::string text = JsonObject().Number("n", value, digits).Print();
    return text.substr(9, text.size() - 11);
  };
  EXPECT_EQ(printed(25.0, 6), "25");
  EXPECT_EQ(printed(29.97002997, 6), "29.97003");
  EXPECT_EQ(printed(0.5, 1), "0.5");
  EXPECT_EQ(printed(100.0, 0), "100");
  EXPECT_EQ(printed(-1.25, 2), "-1.25");
  EXPECT_EQ(printed(std::numeric_limits<double>::infinity(), 2), "null");
  EXPECT_EQ(printed(std::numeric_limits<double>::quiet_NaN(), 2), "null");
}

TEST(Json, StringsAreEscaped) {
  EXPECT_EQ(JsonString("C:\\clips\\\"a\".avi"), "\"C:\\\\clips\\\\\\\"a\\\".avi\"");
  EXPECT_EQ(JsonString("a\nb\tc\rd\x01"
                       "e"),
            "\"a\\nb\\tc\\rd\\u0001e\"");
  EXPECT_EQ(JsonString("f\xC3\xBC"
                       "r"),
            "\"f\xC3\xBC"
            "r\"");
}

}  // namespace
}  // namespace vfwtool
