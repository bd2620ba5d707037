#include "ExporterHistory.hpp"
#include "Platform/Concat.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <limits>
#include <optional>
#include <random>

namespace tallyfin {
namespace {

using Exporter::Axis;
using testing::ElementsAre;

constexpr std::string_view kHeader =
    "axis,key,label,project,session,agent,agent_kind,models,attribution_note,first_activity,last_activity,"
    "requests,input_tokens,output_tokens,cache_write_5m_tokens,cache_write_1h_tokens,cache_read_tokens,"
    "total_tokens,web_search_requests,web_fetch_requests,currency,cost,cost_basis,unpriced_requests,"
    "unpriced_models,cache_write_assumed_requests\n";

using Cells = std::vector<std::string>;

// Reads CSV as RFC 4180 has it, knowing nothing of how it was written.
std::vector<Cells> parseCSV(std::string_view document) {
  std::vector<Cells> rows;
  Cells row(1);
  bool isQuoted = false;
  for (std::size_t i = 0; i < document.size(); ++i) {
    const char byte = document[i];
    if (isQuoted) {
      if (byte != '"') {
        row.back() += byte;
      } else if (i + 1 < document.size() && document[i + 1] == '"') {
        row.back() += document[++i];
      } else {
        isQuoted = false;
      }
    } else if (byte == '"' && row.back().empty()) {
      isQuoted = true;
    } else if (byte == ',') {
      row.emplace_back();
    } else if (byte == '\n') {
      rows.push_back(std::exchange(row, Cells(1)));
    } else {
      row.back() += byte;
    }
  }
  EXPECT_EQ(row, Cells(1)) << "the last line has no line feed";
  return rows;
}

// The cells of a column, without its header.
Cells column(const std::string& csv, std::string_view header) {
  const std::vector<Cells> rows = parseCSV(csv);
  std::size_t at = 0;
  while (rows.at(0).at(at) != header) {
    ++at;
  }
  Cells cells;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].size(), 26U);
    cells.push_back(rows[i].at(at));
  }
  return cells;
}

TEST(ExporterBreakdown, EveryAxisOfASmallHistoryToTheLetter) {
  struct Case {
    Axis axis;
    std::string_view rows;
  };
  const std::vector<Case> cases = {
      {Axis::project,
       R"(project,~/alpha,~/alpha,~/alpha,(not broken down),(not broken down),(not broken down),claude-opus-5 (2),no repository found; the raw cwd was kept,2026-05-03T23:30:00+02:00,2026-05-04T00:15:00+02:00,2,1000,120000,2000,100,10000,133100,2,1,USD,3.043500,complete,0,(none),1
project,(unknown cwd),(unknown cwd),(unknown cwd),(not broken down),(not broken down),(not broken down),claude-opus-5 (1),the transcript carried no cwd,2026-05-04T10:30:00+02:00,2026-05-04T10:30:00+02:00,1,0,40000,0,0,0,40000,0,0,USD,1.000000,complete,0,(none),0
project,"~/beta, old","~/beta, old","~/beta, old",(not broken down),(not broken down),(not broken down),mystery (1),no repository found; the raw cwd was kept,2026-05-04T10:00:00+02:00,2026-05-04T10:00:00+02:00,1,0,500,0,0,0,500,0,0,USD,unknown,unknown — no known price for any request in this row,1,mystery,0
)"},
      {Axis::rawCwd,
       R"(raw_cwd,~/alpha,~/alpha,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (2),"raw cwd as written in the transcript, before any folding",2026-05-03T23:30:00+02:00,2026-05-04T00:15:00+02:00,2,1000,120000,2000,100,10000,133100,2,1,USD,3.043500,complete,0,(none),1
raw_cwd,(unknown cwd),(unknown cwd),(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1),"raw cwd as written in the transcript, before any folding",2026-05-04T10:30:00+02:00,2026-05-04T10:30:00+02:00,1,0,40000,0,0,0,40000,0,0,USD,1.000000,complete,0,(none),0
raw_cwd,"~/beta, old","~/beta, old",(not broken down),(not broken down),(not broken down),(not broken down),mystery (1),"raw cwd as written in the transcript, before any folding",2026-05-04T10:00:00+02:00,2026-05-04T10:00:00+02:00,1,0,500,0,0,0,500,0,0,USD,unknown,unknown — no known price for any request in this row,1,mystery,0
)"},
      {Axis::session,
       R"(session,session-1,session-1,~/alpha,session-1,(not broken down),(not broken down),claude-opus-5 (2),project taken from the session's last activity,2026-05-03T23:30:00+02:00,2026-05-04T00:15:00+02:00,2,1000,120000,2000,100,10000,133100,2,1,USD,3.043500,complete,0,(none),1
session,session-2,session-2,(unknown cwd),session-2,(not broken down),(not broken down),claude-opus-5 (1); mystery (1),project taken from the session's last activity,2026-05-04T10:00:00+02:00,2026-05-04T10:30:00+02:00,2,0,40500,0,0,0,40500,0,0,USD,1.000000,lower bound — priced requests only,1,mystery,0
)"},
      {Axis::agent,
       R"(agent,(main),main session,~/alpha,session-1,main session,main session,claude-opus-5 (2),"requests with no agentId, i.e. the main session",2026-05-03T23:30:00+02:00,2026-05-04T10:30:00+02:00,2,1000,80000,2000,100,10000,93100,2,1,USD,2.043500,complete,0,(none),0
agent,areviewer-0123456789abcdef,reviewer,~/alpha,session-1,reviewer,named subagent,claude-opus-5 (1),name read out of the agentId itself,2026-05-04T00:15:00+02:00,2026-05-04T00:15:00+02:00,1,0,80000,0,0,0,80000,0,0,USD,2.000000,complete,0,(none),1
agent,afb12,anonymous agent afb12,"~/beta, old",session-2,anonymous agent afb12,anonymous subagent,mystery (1),the agentId carries no name and no roster entry matched; the agent is reported as anonymous rather than given a plausible name,2026-05-04T10:00:00+02:00,2026-05-04T10:00:00+02:00,1,0,500,0,0,0,500,0,0,USD,unknown,unknown — no known price for any request in this row,1,mystery,0
)"},
      {Axis::model,
       R"(model,claude-opus-5,claude-opus-5,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (3),"one model, across every project and agent in range",2026-05-03T23:30:00+02:00,2026-05-04T10:30:00+02:00,3,1000,160000,2000,100,10000,173100,2,1,USD,4.043500,complete,0,(none),1
model,mystery,mystery,(not broken down),(not broken down),(not broken down),(not broken down),mystery (1),"one model, across every project and agent in range",2026-05-04T10:00:00+02:00,2026-05-04T10:00:00+02:00,1,0,500,0,0,0,500,0,0,USD,unknown,unknown — no known price for any request in this row,1,mystery,0
)"},
      {Axis::day,
       R"(day,2026-05-03,2026-05-03,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1),"calendar day in the local time zone, as the aggregator counts it",2026-05-03T23:30:00+02:00,2026-05-03T23:30:00+02:00,1,1000,40000,2000,100,10000,53100,2,1,USD,1.043500,complete,0,(none),0
day,2026-05-04,2026-05-04,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (2); mystery (1),"calendar day in the local time zone, as the aggregator counts it",2026-05-04T00:15:00+02:00,2026-05-04T10:30:00+02:00,3,0,120500,0,0,0,120500,0,0,USD,3.000000,lower bound — priced requests only,1,mystery,1
)"},
      {Axis::hour,
       R"(hour,00,00:00,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1),"hour of the local day, across the selected period",2026-05-04T00:15:00+02:00,2026-05-04T00:15:00+02:00,1,0,80000,0,0,0,80000,0,0,USD,2.000000,complete,0,(none),1
hour,10,10:00,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1); mystery (1),"hour of the local day, across the selected period",2026-05-04T10:00:00+02:00,2026-05-04T10:30:00+02:00,2,0,40500,0,0,0,40500,0,0,USD,1.000000,lower bound — priced requests only,1,mystery,0
hour,23,23:00,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1),"hour of the local day, across the selected period",2026-05-03T23:30:00+02:00,2026-05-03T23:30:00+02:00,1,1000,40000,2000,100,10000,53100,2,1,USD,1.043500,complete,0,(none),0
)"},
      {Axis::source,
       R"(source_home,.claude,.claude,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (2),the Claude home directory the transcripts were read from,2026-05-03T23:30:00+02:00,2026-05-04T00:15:00+02:00,2,1000,120000,2000,100,10000,133100,2,1,USD,3.043500,complete,0,(none),1
source_home,.claude-work,.claude-work,(not broken down),(not broken down),(not broken down),(not broken down),claude-opus-5 (1); mystery (1),the Claude home directory the transcripts were read from,2026-05-04T10:00:00+02:00,2026-05-04T10:30:00+02:00,2,0,40500,0,0,0,40500,0,0,USD,1.000000,lower bound — priced requests only,1,mystery,0
)"}};
  const Report report = smallReport();
  const std::vector<Exporter::AxisCSV> all = Exporter::allBreakdownCSVs(report, berlin());
  ASSERT_EQ(all.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(all[i].axis, cases[i].axis);
    EXPECT_EQ(all[i].csv, std::string(kHeader).append(cases[i].rows));
    EXPECT_EQ(Exporter::breakdownCSV(report, cases[i].axis, berlin()), all[i].csv);
  }
}

TEST(ExporterBreakdown, OnlyAxesWithRowsAreExported) {
  EXPECT_TRUE(Exporter::allBreakdownCSVs({}, berlin()).empty());
  EXPECT_EQ(Exporter::breakdownCSV({}, Axis::day, berlin()), kHeader);
  for (const Exporter::AxisCSV& table : Exporter::allBreakdownCSVs(smallReport(false), berlin())) {
    EXPECT_NE(table.axis, Axis::hour);
  }
}

TEST(ExporterBreakdown, TheLimitAndTheByteOrderMarkAreTheCallersChoice) {
  const Report report = smallReport();
  Exporter::Options options = berlin();
  options.limitPerAxis = 0;
  EXPECT_EQ(Exporter::breakdownCSV(report, Axis::project, options), kHeader);
  options.limitPerAxis = 2;
  EXPECT_THAT(column(Exporter::breakdownCSV(report, Axis::project, options), "key"),
              ElementsAre("~/alpha", "(unknown cwd)"));
  EXPECT_EQ(column(Exporter::breakdownCSV(report, Axis::hour, options), "key"), (Cells{"00", "10"}));
  options.limitPerAxis = std::numeric_limits<std::int64_t>::max();
  options.byteOrderMark = true;
  EXPECT_EQ(Exporter::breakdownCSV(report, Axis::project, options),
            "\xEF\xBB\xBF" + Exporter::breakdownCSV(report, Axis::project, berlin()));
}

TEST(ExporterBreakdown, EqualCostsStandInTextOrderAndDaysInTimeOrder) {
  // In canonical form é is one code point behind all of ASCII, however it is spelled.
  const Report report = reportOf({
      make({.at = "2026-05-03T10:00:00Z", .cwd = "/e\u0301", .output = kDollar}),
      make({.at = "2026-05-02T10:00:00Z", .cwd = "/f", .output = kDollar}),
      make({.at = "2026-05-01T10:00:00Z", .cwd = "/b", .output = 2 * kDollar}),
      make({.at = "2026-05-04T10:00:00Z", .cwd = "/B", .output = kDollar}),
  });
  EXPECT_THAT(column(Exporter::breakdownCSV(report, Axis::project, berlin()), "key"),
              ElementsAre("/b", "/B", "/f", "/e\u0301"));
  EXPECT_THAT(column(Exporter::breakdownCSV(report, Axis::day, berlin()), "key"),
              ElementsAre("2026-05-01", "2026-05-02", "2026-05-03", "2026-05-04"));
}

TEST(ExporterBreakdown, HostileTextsSurviveACSVReader) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"=1+1", "'=1+1"},
      {"=1+1,2", "\"'=1+1,2\""},
      {"+1", "'+1"},
      {"-1", "'-1"},
      {"@x", "'@x"},
      {"\tx", "'\tx"},
      {"\rx", "\"'\rx\""},
      {"\r\nx", "\"'\r\nx\""},
      {"=\u0338x", "'=\u0338x"},  // one character, but a formula to a spreadsheet
      {"a,\u0301b", "\"a,\u0301b\""},
      {R"(say "hi")", R"("say ""hi""")"},
      {"two\nlines", "\"two\nlines\""},
      {"a=b", "a=b"},
      {"'quoted'", "'quoted'"},
      {"", ""},
      {"gr\xC3", "gr\uFFFD"},
  };
  for (const auto& [text, field] : cases) {
    EXPECT_EQ(Exporter::textField(text), field);
  }

  std::mt19937_64 random(3);  // NOLINT(bugprone-random-generator-seed): the same texts every time
  constexpr std::string_view kAlphabet = "=+-@\t\r\n,\"';a ";
  for (int round = 0; round < 500; ++round) {
    std::string text;
    for (auto length = random() % 6; length > 0; --length) {
      text += kAlphabet[random() % kAlphabet.size()];
    }
    const bool isFormula = !text.empty() && std::string_view("=+-@\t\r").find(text[0]) != std::string::npos;
    const std::string field = Exporter::textField(text);
    const std::string read = (isFormula ? "'" : "") + text;
    ASSERT_EQ(parseCSV(concat("1,", field, ",", field, "\n")), (std::vector<Cells>{{"1", read, read}}));
  }

  const Report report = reportOf({make({.at = "2026-05-03T10:00:00Z",
                                        .model = "\"m\",\n1",
                                        .session = R"(=HYPERLINK("x","y"))",
                                        .cwd = "-a\r\n,b",
                                        .agentId = "@agent-with, a long id",
                                        .output = 1})});
  for (const Exporter::AxisCSV& table : Exporter::allBreakdownCSVs(report, berlin())) {
    EXPECT_EQ(column(table.csv, "models"), Cells{"\"m\",\n1 (1)"});
    EXPECT_EQ(column(table.csv, "unpriced_models"), Cells{"\"m\",\n1"});
    EXPECT_EQ(column(table.csv, "requests"), Cells{"1"});
  }
  const auto cell = [&](Axis axis, std::string_view header) {
    return column(Exporter::breakdownCSV(report, axis, berlin()), header).at(0);
  };
  EXPECT_EQ(cell(Axis::session, "key"), R"('=HYPERLINK("x","y"))");
  EXPECT_EQ(cell(Axis::rawCwd, "label"), "'-a\r\n,b");
  EXPECT_EQ(cell(Axis::agent, "key"), "'@agent-with, a long id");
  EXPECT_EQ(cell(Axis::agent, "label"), "anonymous agent @agent-wi");
}

TEST(ExporterBreakdown, WhatTheReportDoesNotKnowIsSaidInWords) {
  Report report = smallReport();
  const auto notes = [&] {
    return column(Exporter::breakdownCSV(report, Axis::project, berlin()), "attribution_note");
  };
  report.projectProvenance[InternedText("~/alpha")] = {Provenance::missing, Provenance::worktreeFolded,
                                                       Provenance::exact, Provenance::rawFallback,
                                                       Provenance::gitRootFolded};
  report.projectProvenance[InternedText("(unknown cwd)")] = {};
  report.projectProvenance.erase(InternedText("~/beta, old"));
  EXPECT_THAT(notes(), ElementsAre("cwd is the repository root; folded up to the git root; the transcript "
                                   "carried no cwd; no repository found; the raw cwd was kept; folded out of "
                                   "a .claude/worktrees path",
                                   "unknown — the report carries no label provenance for this project",
                                   "unknown — the report carries no label provenance for this project"));

  report.sessionProject.clear();
  report.agentProject.clear();
  report.agentSession.clear();
  report.bySession[InternedText("session-2")] = {};  // a bucket into which nothing went
  const std::string sessions = Exporter::breakdownCSV(report, Axis::session, berlin());
  EXPECT_THAT(column(sessions, "project"),
              testing::Each("unknown — no project could be attached to this session"));
  EXPECT_EQ(column(sessions, "models")[1], "unknown — no model recorded on this row");
  EXPECT_EQ(column(sessions, "first_activity")[1], "unknown — the row holds no dated request");
  EXPECT_EQ(column(sessions, "last_activity")[1], "unknown — the row holds no dated request");
  EXPECT_EQ(column(sessions, "cost")[1], "unknown");
  EXPECT_EQ(column(sessions, "cost_basis")[1], "unknown — no request in range");
  const std::string agents = Exporter::breakdownCSV(report, Axis::agent, berlin());
  EXPECT_THAT(column(agents, "project"), testing::Each("unknown — no project recorded for this agent"));
  EXPECT_THAT(column(agents, "session"), testing::Each("unknown — no session recorded for this agent"));
}

TEST(ExporterBreakdown, AKnownZeroIsNotUnknown) {
  const Report report = reportOf({make({.at = "2026-05-03T10:00:00Z"})});
  const std::string csv = Exporter::breakdownCSV(report, Axis::model, berlin());
  EXPECT_EQ(column(csv, "cost"), Cells{"0.000000"});
  EXPECT_EQ(column(csv, "cost_basis"), Cells{"complete"});
}

TEST(ExporterBreakdown, ModelsStandByUseThenByName) {
  std::vector<UsageRecord> records;
  for (const char* model : {"z", "b", "a", "z"}) {
    records.push_back(make({.at = "2026-05-03T10:00:00Z", .model = model, .output = 1}));
  }
  const std::string csv = Exporter::breakdownCSV(reportOf(records), Axis::day, berlin());
  EXPECT_EQ(column(csv, "models"), Cells{"z (2); a (1); b (1)"});
  EXPECT_EQ(column(csv, "unpriced_models"), Cells{"a; b; z"});
}

TEST(Exporter, AxesAreKnownByTheirRawValue) {
  for (const Axis axis : Exporter::allAxes) {
    EXPECT_EQ(Exporter::axisNamed(Exporter::rawValue(axis)), axis);
    EXPECT_EQ(Exporter::isChronological(axis), axis == Axis::day || axis == Axis::hour);
  }
  EXPECT_EQ(Exporter::axisNamed("rawCwd"), Axis::rawCwd);
  for (const char* text : {"", "raw_cwd", "Project", "source_home", "project "}) {
    EXPECT_EQ(Exporter::axisNamed(text), std::nullopt) << text;
  }
}

TEST(Exporter, DecimalsAreThoseOfPrintf) {
  EXPECT_EQ(Exporter::decimal(1.5, 6), "1.500000");
  EXPECT_EQ(Exporter::decimal(-0.0, 6), "0.000000");
  EXPECT_EQ(Exporter::decimal(0.0625, 3), "0.062");  // exactly between two: the even digit
  EXPECT_EQ(Exporter::decimal(1e15, 3), "1000000000000000.000");
  EXPECT_EQ(Exporter::decimal(-2.5, 0), "-2");
}

}  // namespace
}  // namespace tallyfin
