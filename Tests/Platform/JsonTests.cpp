#include "Platform/Json.hpp"

#include <limits>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

// Which texts are valid JSON is compared with two other parsers, here and by the seeds of
// Fuzz/TranscriptLine.

namespace tallyfin {
namespace {

std::optional<std::string> copyOf(std::string_view text) {
  JsonReader reader(text);
  std::string copy;
  reader.copyValue(copy);
  return reader.finish() ? std::optional(copy) : std::nullopt;
}

bool isValid(std::string_view text) {
  JsonReader reader(text);
  reader.skipValue();
  const bool skipped = reader.finish();
  EXPECT_EQ(skipped, copyOf(text).has_value()) << text.substr(0, 100);
  return skipped;
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

// Makes small changes to a valid text and compares the verdict with that of an independent parser.
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

TEST(Json, RecognisesWholeNumbersInAnyNotation) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  const std::pair<const char*, std::int64_t> whole[] = {
      {"-0.0", 0},
      {"5.0", 5},
      {"1.50e1", 15},
      {"1200e-2", 12},
      {"0e999999999999999999999", 0},
      {"9007199254740993.0", 9007199254740993},
      {"1e400", kMost},
      {"-1e99999999999999999999", std::numeric_limits<std::int64_t>::min()},
      {"9223372036854775808", kMost},
      {"0.0000000000000000000000000000012e31", 12}};
  for (const auto& [digits, value] : whole) {
    EXPECT_EQ(integerOfJsonNumber(digits), value) << digits;
    EXPECT_EQ(wholeJsonNumber(digits), value) << digits;
  }
  for (const char* other : {"5.5", "0.001", "1e-1", "1.55e1", "1e-99999999999999999999"}) {
    EXPECT_EQ(wholeJsonNumber(other), std::nullopt) << other;
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

// Long strings are searched many bytes at a time, so the end of a run must be found at every distance from
// its start.
TEST(Json, FindsTheEndOfStringsOfEveryLength) {
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
