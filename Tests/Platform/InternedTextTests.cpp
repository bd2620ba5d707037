#include "Platform/InternedText.hpp"
#include "absl/hash/hash.h"
#include "gtest/gtest.h"

#include <algorithm>
#include <barrier>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tallyfin {
namespace {

using namespace std::string_literals;

TEST(InternedText, EmptyTextIsNumberZero) {
  for (const InternedText empty : {InternedText(), InternedText(""), InternedText(std::string_view{})}) {
    EXPECT_EQ(empty.number(), 0U);
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.text(), "");
    EXPECT_EQ(empty.canonical(), "");
  }
  EXPECT_FALSE(InternedText("\0"s).empty());
  EXPECT_EQ(InternedText("\0"s).text(), "\0"s);
  EXPECT_NE(InternedText("\0"s), InternedText("\0\0"s));
}

TEST(InternedText, CanonicallyEquivalentTextsAreEqualButKeepTheirSpelling) {
  // Spellings in different orders, some of them repeated.
  const std::vector<std::vector<std::string>> groups = {
      {"caf\u00E9-1", "cafe\u0301-1", "caf\u00E9-1", "cafe\u0301-1"},
      {"cafe\u0301-2", "caf\u00E9-2", "cafe\u0301-2"},
      {"s\u0323\u0307", "s\u0307\u0323", "\u1E63\u0307", "\u1E69"},
      {"\u212A-kelvin", "K-kelvin"},  // the canonical form is ASCII
  };
  for (const auto& group : groups) {
    const InternedText first(group.front());
    for (const std::string& spelling : group) {
      const InternedText text(spelling);
      EXPECT_EQ(text.text(), spelling);
      EXPECT_EQ(text, first);
      EXPECT_EQ(text <=> first, std::strong_ordering::equal);
      EXPECT_EQ(text.number(), first.number());
      EXPECT_EQ(text.canonical(), first.canonical());
      EXPECT_EQ(absl::HashOf(text), absl::HashOf(first));
    }
  }
  EXPECT_EQ(InternedText("cafe\u0301-1").canonical(), "caf\u00E9-1");
  EXPECT_LT(InternedText("cafe-1z"), InternedText("caf\u00E9-1")) << "order is by code points";
  EXPECT_EQ(InternedText("a\xFF\xE2\x82z").text(), "a\uFFFD\uFFFDz");
  EXPECT_EQ(InternedText("a\xFF\xE2\x82z"), InternedText("a\uFFFD\uFFFDz"));
}

TEST(InternedText, NumbersAreDense) {
  constexpr std::size_t kTexts = 40'000;  // more than one block of the table
  const std::size_t before = InternedText::count();
  std::vector<InternedText> texts;
  for (std::size_t i = 0; i < kTexts; ++i) {
    texts.emplace_back("dense \u00E9 " + std::to_string(i));
    EXPECT_EQ(texts.back().number(), before + i);
    InternedText("dense e\u0301 " + std::to_string(i));  // takes no number of its own
  }
  EXPECT_EQ(InternedText::count(), before + kTexts);
  for (std::size_t i = 0; i < kTexts; ++i) {
    ASSERT_EQ(texts[i].text(), "dense \u00E9 " + std::to_string(i));
  }
}

TEST(InternedText, InterningManyGivesTheSameAsOneByOne) {
  InternedText("known before");
  std::vector<std::string> spelled = {
      "", "known before", "at once caf\u00E9", "at once cafe\u0301", "at once \xFF", ""};
  for (int i = 0; i < 3'000; ++i) {
    spelled.push_back("at once " + std::to_string(i % 2'000));
  }
  const std::vector<std::string_view> views(spelled.begin(), spelled.end());
  const std::size_t before = InternedText::count();
  const std::vector<InternedText> texts = InternedText::all(views);
  EXPECT_EQ(InternedText::count(), before + 2'000 + 2);
  ASSERT_EQ(texts.size(), views.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    ASSERT_EQ(texts[i], InternedText(views[i])) << spelled[i];
    ASSERT_EQ(texts[i].text().data(), InternedText(views[i]).text().data()) << spelled[i];
  }
}

TEST(InternedText, ThreadsAgree) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kTexts = 6'000;
  const std::size_t before = InternedText::count();
  const std::string round = std::to_string(before) + ": ";  // texts are new however often the test runs
  const auto shared = [&](std::size_t i) { return round + "shared " + std::to_string(i); };
  const auto spelled = [&](std::size_t i, bool composed) {
    return round + std::to_string(i) + (composed ? " \u00E9" : " e\u0301");
  };
  const auto own = [&](std::size_t thread, std::size_t i) {
    return round + std::to_string(thread) + " alone " + std::to_string(i);
  };
  struct Seen {
    std::vector<InternedText> shared, spelled, own;
  };
  std::vector<Seen> seen(kThreads);
  {
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        start.arrive_and_wait();
        for (std::size_t i = 0; i < kTexts; ++i) {
          seen[thread].shared.emplace_back(shared(i));
          seen[thread].spelled.emplace_back(spelled(i, thread % 2 == 0));
          seen[thread].own.emplace_back(own(thread, i));
          EXPECT_EQ(seen[thread].own.back().text(), own(thread, i));  // read while others write
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(InternedText::count(), before + kTexts * (2 + kThreads));
  std::vector<std::uint32_t> numbers;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    EXPECT_EQ(seen[thread].shared, seen[0].shared);
    EXPECT_EQ(seen[thread].spelled, seen[0].spelled);
    for (std::size_t i = 0; i < kTexts; ++i) {
      ASSERT_EQ(seen[thread].shared[i].text(), shared(i));
      ASSERT_EQ(seen[thread].spelled[i].text(), spelled(i, thread % 2 == 0));
      numbers.push_back(seen[thread].own[i].number());
    }
  }
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
}

}  // namespace
}  // namespace tallyfin
