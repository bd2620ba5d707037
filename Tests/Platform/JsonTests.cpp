#include "Platform/Json.hpp"

#include <limits>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace tallyfin {
namespace {

std::optional<std::string> copyOf(std::string_view text) {
  JsonReader reader(text);
  std::string copy;
  reader.copyValue(copy);
  return reader.finish() ? std::optional(copy) : std::nullopt;
}

JsonValue scalarOf(std::string_view text) {
  JsonReader reader(text);
  return JsonValue::scalar(reader);
}

bool isValid(std::string_view text) {
  JsonReader reader(text);
  reader.skipValue();
  const bool skipped = reader.finish();
  EXPECT_EQ(skipped, copyOf(text).has_value()) << text.substr(0, 100);
  return skipped;
}

TEST(Json, AcceptsWhatTheGrammarAllows) {
  for (const char* text :
       {"{}", "[]", "0", "-0", "1e2", "1E+400", "-12.50e-3", "123456789012345678901234567890", "\"\"",
        " \t\r\n1 \n", R"({"a":{"b":[1,"x",true,false,null]},"a":2})",
        R"("\"\\\/\b\f\n\r\t\u00e9\uD83D\uDE00")", "\"\x7f\"", "\"gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80\"",
        R"({"":0})", "true"}) {
    EXPECT_TRUE(isValid(text)) << text;
  }
}

TEST(Json, RefusesEverythingElse) {
  using namespace std::string_literals;
  for (const std::string& text : {""s,
                                  " "s,
                                  "{"s,
                                  "}"s,
                                  "[1,]"s,
                                  "[1 2]"s,
                                  "[,1]"s,
                                  "{\"a\":1,}"s,
                                  "{\"a\"}"s,
                                  "{a:1}"s,
                                  "{\"a\":1 \"b\":2}"s,
                                  "{1:2}"s,
                                  "[1]]"s,
                                  "[1}"s,
                                  "1 2"s,
                                  "01"s,
                                  "-"s,
                                  "+1"s,
                                  "1."s,
                                  ".5"s,
                                  "1e"s,
                                  "1e+"s,
                                  "0x10"s,
                                  "NaN"s,
                                  "Infinity"s,
                                  "-Infinity"s,
                                  "nul"s,
                                  "nulll"s,
                                  "True"s,
                                  "\"a"s,
                                  "\"a\\"s,
                                  "\"\\x\""s,
                                  "\"\\u12G4\""s,
                                  "\"\\u123\""s,
                                  "\"\\uD800\""s,
                                  "\"\\uDC00\""s,
                                  "\"\\uD800\\u0041\""s,
                                  "\"\\uD800x\""s,
                                  "\"a\nb\""s,
                                  "\"a\tb\""s,
                                  "\"a\0b\""s,
                                  "\xEF\xBB\xBF{}"s,
                                  "\"\xC3\""s,
                                  "\"\xC0\x80\""s,
                                  "\"\xED\xA0\x80\""s,
                                  "\"\xFF\""s,
                                  "{}\0"s,
                                  "'a'"s,
                                  "{}//"s,
                                  "\v1"s}) {
    EXPECT_FALSE(isValid(text)) << testing::PrintToString(text);
  }
}

TEST(Json, NestingEndsAt1024LevelsWhateverTheKind) {
  const auto nested = [](std::size_t depth, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += open;
    text += '1';
    for (std::size_t i = 0; i < depth; ++i) text += close;
    return text;
  };
  EXPECT_TRUE(isValid(nested(1024, "[", "]")));
  EXPECT_FALSE(isValid(nested(1025, "[", "]")));
  EXPECT_FALSE(isValid(nested(1025, R"({"a":)", "}")));
  EXPECT_FALSE(isValid(nested(1'000'000, "[", "]")));
  EXPECT_FALSE(isValid(std::string(1'000'000, '[')));
}

// Every text made by small changes to a good one is judged as an independent parser judges it.
TEST(Json, AgreesWithAnotherParserOnDamagedTexts) {
  const std::string good =
      R"({"message":{"id":"msg_\u00e9\ud83d\ude00\"","usage":{"input_tokens":-1.5e+3,"x":[true,null,{}]}},"t":"grüß\n"})";
  const std::string alphabet = "\"\\{}[]:,0159.eE+-tfnu \n\xC3\xBC\x01";
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same texts on every run
  int accepted = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string text = good;
    for (unsigned change = 0; change <= random() % 2; ++change) {
      const std::size_t at = random() % text.size();
      switch (random() % 3) {
        case 0:
          text[at] = alphabet[random() % alphabet.size()];
          break;
        case 1:
          text.erase(at, 1 + random() % 3);
          break;
        default:
          text.insert(at, 1, alphabet[random() % alphabet.size()]);
      }
    }
    const bool expected = nlohmann::json::accept(text);
    ASSERT_EQ(isValid(text), expected) << text;
    accepted += expected ? 1 : 0;
    if (expected) {
      ASSERT_EQ(nlohmann::json::parse(*copyOf(text)), nlohmann::json::parse(text)) << text;
    }
  }
  EXPECT_GT(accepted, 1000);
  EXPECT_LT(accepted, 19'000);
}

TEST(Json, IntegersAreCutOffTowardsZeroAndHeldInRange) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  const struct {
    const char* digits;
    std::int64_t value;
    bool whole;
  } cases[] = {{"0", 0, true},
               {"-0", 0, true},
               {"-0.0", 0, true},
               {"5.0", 5, true},
               {"5.5", 5, false},
               {"-5.9", -5, false},
               {"0.001", 0, false},
               {"1e2", 100, true},
               {"1.50e1", 15, true},
               {"1.55e1", 15, false},
               {"1200e-2", 12, true},
               {"1e-1", 0, false},
               {"0e999999999999999999999", 0, true},
               {"9007199254740993", 9007199254740993, true},
               {"9007199254740993.0", 9007199254740993, true},
               {"9223372036854775807", most, true},
               {"9223372036854775808", most, true},
               {"-9223372036854775808", least, true},
               {"-9223372036854775809", least, true},
               {"1e400", most, true},
               {"-1e99999999999999999999", least, true},
               {"1e-99999999999999999999", 0, false},
               {"0.0000000000000000000000000000012e31", 12, true}};
  for (const auto& one : cases) {
    EXPECT_EQ(integerOfJsonNumber(one.digits), one.value) << one.digits;
    EXPECT_EQ(scalarOf(one.digits).wholeNumber(), one.whole ? std::optional(one.value) : std::nullopt)
        << one.digits;
  }
  for (const char* other : {"true", "\"5\"", "null", "[5]", "5.", "-", ""}) {
    EXPECT_EQ(scalarOf(other).wholeNumber(), std::nullopt) << other;
  }
}

TEST(Json, ACopyIsCompactAndTheSameValue) {
  const std::string text =
      " { \"a\\/b\" : [ 1e2 , 12345678901234567890123456789 , -0.0 , 1E400 ] , \"\\u00e9\" : "
      "\"\\ud83d\\ude00/\\u0001\" } ";
  const std::string compact = "{\"a/b\":[1e2,12345678901234567890123456789,-0.0,1E400],\"é\":\"😀/\\u0001\"}";
  EXPECT_EQ(copyOf(text), compact);
}

TEST(Json, WrittenStringsAreValidWhateverTheBytes) {
  std::string bytes;
  for (int c = 0; c < 256; ++c) bytes.push_back(static_cast<char>(c));
  const auto parsed = nlohmann::json::parse(jsonString(bytes));
  EXPECT_THAT(parsed.get<std::string>(), testing::HasSubstr("\xEF\xBF\xBD"));
  EXPECT_EQ(parsed.get<std::string>().substr(0, 128), bytes.substr(0, 128));
}

// Long strings are searched many bytes at a time: what ends a run must be found at every distance from its
// start.
TEST(Json, StringsEndAtTheRightByteAtEveryLength) {
  for (std::size_t length = 0; length < 70; ++length) {
    const std::string plain(length, 'x');
    std::string buffer;
    const std::string text = "\"" + plain + "\\n" + plain + "\"";
    JsonReader reader(text);
    EXPECT_EQ(reader.string().text(buffer), plain + "\n" + plain);
    EXPECT_TRUE(reader.finish());
    EXPECT_FALSE(isValid("\"" + plain + "\x1F" + plain + "\""));
    EXPECT_FALSE(isValid("\"" + plain));
  }
}

}  // namespace
}  // namespace tallyfin
