#include "Platform/ByteSearch.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(ByteSearch, FindsTheNeedleAtEveryPlaceAndNowhereElse) {
  const std::string needle = "\"usage\"";
  for (std::size_t length = 0; length < 100; ++length) {
    std::string text(length, '"');  // every byte equals the needle's first and last
    EXPECT_FALSE(containsBytes(text, needle)) << length;
    for (std::size_t at = 0; at + needle.size() <= length; ++at) {
      std::string with = text;
      with.replace(at, needle.size(), needle);
      EXPECT_TRUE(containsBytes(with, needle)) << length << " at " << at;
      EXPECT_FALSE(containsBytes(std::string_view(with).substr(0, at + needle.size() - 1), needle));
    }
  }
}

TEST(ByteSearch, HandlesEmptyAndShortTexts) {
  EXPECT_FALSE(containsBytes("", "a"));
  EXPECT_FALSE(containsBytes("abc", ""));
  EXPECT_FALSE(containsBytes("ab", "abc"));
  EXPECT_TRUE(containsBytes("abc", "abc"));
  EXPECT_TRUE(containsBytes("xbx", "b"));
}

}  // namespace
}  // namespace tallyfin
