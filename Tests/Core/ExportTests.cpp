// Tests tables of reports that no scan produces, and cells of any bytes. Tests/Golden covers whole documents.

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"
#include "TallyfinCore/Exports/BreakdownJSON.hpp"
#include "TallyfinCore/Exports/CSVText.hpp"
#include "TallyfinCore/Exports/ClipboardSummary.hpp"
#include "TallyfinCore/Exports/FileNames.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"

#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;

using Cells = std::vector<std::string>;

// Splits a record into cells by RFC 4180; cells may contain line feeds.
Cells cellsOf(std::string_view line) {
  Cells cells(1);
  bool isQuoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"' && (isQuoted || cells.back().empty())) {
      const bool isEscaped = isQuoted && line.substr(i + 1).starts_with('"');
      isQuoted = isEscaped || !isQuoted;
      cells.back() += isEscaped ? line[++i] == '"' ? "\"" : "" : "";
    } else if (line[i] == ',' && !isQuoted) {
      cells.emplace_back();
    } else {
      cells.back() += line[i];
    }
  }
  return cells;
}

TEST(Exports, CellsSurviveAReaderAndAreNeverFormulas) {
  std::mt19937_64 random(3);  // NOLINT(bugprone-random-generator-seed): the same texts every time
  constexpr std::string_view kAlphabet = "=+-@\t\r\n,\"';a ";
  for (int round = 0; round < 500; ++round) {
    std::string text;
    for (auto length = random() % 6; length > 0; --length) {
      text += kAlphabet[random() % kAlphabet.size()];
    }
    const bool isFormula = !text.empty() && std::string_view("=+-@\t\r").find(text[0]) != std::string::npos;
    const std::string read = (isFormula ? "'" : "") + text;
    const std::string field = Exporter::textField(text);
    ASSERT_EQ(cellsOf(concat("1,", field, ",", field)), (Cells{"1", read, read}));
  }
  EXPECT_EQ(Exporter::textField("=\u0338x"), "'=\u0338x")
      << "a spreadsheet reads this character as a formula";
  EXPECT_EQ(Exporter::decimal(0.0625, 3), "0.062") << "ties round to the even digit";
}

TEST(Exports, SaysInWordsWhatAReportDoesNotKnow) {
  Report report = Aggregator(Calendar::utc(), ProjectResolver("/home/ada", false))
                      .aggregate(std::vector{make({})}, {}, {}, {}, true);
  const Exporter::Options options{.generatedAt = at("2026-05-04T15:42:10Z"), .calendar = Calendar::utc()};
  report.projectProvenance[InternedText("~/alpha")] = {Provenance::missing, Provenance::worktreeFolded,
                                                       Provenance::exact, Provenance::rawFallback,
                                                       Provenance::gitRootFolded};
  const auto table = [&](Exporter::Axis axis) { return Exporter::breakdownCSV(report, axis, options); };
  EXPECT_THAT(table(Exporter::Axis::project),
              HasSubstr("cwd is the repository root; folded up to the git root; the transcript carried no "
                        "cwd; no repository "
                        "found; the raw cwd was kept; folded out of a .claude/worktrees path"));
  report.projectProvenance.clear();
  report.sessionProject.clear();
  report.agentProject.clear();
  report.agentSession.clear();
  report.bySession[InternedText("session-2")] = {};  // a bucket without requests
  EXPECT_THAT(table(Exporter::Axis::project),
              HasSubstr("unknown — the report carries no label provenance for this project"));
  const std::string sessions = table(Exporter::Axis::session);
  for (const char* words :
       {"unknown — no project could be attached to this session", "unknown — no model recorded on this row",
        "unknown — the row holds no dated request,unknown — the row holds no dated request",
        ",unknown,unknown — no request in range,"}) {
    EXPECT_THAT(sessions, HasSubstr(words));
  }
  EXPECT_THAT(table(Exporter::Axis::agent),
              HasSubstr("unknown — no project recorded for this agent,unknown — no session "
                        "recorded for this agent"));
}

TEST(Exports, PathsOfAnyBytesGiveValidTextInOrder) {
  Report report;
  report.diagnostics.filesUnreadable = {"/logs/\xFFz.jsonl", "/logs/e\u0301", "/logs/f"};  // é sorts after z
  report.diagnostics.longestLinePath = "/logs/\xE2\x82.jsonl";
  const auto state = std::make_shared<FileState>();
  state->records.insert(InternedText("m:r"), make({}));
  Exporter::Options options{.periodLabel = "caf\xE9", .generatedAt = {}, .calendar = Calendar::utc()};
  options.sourceFiles = {{"-/logs/\xC0\xAF.jsonl", state}};
  EXPECT_TRUE(Text::isValidUtf8(Exporter::clipboardSummary(report, options)));
  EXPECT_EQ(Exporter::suggestedFileName(Exporter::Document::provenance(), options),
            "tallyfin-provenance-caf.csv");
  const std::string csv = Exporter::provenanceCSV(report, options);
  EXPECT_TRUE(Text::isValidUtf8(csv));
  EXPECT_THAT(csv, HasSubstr("\nreport,period,caf\uFFFD,"));
  EXPECT_THAT(csv, HasSubstr("\nsource file,'-/logs/\uFFFD\uFFFD.jsonl,"));
  EXPECT_THAT(csv, testing::ContainsRegex("/logs/f,[^\n]*\nloss,unreadable_file,/logs/e\u0301,"));

  Bucket& endless = report.byProject[InternedText("\xFF")];
  endless.requests = 1;
  endless.cost.priced = std::numeric_limits<double>::infinity();
  const std::string json = Exporter::breakdownJSON(report, Exporter::Axis::project, options);
  EXPECT_TRUE(Text::isValidUtf8(json));
  EXPECT_THAT(json, AllOf(HasSubstr("\"key\": \"\uFFFD\""), HasSubstr(R"("reason": "the sum is beyond)")));
}

}  // namespace
}  // namespace tallyfin
