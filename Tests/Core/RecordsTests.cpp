#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"

#include <limits>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(AgentIdentity, IsReadFromTheRawId) {
  using Kind = AgentIdentity::Kind;
  const struct {
    const char* raw;
    Kind kind;
    const char* name;
    const char* label;
  } cases[] = {
      {"", Kind::main, "", "main session"},
      {"abc", Kind::anonymous, "", "anonymous agent abc"},
      {"0123456789abcdef", Kind::anonymous, "", "anonymous agent 012345678"},
      {"xteam-0123456789abcdef", Kind::anonymous, "", "anonymous agent xteam-012"},
      {"a-0123456789abcdef", Kind::anonymous, "", "anonymous agent a-0123456"},
      {"ateam-lead-0123456789abcdef", Kind::named, "team-lead", "team-lead"},
      {"ateam-lead-0123456789abcdef0", Kind::named, "team-lead", "team-lead"},
      {"ateam-lead-0123456789abcde", Kind::anonymous, "", "anonymous agent ateam-lea"},
      {"ateam-lead-0123456789abcdef01", Kind::anonymous, "", "anonymous agent ateam-lea"},
      {"ateam-lead-0123456789Abcdef", Kind::anonymous, "", "anonymous agent ateam-lea"},
      {"a\xCC\x81x-0123456789abcdef", Kind::anonymous, "", "anonymous agent a\xCC\x81x-012345"},  // á, no a
      {"agr\xC3\xBC\xC3\x9F-0123456789abcdef", Kind::named, "gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
  };
  for (const auto& one : cases) {
    const AgentIdentity agent = AgentIdentity::parse(InternedText(one.raw));
    EXPECT_EQ(agent.kind(), one.kind) << one.raw;
    EXPECT_EQ(agent.name().text(), one.name) << one.raw;
    EXPECT_EQ(agent.rawId().text(), one.raw);
    EXPECT_EQ(agent.label(), one.label);
    EXPECT_EQ(agent.description(), one.kind == Kind::main ? "(main)" : one.raw);
    EXPECT_EQ(agent.isSubagent(), one.kind != Kind::main);
  }
  EXPECT_NE(AgentIdentity::named(InternedText("x"), InternedText("r")),
            AgentIdentity::anonymous(InternedText("r")));
}

TEST(RecordMap, KeepsTheOrderOfFirstAppearanceAndOneRecordAKey) {
  RecordMap map;
  UsageRecord record;
  for (const char* key : {"c", "a", "b", "a"}) {
    ++record.input;
    map.insert(InternedText(key), record);
  }
  map.dropIndex();
  ASSERT_EQ(map.size(), 3U);
  EXPECT_EQ(map.entries()[0].key.text(), "c");
  EXPECT_EQ(map.entries()[1].key.text(), "a");
  EXPECT_EQ(map.find(InternedText("a"))->input, 4);
  EXPECT_EQ(map.find(InternedText("d")), nullptr);
}

TEST(UsageRecord, TokensSaturate) {
  UsageRecord record;
  record.input = std::numeric_limits<std::int64_t>::max();
  record.output = 1;
  record.webSearch = 5;
  EXPECT_EQ(record.totalTokens(), std::numeric_limits<std::int64_t>::max());
  record.input = 7;
  EXPECT_EQ(record.totalTokens(), 8);
}

double at(const char* text) {
  return Timestamp::parse(text).value_or(TimePoint{-1}).seconds;
}

TEST(Timestamp, NamesAMoment) {
  const double moment = 1767323045;  // 2026-01-02T03:04:05Z
  const struct {
    const char* text;
    double seconds;
  } cases[] = {
      {"2026-01-02T03:04:05Z", moment},
      {"2026-01-02T03:04:05", moment},
      {"2026-01-02 03:04:05", moment},
      {"2026-01-02T03:04:05z and more", moment},
      {"2026-01-02T03:04:05.", moment},
      {"2026-01-02T03:04:05.Z", moment},
      {"2026-01-02T03:04:05.5", moment + 0.5},
      {"2026-01-02T03:04:05.25+00:00", moment + 0.25},
      {"2026-01-02T03:04:05.5+01:30", moment + 0.5 - 5400},
      {"2026-01-02T03:04:05.5+0130", moment + 0.5 - 5400},
      {"2026-01-02T03:04:05.5+01:30junk", moment + 0.5 - 5400},
      {"2026-01-02T03:04:05-01", moment + 3600},
      {"2026-01-02T03:04:05+01:3", moment - 3600},
      {"2026-01-02T03:04:05+01:xx", moment - 3600},
      {"2026-01-02T03:04:05+99:99", moment - 99 * 3600 - 99 * 60},
      {"2026-01-02T03:04:61Z", moment + 56},
      {"2025-02-31T00:00:00Z", at("2025-03-03T00:00:00Z")},
      {"1970-01-01T00:00:00Z", 0},
      {"1969-12-31T23:59:59Z", -1 - 0.0},
      {"2000-02-29T00:00:00Z", 951782400},
      {"0000-01-01T00:00:00Z", -62167219200},
      {"9999-12-31T23:59:59Z", 253402300799},
  };
  for (const auto& one : cases) {
    const auto parsed = Timestamp::parse(one.text);
    ASSERT_TRUE(parsed.has_value()) << one.text;
    EXPECT_DOUBLE_EQ(parsed->seconds, one.seconds) << one.text;
  }
}

TEST(Timestamp, RefusesWhatHasNotTheShape) {
  for (const char* text :
       {"", "2026-01-02", "2026-01-02T03:04:0", "2026/01/02T03:04:05", "2026-01-02t03:04:05",
        "2026-01-02T03.04.05", "2026-13-02T03:04:05Z", "2026-00-02T03:04:05Z", "2026-01-00T03:04:05Z",
        "2026-01-32T03:04:05Z", "2026-01-02T24:00:00Z", "2026-01-02T03:60:05Z", "2026-01-02T03:04:62Z",
        "2026-01-02T03:04:05+1", "2026-01-02T03:04:05+x1", "x026-01-02T03:04:05Z", "2026-01-02T03:04:-5Z",
        " 2026-01-02T03:04:05Z"}) {
    EXPECT_FALSE(Timestamp::parse(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace tallyfin
