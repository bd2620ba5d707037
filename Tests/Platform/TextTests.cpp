#include "Platform/Text.hpp"
#include "absl/strings/str_cat.h"
#include "gtest/gtest.h"

#include <compare>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {
namespace {

using namespace std::string_literals;

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

struct Mapping {
  std::string from;
  std::string to;
};

TEST(Text, IllFormedBytesBecomeOneReplacementForEachMaximalSubpart) {
  const std::vector<Mapping> cases = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82"
       "A",
       repeated("\uFFFD", 8) + "A"},  // overlong forms
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF"
       "A",
       repeated("\uFFFD", 8) + "A"},  // surrogates
      {"\xF4\x91\x92\x93\xFF"
       "A\x80\xBF"
       "B",
       repeated("\uFFFD", 5) + "A\uFFFD\uFFFDB"},  // beyond the last code point; bytes that start no sequence
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
       "A",
       repeated("\uFFFD", 4) + "A"},     // truncated sequences
      {"\xE2\x82", "\uFFFD"},            // truncated by the end of the text
      {"\xF0\x90\x80\0"s, "\uFFFD\0"s},  // a NUL is a character
      {"\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF\xFF",
       "\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF\uFFFD"},
  };
  for (const auto& [from, to] : cases) {
    EXPECT_FALSE(Text::isValidUtf8(from));
    EXPECT_EQ(Text::repaired(from), to);
    EXPECT_TRUE(Text::isValidUtf8(to));
    EXPECT_EQ(Text::repaired(to), to);
    EXPECT_EQ(Text::compare(from, to), std::strong_ordering::equal);
  }
  for (std::size_t length = 0; length < 40; ++length) {
    std::string text(length, '\x7F');
    EXPECT_TRUE(Text::isAscii(text) && Text::isValidUtf8(text));
    for (char& byte : text) {
      byte = '\x80';
      EXPECT_FALSE(Text::isAscii(text) || Text::isValidUtf8(text)) << length;
      byte = '\0';
    }
  }
  EXPECT_EQ(Text::compare("z", "\u00E0"), std::strong_ordering::less);
  EXPECT_EQ(Text::compare("e\u0301", "\u0100"), std::strong_ordering::less);
  EXPECT_EQ(Text::compare("\uFFFD", "\U00010000"), std::strong_ordering::less)
      << "order is by code points, not by UTF-16 units";
}

// Tests our code around the Unicode library: the fast paths, repair, and the split into parts.
TEST(Text, FormsFollowUnicodeNextToAscii) {
  const Mapping canonical[] = {
      {"", ""},
      {"\0e\u0301\0"s, "\0\u00E9\0"s},
      {"s\u0307\u0323", "\u1E69"},
      {"\u212B\u2126\u1FEF", "\u00C5\u03A9`"},       // characters with a canonical equivalent
      {"\uAC00\u11A7\u0301", "\uAC00\u11A7\u0301"},  // just below the final consonants: must not be dropped
      {"\u0301e\u0301", "\u0301\u00E9"},             // a mark without a base character
      {"e\xCC\u0301", "e\uFFFD\u0301"},              // ill-formed bytes separate their neighbours
  };
  for (const auto& [from, to] : canonical) {
    EXPECT_EQ(Text::canonical(from), to);
    EXPECT_EQ(Text::canonical(to), to);
    EXPECT_EQ(Text::compare(from, to), std::strong_ordering::equal);
  }
  const Mapping lower[] = {{"Claude-OPUS@[`{_9\0Z"s, "claude-opus@[`{_9\0z"s},
                           {"\u0130I\u0131\u1E9E\u039F\u03A3", "i\u0307i\u0131\u00DF\u03BF\u03C3"},
                           {"E\u0301\xFFZ", "e\u0301\uFFFDz"}};
  for (const auto& [from, to] : lower) {
    EXPECT_EQ(Text::lowercased(from), to);
  }
  for (const std::string_view numbers : {"0", "20250514", "\u0663\u2167\u00BD"}) {
    EXPECT_TRUE(Text::isAllNumbers(numbers) && Text::beginsWithLetterOrNumber(numbers)) << numbers;
  }
  for (const std::string_view begun : {"a", "e\u0301", "\u4E00", "12a", "1.5", "1\xFF"}) {
    EXPECT_TRUE(!Text::isAllNumbers(begun) && Text::beginsWithLetterOrNumber(begun)) << begun;
  }
  for (const std::string_view neither : {"", "-1", "_", "\u0301a", "\u2014", "\xFF"}) {
    EXPECT_FALSE(Text::isAllNumbers(neither) || Text::beginsWithLetterOrNumber(neither)) << neither;
  }
}

TEST(Text, CanonicalFormDoesNotDependOnTheSpelling) {
  const std::vector<std::vector<std::string>> spellings = {
      {"a"},
      {"\r"},
      {"\n"},
      {"\0"s},
      {"\u00E9", "e\u0301"},
      {"\u1E69", "s\u0323\u0307", "s\u0307\u0323", "\u1E63\u0307"},
      {"\uAC01", "\uAC00\u11A8", "\u1100\u1161\u11A8"},
      {"\U0001F1E6"},
      {"\u4E2D"},
      {"\u0344x", "\u0308\u0301x"},
  };
  std::mt19937 random(20);  // NOLINT(bugprone-random-generator-seed): the same texts every time
  const auto below = [&](std::size_t limit) { return std::size_t{random()} % limit; };
  for (int round = 0; round < 3000; ++round) {
    std::string one;
    std::string other;
    for (std::size_t count = below(8); count > 0; --count) {
      const auto& spelling = spellings[below(spellings.size())];
      one += spelling[below(spelling.size())];
      other += spelling[below(spelling.size())];
    }
    ASSERT_EQ(Text::canonical(one), Text::canonical(other));
    ASSERT_EQ(Text::characterCount(one), Text::characterCount(other));
    ASSERT_TRUE(Text::hasPrefix(one, other) && Text::contains(other, one));
  }
}

TEST(Text, CharactersAreGraphemeClusters) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"a", "b", "c"},
      {"\r", "\r\n", "\n", "\0"s, "\t"},
      {"a", "e\u0301", "\u00E9", "z"},
      {"\n", "\u0301", "\r\n", "\u200D"},                                      // line ends do not combine
      {"\U0001F1E6\U0001F1E7", "\U0001F1E8\U0001F1E9", "\U0001F1EA", "x"},     // flags: letters in pairs
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467", "\U0001F44D\U0001F3FD"},  // a family, a skin tone
      {"\u1100\u1161\u11A8", "\uAC00\u11A8\u11A8", "\u1100"},
      {"a", "\xFF", "\xE2\x82", "b\u0301", "\x80\u0301"},
  };
  for (const auto& characters : cases) {
    const std::string text = std::accumulate(characters.begin(), characters.end(), std::string());
    SCOPED_TRACE(text);
    EXPECT_EQ(Text::characterCount(text), characters.size());
    std::string front;
    for (std::size_t count = 0; count <= characters.size(); ++count) {
      EXPECT_EQ(Text::prefix(text, count), front);
      EXPECT_EQ(Text::suffix(text, characters.size() - count), text.substr(front.size()));
      EXPECT_EQ(Text::fitted(text, count), front);
      front += count < characters.size() ? characters[count] : "";
    }
    EXPECT_EQ(Text::fitted(text, characters.size() + 3), text + "   ");
  }
}

TEST(Text, TrimmingDistinguishesBlanksFromLineEnds) {
  const std::string blanks =
      " \t\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u202F\u205F\u3000";
  const std::string lineEnds = "\n\v\f\r\u0085\u2028\u2029";
  EXPECT_EQ(Text::trimmedBlanks(blanks), "");
  EXPECT_EQ(Text::trimmedBlanks(lineEnds), lineEnds);
  EXPECT_EQ(Text::trimmedWhitespace(blanks + lineEnds), "");
  EXPECT_EQ(Text::trimmedBlanks(blanks + "\na b\u3000c\n" + blanks), "\na b\u3000c\n");
  EXPECT_EQ(Text::trimmedWhitespace(lineEnds + blanks + "a \nb" + blanks + lineEnds), "a \nb");
  // Not white space, although some are invisible: NUL, U+001F, U+200B, U+FEFF, a truncated U+3000, stray
  // bytes.
  for (const std::string& kept : {"\0"s, "\x1F"s, "\u200B"s, "\uFEFF"s, "\xE3\x80"s, "\x80"s, "\xC2"s}) {
    EXPECT_EQ(Text::trimmedWhitespace(" " + kept + " "), kept);
  }
  EXPECT_EQ(Text::trimmedBlanks("\x80\x80\x80\x80\u3000"), "\x80\x80\x80\x80");
  EXPECT_EQ(Text::trimmedBlanks("a \x80"), "a \x80");
  EXPECT_EQ(Text::trimmedBlanks("a\u3000\x80"), "a\u3000\x80");
}

TEST(Text, SearchFindsWholeCharactersOfTheCanonicalForm) {
  struct Case {
    std::string text;
    std::string part;
    bool contained;
    bool isPrefix;
  };
  const std::string flags = "\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7";
  const std::vector<Case> cases = {
      {"abc", "", true, true},
      {"", "a", false, false},
      {"abc", "abc", true, true},
      {"xabc", "abc", true, false},
      {"a\0b"s, "a\0"s, true, true},
      {"aab\u00E9", "ab\u00E9", true, false},
      {"caf\u00E9", "fe", false, false},
      {"caf\u00E9", "e\u0301", true, false},
      {"cafe\u0301s", "caf\u00E9", true, true},
      {"cafe\u0301", "cafe", false, false},
      {"ex\u0315ex", "ex", true, false},  // x and U+0315 stay two code points; the second "ex" is whole
      {"K", "\u212A", true, true},
      {"a\r\nb", "a\r", false, false},
      {"a\r\nb", "\nb", false, false},
      {flags, "\U0001F1EA\U0001F1EB", false, false},  // the end of one flag and the start of the next
      {flags, "\U0001F1EB\U0001F1F7", true, false},
      {flags, "\U0001F1E9", false, false},
      {"\u00E9\u00E9x\u00E9\u00E9\u00E9y", "\u00E9\u00E9y", true, false},
      {"a\xFF", "\uFFFD", true, false},
  };
  for (const auto& [text, part, contained, isPrefix] : cases) {
    SCOPED_TRACE(testing::Message() << text << " / " << part);
    EXPECT_EQ(Text::contains(text, part), contained);
    EXPECT_EQ(Text::hasPrefix(text, part), isPrefix);
  }
}

// With quadratic time each of these would take minutes.
TEST(Text, HostileTextsTakeLinearTime) {
  constexpr std::size_t kMany = 200'000;
  const std::string marks = "e" + repeated("\u0301\u0300\u0323", kMany);
  EXPECT_EQ(Text::canonical(marks),
            absl::StrCat("\u1EB9", repeated("\u0323", kMany - 1), repeated("\u0301\u0300", kMany)));
  EXPECT_EQ(Text::characterCount("x" + marks), 2U);
  EXPECT_EQ(Text::fitted(marks, 2), marks + " ");
  EXPECT_EQ(Text::suffix("x" + marks, 1), marks);
  EXPECT_FALSE(Text::hasPrefix(marks, marks + "\u0301"));

  const std::string flags = repeated("\U0001F1E6", kMany);
  EXPECT_FALSE(Text::contains(flags, repeated("\U0001F1E6", kMany / 2 - 1)));
  EXPECT_TRUE(Text::contains("x" + flags, repeated("\U0001F1E6", kMany / 2)));

  const std::string same(kMany * 4, 'a');
  for (const std::string& end : {"b"s, "\r"s, "\u00E9"s}) {
    EXPECT_FALSE(Text::contains(same, std::string(kMany, 'a') + end));
    EXPECT_TRUE(Text::contains(same + end, std::string(kMany, 'a') + end));
  }
  EXPECT_EQ(Text::characterCount(std::string(kMany, '\x80')), kMany);
  EXPECT_EQ(Text::trimmedBlanks(repeated("\u3000", kMany)), "");
}

}  // namespace
}  // namespace tallyfin
