#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "Support/Encodings.h"
#include "TollbrookCore/Support/Json.h"

namespace tollbrook::Json {
namespace {

using test::codeUnit;
using test::encoded;
using test::wideEncodings;

std::optional<Value> read(Reader& reader, std::string_view text) {
  char* const room = reader.reserve(text.size());
  if (room == nullptr) return std::nullopt;
  text.copy(room, text.size());
  return reader.read(text.size());
}

bool accepts(std::string_view text) {
  Reader reader;
  return read(reader, text).has_value();
}

/// The member "x" of an object.
std::optional<double> numberIn(std::string_view text) {
  Reader reader;
  const std::optional<Value> value = read(reader, text);
  if (!value) return std::nullopt;
  const std::optional<Value> member = value->member("x");
  return member ? member->number() : std::nullopt;
}

std::optional<std::string> stringIn(std::string_view text) {
  Reader reader;
  const std::optional<Value> value = read(reader, text);
  if (!value) return std::nullopt;
  const std::optional<Value> member = value->member("x");
  if (!member || !member->string()) return std::nullopt;
  return std::string(*member->string());
}

std::string withInteger(std::string_view number) { return "{\"x\": " + std::string(number) + "}"; }

constexpr std::string_view sample = R"({"x": "a é € 😀 \u00e4 \ud83d\ude00", "y": [1, 2.5, true, null]})";
constexpr std::string_view sampleText = "a é € 😀 ä 😀";

TEST(JsonEncodings, EveryOneIsReadWithAndWithoutByteOrderMark) {
  EXPECT_EQ(stringIn(sample), sampleText);
  EXPECT_EQ(stringIn("\xEF\xBB\xBF" + std::string(sample)), sampleText);
  for (const auto& encoding : wideEncodings) {
    EXPECT_EQ(stringIn(encoded(sample, encoding)), sampleText) << encoding.name;
    EXPECT_EQ(stringIn(byteOrderMark(encoding) + encoded(sample, encoding)), sampleText) << encoding.name;
  }
}

TEST(JsonEncodings, AByteOrderMarkAloneIsNoText) {
  EXPECT_FALSE(accepts(""));
  EXPECT_FALSE(accepts("\xEF\xBB\xBF"));
  for (const auto& encoding : wideEncodings) EXPECT_FALSE(accepts(byteOrderMark(encoding))) << encoding.name;
}

TEST(JsonEncodings, OnlyOneByteOrderMarkIsTaken) {
  EXPECT_FALSE(accepts("\xEF\xBB\xBF\xEF\xBB\xBF{}"));
  for (const auto& encoding : wideEncodings) {
    const std::string mark = byteOrderMark(encoding);
    EXPECT_FALSE(accepts(mark + mark + encoded("{}", encoding))) << encoding.name;
  }
}

TEST(JsonEncodings, HalfACodeUnitIsRefused) {
  for (const auto& encoding : wideEncodings) {
    for (const std::string& text :
         {encoded("{\"x\": 1} ", encoding), byteOrderMark(encoding) + encoded("{} ", encoding)}) {
      for (std::size_t cut = 1; cut < encoding.unitBytes; ++cut) {
        EXPECT_FALSE(accepts(std::string_view(text).substr(0, text.size() - cut))) << encoding.name;
      }
    }
  }
}

TEST(JsonEncodings, UnpairedSurrogatesAreRefused) {
  const std::u32string broken[] = {U"\xD800", U"\xDBFF",       U"\xDC00",
                                   U"\xDFFF", U"\xD800\xD800", U"\xDC00\xD800"};
  for (const auto& encoding : wideEncodings) {
    for (const std::u32string& units : broken) {
      std::string middle;
      for (const char32_t unit : units) middle += codeUnit(unit, encoding);
      EXPECT_FALSE(accepts(encoded("{\"x\": \"", encoding) + middle + encoded("\"}", encoding)));
      EXPECT_FALSE(accepts(encoded("{\"x\": \"", encoding) + middle)) << "at the end";
    }
  }
}

TEST(JsonEncodings, Utf32BeyondUnicodeIsRefused) {
  for (const auto& encoding : wideEncodings) {
    if (encoding.unitBytes != 4) continue;
    const auto with = [&encoding](char32_t unit) {
      return encoded("{\"x\": \"", encoding) + codeUnit(unit, encoding) + encoded("\"}", encoding);
    };
    EXPECT_TRUE(accepts(with(0x10FFFF)));
    EXPECT_FALSE(accepts(with(0x110000)));
    EXPECT_FALSE(accepts(with(0xFFFFFFFF)));
    EXPECT_FALSE(accepts(with(0x80000041)));
  }
}

TEST(JsonEncodings, IllFormedUtf8IsRefused) {
  for (const char* bytes :
       {"\xC0\x80", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80",
        "\xF8\x88\x80\x80\x80", "\x80", "\xC3", "\xE2\x82", "\xFF", "\xE4"}) {
    EXPECT_FALSE(accepts("{\"x\": \"" + std::string(bytes) + "\"}")) << testing::PrintToString(bytes);
  }
}

TEST(JsonEncodings, ANulByteAnywhereIsRefused) {
  const std::string text = "{\"x\": [1, \"two\", true]} ";
  for (std::size_t i = 0; i <= text.size(); ++i) {
    std::string broken = text;
    broken.insert(i, 1, '\0');
    EXPECT_FALSE(accepts(broken)) << i;
    for (const auto& encoding : wideEncodings) {
      EXPECT_FALSE(accepts(byteOrderMark(encoding) + encoded(broken, encoding))) << encoding.name << " " << i;
    }
  }
}

TEST(JsonStrings, AnEscapedNulIsKept) { EXPECT_EQ(stringIn(R"({"x": "a\u0000b"})"), std::string("a\0b", 3)); }

TEST(JsonStrings, ALoneSurrogateIsRefusedEvenIfEscaped) {
  for (const char* text : {R"({"x": "\ud800"})", R"({"x": "\udc00"})", R"({"x": "\ud800\u0041"})",
                           R"({"\ud83d": 1})", R"({"x": "\ud800", "y": 99999999999999999999})"}) {
    EXPECT_FALSE(accepts(text)) << text;
  }
}

TEST(JsonMembers, OfDuplicateKeysTheLastWins) {
  EXPECT_EQ(numberIn(R"({"x": 1, "y": 5, "x": 2})"), 2);
  EXPECT_EQ(numberIn(R"({"x": 1, "\u0078": 3})"), 3);
  EXPECT_EQ(numberIn(R"({"x": 1, "x": null})"), std::nullopt);
  EXPECT_EQ(numberIn(R"({"x": 1, "x": 99999999999999999999})"), 1e20);
}

TEST(JsonMembers, AreFoundByTheExactKeyAtTheirOwnLevel) {
  EXPECT_EQ(numberIn(R"({"X": 1, "x ": 2, "xx": 3, "": 4, "y": {"x": 5}})"), std::nullopt);
  EXPECT_EQ(numberIn(R"([{"x": 1}])"), std::nullopt);
  EXPECT_EQ(numberIn(R"("x")"), std::nullopt);
}

TEST(JsonMembers, SeveralComeInOnePass) {
  Reader reader;
  const std::optional<Value> object = read(reader, R"({"b": 2, "a": 1, "b": 3})");
  ASSERT_TRUE(object);
  const std::string_view keys[] = {"a", "b", "c"};
  std::optional<Value> values[] = {std::nullopt, std::nullopt, *object};
  object->members(keys, values);
  EXPECT_EQ(values[0]->number(), 1);
  EXPECT_EQ(values[1]->number(), 3);
  EXPECT_FALSE(values[2]);
}

TEST(JsonNumbers, OtherValuesAreNone) {
  for (const char* text : {"true", "false", "null", "\"1\"", "{}", "[]", "[1]"}) {
    EXPECT_EQ(numberIn(withInteger(text)), std::nullopt) << text;
  }
  EXPECT_FALSE(stringIn(withInteger("1")));
  EXPECT_FALSE(stringIn(withInteger("true")));
}

TEST(JsonNumbers, IntegersAndFractionsAreDoubles) {
  EXPECT_EQ(numberIn(withInteger("0")), 0);
  EXPECT_EQ(numberIn(withInteger("-1577836800")), -1577836800);
  EXPECT_EQ(numberIn(withInteger("1577836800.5")), 1577836800.5);
  EXPECT_EQ(numberIn(withInteger("1.5e300")), 1.5e300);
  EXPECT_EQ(numberIn(withInteger("9223372036854775807")), 9223372036854775807.0);
  EXPECT_EQ(numberIn(withInteger("-9223372036854775808")), -9223372036854775808.0);
  EXPECT_EQ(numberIn(withInteger("18446744073709551615")), 18446744073709551615.0);
}

TEST(JsonNumbers, IntegersBeyond64BitsAreTheNearestDouble) {
  std::mt19937_64 random(1);
  std::uniform_int_distribution<int> digit('0', '9');
  std::uniform_int_distribution<int> length(18, 312);
  for (int i = 0; i < 20'000; ++i) {
    std::string number = i % 2 == 0 ? "-" : "";
    number += static_cast<char>('1' + i % 9);
    const int digits = i % 3 == 0 ? length(random) : 19 + i % 4;
    while (static_cast<int>(number.size()) < digits) number += static_cast<char>(digit(random));
    const double nearest = std::strtod(number.c_str(), nullptr);
    const std::optional<double> expected = std::isfinite(nearest) ? std::optional(nearest) : std::nullopt;
    ASSERT_EQ(numberIn(withInteger(number)), expected) << number;
  }
  EXPECT_EQ(numberIn(withInteger("18446744073709551616")), 18446744073709551616.0);
  EXPECT_EQ(numberIn(withInteger("-9223372036854775809")), -9223372036854775808.0);
  EXPECT_EQ(numberIn(withInteger(std::string(20, '9'))), 1e20);
}

TEST(JsonNumbers, NothingElseChangesBesideALongInteger) {
  const std::string digits(25, '7');
  EXPECT_EQ(stringIn("{\"y\": " + digits + ", \"x\": \"" + digits + "\"}"), digits);
  EXPECT_EQ(stringIn("{\"y\": " + digits + R"(, "x": "\" 77777777777777777777777 \\"})"),
            "\" 77777777777777777777777 \\");
  EXPECT_EQ(numberIn("{\"" + digits + "\": " + digits + ",\"x\":1}"), 1);
  EXPECT_EQ(numberIn("{\"y\":[" + digits + ",-" + digits + "],\"x\":-" + digits + "}"),
            -std::strtod(digits.c_str(), nullptr));
  for (const auto& encoding : wideEncodings) {
    EXPECT_EQ(stringIn(encoded("{\"y\": " + digits + ", \"x\": \"ä\"}", encoding)), "ä") << encoding.name;
  }
}

TEST(JsonNumbers, TooLargeForADoubleIsRefused) {
  EXPECT_FALSE(accepts(withInteger("1e999")));
  EXPECT_FALSE(accepts(withInteger("-1e400000000000000000000")));
  EXPECT_FALSE(accepts(withInteger(std::string(310, '1'))));
  EXPECT_FALSE(accepts("[99999999999999999999, 1e999]"));
  EXPECT_EQ(numberIn(withInteger("1e-999")), 0);
}

TEST(JsonNumbers, OtherSpellingsAreRefusedAlsoBesideALongInteger) {
  for (const char* number : {"01",
                             "-01",
                             "00",
                             "+1",
                             "1.",
                             ".5",
                             "-",
                             "1e",
                             "1e+",
                             "0x10",
                             "NaN",
                             "nan",
                             "Infinity",
                             "-Infinity",
                             "inf",
                             "1_000",
                             "099999999999999999999",
                             "+99999999999999999999",
                             "99999999999999999999.",
                             "--1",
                             "99999999999999999999 9",
                             "99999999999999999999x",
                             "99999999999999999999-",
                             "9999999999999999999 9e",
                             "99999999999999999999e",
                             "99999999999999999999\"\""}) {
    EXPECT_FALSE(accepts(withInteger(number))) << number;
    EXPECT_FALSE(accepts("[99999999999999999999, " + std::string(number) + "]")) << number;
  }
}

TEST(JsonStructure, WhatIsNoJsonIsRefused) {
  for (const char* text : {" ",
                           "{",
                           "}",
                           "[",
                           "{\"x\"}",
                           "{\"x\": }",
                           "{\"x\": 1,}",
                           "[1,]",
                           "{'x': 1}",
                           "{x: 1}",
                           "{} {}",
                           "{}x",
                           "{\"x\": 1",
                           "{\"x\": \"",
                           "// c\n{}",
                           "{} // c",
                           "{/**/}",
                           "[/* c */ 99999999999999999999]",
                           "tru",
                           "nulll",
                           "True",
                           "{\"x\": \"a\nb\"}",
                           "{\"x\": \"\\q\"}",
                           "{\"x\": \"\\u12\"}",
                           "[1 2]",
                           "[99999999999999999999",
                           "[99999999999999999999}",
                           "{1: 2}"}) {
    EXPECT_FALSE(accepts(text)) << text;
  }
}

TEST(JsonStructure, AnyValueMayStandAtTheTop) {
  for (const char* text :
       {"1", "\"x\"", "null", "true", "[]", "{}", " \t\r\n{ } \n", "99999999999999999999"}) {
    EXPECT_TRUE(accepts(text)) << text;
  }
  Reader reader;
  EXPECT_FALSE(read(reader, "[]")->isObject());
  EXPECT_TRUE(read(reader, "{}")->isObject());
}

enum class Nest { arrays, objects, both };

/// `levels` objects and arrays around `inner`.
std::string nested(std::size_t levels, Nest kind, std::string_view inner) {
  std::string open;
  std::string close;
  for (std::size_t i = 0; i < levels; ++i) {
    const bool isObject = kind == Nest::objects || (kind == Nest::both && i % 2 == 1);
    open += isObject ? "{\"[{\": " : "[";
    close += isObject ? '}' : ']';
  }
  return open + std::string(inner) + std::string(close.rbegin(), close.rend());
}

TEST(JsonNesting, EndsAtExactly512Levels) {
  struct Inner {
    const char* text;
    std::size_t levels;
  };
  const Inner inners[] = {{"1", 0},           {"[]", 1},      {"{}", 1}, {"99999999999999999999", 0},
                          {"[{}, 1, []]", 2}, {"\"[[[[\"", 0}};
  for (const Nest kind : {Nest::arrays, Nest::objects, Nest::both}) {
    for (const Inner& inner : inners) {
      Reader reader;
      for (const std::size_t levels : {1u, 511u, 512u, 513u, 514u, 100'000u, 512u, 513u}) {
        if (levels < inner.levels) continue;
        const std::string text = nested(levels - inner.levels, kind, inner.text);
        EXPECT_EQ(read(reader, text).has_value(), levels <= 512) << levels << " around " << inner.text;
      }
    }
  }
}

TEST(JsonNesting, IsNotCountedAcrossSiblingsOrInStrings) {
  std::string siblings = "[";
  for (int i = 0; i < 2000; ++i) siblings += "[[]],{},";
  EXPECT_TRUE(accepts(siblings + "1]"));
  const std::string brackets(2000, '[');
  EXPECT_TRUE(accepts(nested(512, Nest::both, fmt::format("\"{}\\\"{}\"", brackets, brackets))));
}

TEST(JsonNesting, ThatIsNeverClosedIsRefused) {
  EXPECT_FALSE(accepts(std::string(511, '[')));
  EXPECT_FALSE(accepts(std::string(100'000, '[')));
  EXPECT_FALSE(accepts(nested(512, Nest::objects, "1") + "]"));
}

TEST(JsonReader, ReadsOneDocumentAfterAnother) {
  Reader reader;
  const std::string large = "{\"x\": \"" + std::string(3 << 20, 'l') + "\"}";
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(read(reader, large)->member("x")->string()->size(), std::size_t{3} << 20);
    EXPECT_FALSE(read(reader, "{\"x\": "));
    reader.trim();
    ASSERT_EQ(read(reader, "{\"x\": 7}")->member("x")->number(), 7);
    ASSERT_EQ(read(reader, encoded("{\"x\": 8}", wideEncodings[1]))->member("x")->number(), 8);
    EXPECT_FALSE(read(reader, nested(600, Nest::arrays, "")));
  }
  Reader other = std::move(reader);
  EXPECT_EQ(read(other, "{\"x\": 9}")->member("x")->number(), 9);
}

TEST(JsonReader, KeepsWhatIsInTheRoomWhenItGrows) {
  Reader reader;
  std::string_view("{\"x\": 12").copy(reader.reserve(8), 8);
  std::string_view("34}").copy(reader.reserve(3'000'000) + 8, 3);
  EXPECT_EQ(reader.read(11)->member("x")->number(), 1234);
}

/// Texts that are JSON or nearly so.
std::string nearlyJson(std::mt19937& random) {
  static constexpr std::string_view pieces[] = {"{",
                                                "}",
                                                "[",
                                                "]",
                                                ":",
                                                ",",
                                                "\"x\":",
                                                "\"\"",
                                                "\"a\\u00e9\"",
                                                "\\",
                                                "\"",
                                                "1",
                                                "-",
                                                "0",
                                                "1.5",
                                                "e5",
                                                "+",
                                                "18446744073709551616",
                                                "-9223372036854775809",
                                                "true",
                                                "false",
                                                "null",
                                                "nan",
                                                " ",
                                                "\n",
                                                "é",
                                                "\x80",
                                                "/",
                                                "\\ud800",
                                                "'"};
  static constexpr std::string_view starts[] = {
      R"({"x": [1, 2.5e3, "t\n", true, null, {}], "y": {"z": 99999999999999999999}})",
      R"([18446744073709551616, -0.5, "\\", {"a": []}])", R"({"x":1})", ""};
  std::string text(starts[random() % std::size(starts)]);
  for (auto edits = random() % 4; edits > 0; --edits) {
    const std::size_t place = random() % (text.size() + 1);
    switch (random() % 3) {
      case 0:
        text.insert(place, pieces[random() % std::size(pieces)]);
        break;
      case 1:
        text.erase(place, random() % 3 + 1);
        break;
      default:
        if (place < text.size()) text.replace(place, 1, pieces[random() % std::size(pieces)]);
    }
  }
  return text;
}

TEST(JsonReader, AgreesWithAnotherParserOnWhatIsJson) {
  std::mt19937 random(5);
  Reader reader;
  int accepted = 0;
  for (int i = 0; i < 200'000; ++i) {
    const std::string text = nearlyJson(random);
    const std::optional<Value> value = read(reader, text);
    ASSERT_EQ(value.has_value(), nlohmann::json::accept(text)) << text;
    if (!value) continue;
    ++accepted;
    const auto other = nlohmann::json::parse(text);
    const auto member = value->member("x");
    ASSERT_EQ(member.has_value(), other.is_object() && other.contains("x")) << text;
    if (!member) continue;
    ASSERT_EQ(member->number().has_value(), other["x"].is_number()) << text;
    if (member->number()) {
      ASSERT_EQ(*member->number(), other["x"].get<double>()) << text;
    }
    ASSERT_EQ(member->string().has_value(), other["x"].is_string()) << text;
    if (member->string()) {
      ASSERT_EQ(*member->string(), other["x"].get<std::string>()) << text;
    }
  }
  EXPECT_GT(accepted, 20'000);
}

}  // namespace
}  // namespace tollbrook::Json
