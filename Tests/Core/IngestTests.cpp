#include "Support/RawLine.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

// One file's worth of lines.
class Ingest : public testing::Test {
 protected:
  void feed(std::string line) {
    if (!line.empty() && line.back() == '\n') line.pop_back();
    Scanner::ingest(line, "/home/.claude/projects/p/abc.jsonl", InternedText(".claude"), 7, records,
                    diagnostics);
  }

  // A line whose usage object holds these members; the only record so far.
  const UsageRecord& recordOf(const std::string& usage) {
    records = {};
    RawLine line;
    line.usage = usage;
    feed(line.text());
    EXPECT_EQ(records.size(), 1U) << usage;
    return records.entries()[0].record;
  }

  RecordMap records;
  ScanDiagnostics diagnostics;
};

TEST_F(Ingest, ALineBecomesARecord) {
  RawLine line;
  line.agent = "areviewer-0123456789abcdef";
  line.model = " Claude-Sonnet-4-5-20250929[1m] ";
  line.usage =
      R"("input_tokens":1,"output_tokens":2,"cache_read_input_tokens":3,"cache_creation_input_tokens":9,)"
      R"("cache_creation":{"ephemeral_5m_input_tokens":4,"ephemeral_1h_input_tokens":5},)"
      R"("server_tool_use":{"web_search_requests":6,"web_fetch_requests":7},"service_tier":"standard")";
  feed(line.text());
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.entries()[0].key.text(), "msg_1:req_1");
  UsageRecord expected;
  expected.timestamp = *Timestamp::parse(line.timestamp);
  expected.model = InternedText("claude-sonnet-4-5");
  expected.sessionId = InternedText("5e55-1");
  expected.rawCwd = InternedText("/src/alpha");
  expected.agent = AgentIdentity::named(InternedText("reviewer"), InternedText(line.agent));
  expected.sourceHome = InternedText(".claude");
  expected.input = 1;
  expected.output = 2;
  expected.cacheRead = 3;
  expected.cacheWrite5m = 4;
  expected.cacheWrite1h = 5;
  expected.webSearch = 6;
  expected.webFetch = 7;
  expected.sourceRank = 7;
  EXPECT_EQ(records.entries()[0].record, expected);
  EXPECT_EQ(diagnostics.usageLinesSeen, 1);
  EXPECT_EQ(diagnostics.longestLineBytes, static_cast<std::int64_t>(line.text().size()) - 1);
}

TEST_F(Ingest, EveryUnusableLineIsCountedByItsCause) {
  const std::string good = RawLine().text();
  const auto with = [&](const std::string& from, const std::string& to) {
    std::string line = good;
    line.replace(line.find(from), from.size(), to);
    return line;
  };
  const struct {
    std::string line;
    std::int64_t ScanDiagnostics::*counter;
  } cases[] = {
      {R"(["usage"])", &ScanDiagnostics::linesRejectedInvalidJSON},
      {R"("usage")", &ScanDiagnostics::linesRejectedInvalidJSON},
      {good.substr(0, good.size() - 3), &ScanDiagnostics::linesRejectedInvalidJSON},
      {"\xEF\xBB\xBF" + good, &ScanDiagnostics::linesRejectedInvalidJSON},
      {with("done", "\xFF"), &ScanDiagnostics::linesRejectedInvalidJSON},
      {with("done", "\\ud800"), &ScanDiagnostics::linesRejectedInvalidJSON},
      {with(":10,", ":NaN,"), &ScanDiagnostics::linesRejectedInvalidJSON},
      {R"({"usage":1})", &ScanDiagnostics::linesRejectedNoMessage},
      {R"({"message":"usage","x":{"usage":{}}})", &ScanDiagnostics::linesRejectedNoMessage},
      {R"({"message":{},"message":["usage"]})", &ScanDiagnostics::linesRejectedNoMessage},
      {R"({"message":{"content":"say \"x\"","y":"usage"}})", &ScanDiagnostics::linesNotUsageBearing},
      {R"({"message":{"usage":{"input_tokens":1},"usage":null}})", &ScanDiagnostics::linesNotUsageBearing},
      {with(R"("input_tokens":10,"output_tokens":5)", R"("cache_creation":{"ephemeral_1h_input_tokens":50})"),
       &ScanDiagnostics::linesSkippedZeroUsage},
      {with(R"("input_tokens":10,"output_tokens":5)", R"("input_tokens":"10","output_tokens":null)"),
       &ScanDiagnostics::linesSkippedZeroUsage},
      {with(R"("timestamp":"2026)", R"("timestamp":"2026-)"), &ScanDiagnostics::linesRejectedNoTimestamp},
      {with(R"("2026-05-04T10:00:00Z")", "1777888800"), &ScanDiagnostics::linesRejectedNoTimestamp},
      {with(R"("id":"msg_1",)", ""), &ScanDiagnostics::linesRejectedNoIdentity},
      {with(R"("msg_1")", "\"\""), &ScanDiagnostics::linesRejectedNoIdentity},
      {with(R"("requestId":"req_1",)", ""), &ScanDiagnostics::linesRejectedNoIdentity},
      {with(R"("requestId":"req_1")", R"("requestId":"","request_id":"req_1")"),
       &ScanDiagnostics::linesRejectedNoIdentity},
  };
  std::int64_t seen = 0;
  for (const auto& one : cases) {
    const std::int64_t before = diagnostics.*one.counter;
    feed(one.line);
    EXPECT_EQ(diagnostics.*one.counter, before + 1) << one.line;
    EXPECT_EQ(diagnostics.usageLinesSeen, ++seen) << one.line;
  }
  EXPECT_TRUE(records.empty());
  EXPECT_EQ(diagnostics.totalRejected(),
            seen - diagnostics.linesNotUsageBearing - diagnostics.linesSkippedZeroUsage);
}

TEST_F(Ingest, LinesWithoutTheSevenBytesAreOnlyMeasured) {
  feed("");
  feed("{ not json at all");
  feed(R"({"message":{"Usage":{}}, "x": "usage\""})");
  EXPECT_EQ(diagnostics.usageLinesSeen, 0);
  EXPECT_EQ(diagnostics.longestLineBytes, 40);
  EXPECT_EQ(diagnostics.longestLinePath, "/home/.claude/projects/p/abc.jsonl");
}

TEST_F(Ingest, CountsAreReadWhateverTheKindOfNumber) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const std::map<std::string, std::int64_t> cases = {
      {"7", 7},    {"7.9", 7},       {"-7.9", -7},    {"7e2", 700},
      {"true", 1}, {"false", 0},     {"\"7\"", 0},    {"null", 0},
      {"[7]", 0},  {"{\"a\":7}", 0}, {"1e400", most}, {"123456789012345678901234567890", most}};
  for (const auto& [text, count] : cases) {
    EXPECT_EQ(recordOf("\"input_tokens\":" + text + ",\"output_tokens\":1").input, count) << text;
  }
  EXPECT_EQ(recordOf(R"("input_tokens":1,"input_tokens":2)").input, 2);
}

TEST_F(Ingest, TheCacheWriteIsSplitOnlyWhenTheSplitAddsUp) {
  const auto usage = [](const std::string& total, const std::string& split) {
    return "\"output_tokens\":1,\"cache_creation_input_tokens\":" + total +
           (split.empty() ? "" : ",\"cache_creation\":" + split);
  };
  const std::string half = R"({"ephemeral_5m_input_tokens":60,"ephemeral_1h_input_tokens":40})";
  const std::string huge =
      R"({"ephemeral_5m_input_tokens":9223372036854775807,"ephemeral_1h_input_tokens":9223372036854775807})";
  const struct {
    std::string usage;
    std::int64_t fiveMinutes;
    std::int64_t oneHour;
    bool assumed;
  } cases[] = {
      {usage("100", half), 60, 40, false},
      {usage("100", ""), 100, 0, true},
      {usage("90", half), 90, 0, true},
      {usage("100", "[60,40]"), 100, 0, true},
      {usage("0", half), 0, 0, false},
      {usage("-5", ""), -5, 0, false},
      {usage("-2", huge), -2, 0, false},
      {usage("0", R"({"ephemeral_5m_input_tokens":-3,"ephemeral_1h_input_tokens":3})"), -3, 3, false}};
  for (const auto& one : cases) {
    const UsageRecord& record = recordOf(one.usage);
    EXPECT_EQ(record.cacheWrite5m, one.fiveMinutes) << one.usage;
    EXPECT_EQ(record.cacheWrite1h, one.oneHour) << one.usage;
    EXPECT_EQ(record.cacheWriteBreakdownAssumed, one.assumed) << one.usage;
  }
  EXPECT_EQ(recordOf(R"("server_tool_use":{"web_fetch_requests":1})").webFetch, 1);  // no zero usage
}

TEST_F(Ingest, RepeatedLinesRaiseTheRecordOfTheFirst) {
  RawLine first = rawLine(1, 10, 900);
  first.timestamp = "2026-05-04T10:00:05Z";
  first.usage += R"(,"cache_creation_input_tokens":100)";
  RawLine second = rawLine(1, 20, 5);
  second.timestamp = "2026-05-04T10:00:03Z";
  second.model = "claude-haiku-4-5";
  second.cwd = "/elsewhere";
  second.agent = "a1";
  second.usage +=
      R"(,"cache_creation_input_tokens":100,"cache_creation":{"ephemeral_5m_input_tokens":60,"ephemeral_1h_input_tokens":40})";
  feed(first.text());
  feed(second.text());
  RawLine refused = rawLine(1, 99, 99);
  refused.timestamp = "2026";
  feed(refused.text());
  ASSERT_EQ(records.size(), 1U);
  const UsageRecord& record = records.entries()[0].record;
  EXPECT_EQ(record.input, 20);
  EXPECT_EQ(record.output, 900);
  EXPECT_EQ(record.cacheWrite5m, 100);
  EXPECT_EQ(record.cacheWrite1h, 40);
  EXPECT_TRUE(record.cacheWriteBreakdownAssumed);
  EXPECT_EQ(record.timestamp, *Timestamp::parse("2026-05-04T10:00:03Z"));
  EXPECT_EQ(record.model.text(), "claude-opus-5");
  EXPECT_EQ(record.rawCwd.text(), "/src/alpha");
  EXPECT_EQ(record.agent, AgentIdentity::main());
}

TEST_F(Ingest, TextsFallBackAsTheirFieldsAreMissing) {
  feed(
      R"({"timestamp":"2026-05-04T10:00:00Z","request_id":"r","message":{"id":"m","usage":{"input_tokens":1}}})");
  feed(R"({"timestamp":"2026-05-04T10:00:00Z","requestId":"r2","session_id":"old","sessionId":5,"cwd":7,)"
       R"("message":{"id":"m","model":"  ","usage":{"input_tokens":1}}})");
  feed(R"({"timestamp":"2026-05-04T10:00:00Z","requestId":"r\u0033","sessionId":"","session_id":"old",)"
       R"("message":{"id":"m","\u0075sage":{"input_tokens":1},"x":{"usage":0}}})");
  ASSERT_EQ(records.size(), 3U);
  const auto entry = [&](std::size_t i) { return records.entries()[i]; };
  EXPECT_EQ(entry(0).key.text(), "m:r");
  EXPECT_EQ(entry(0).record.model.text(), "unknown");
  EXPECT_EQ(entry(0).record.sessionId.text(), "abc");
  EXPECT_EQ(entry(0).record.rawCwd.text(), "");
  EXPECT_EQ(entry(1).record.model.text(), "");
  EXPECT_EQ(entry(1).record.sessionId.text(), "old");
  EXPECT_EQ(entry(1).record.rawCwd.text(), "");
  EXPECT_EQ(entry(2).key.text(), "m:r3");
  EXPECT_EQ(entry(2).record.sessionId.text(), "");
}

TEST_F(Ingest, CanonicallyEquivalentKeysAreOneRequest) {
  feed(
      R"({"timestamp":"2026-05-04T10:00:00Z","requestId":"é","message":{"id":"m","usage":{"input_tokens":1}}})");
  feed(
      R"({"timestamp":"2026-05-04T10:00:00Z","requestId":"e\u0301","message":{"id":"m","usage":{"input_tokens":2}}})");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.entries()[0].record.input, 2);
}

}  // namespace
}  // namespace tallyfin
