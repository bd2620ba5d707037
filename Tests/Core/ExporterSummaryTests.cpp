#include "ExporterHistory.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <limits>
#include <optional>

namespace tallyfin {
namespace {

using Exporter::Axis;
using Exporter::Document;
using testing::HasSubstr;
using testing::Not;

TEST(ExporterSummary, ASmallHistoryToTheLetter) {
  Exporter::Options options = berlin();
  options.periodLabel = "last 7 days";
  options.summaryAxes = {Axis::agent, Axis::hour, Axis::day};
  options.summaryRowLimit = 2;
  EXPECT_EQ(Exporter::clipboardSummary(smallReport(false, lossyScan()), options), R"(Tallyfin — usage report
Period:    last 7 days
Generated: 2026-05-04T17:42:10+02:00
Currency:  USD (Anthropic list API prices)

TOTAL      ≥ $4.04 [1 request with no known price (mystery) are not included]
           4 requests  ·  173,600 tokens  (in 1,000 · out 160,500 · cache write 2,100 · cache read 10,000)
           range 2026-05-03T23:30:00+02:00 to 2026-05-04T10:30:00+02:00

BY AGENT
  main session                            $2.04  ·  2 requests  ·  93,100 tokens
  reviewer                                $2.00  ·  1 request  ·  80,000 tokens
  (1 more row — the CSV export has all of them)

BY DAY
  2026-05-03                              $1.04  ·  1 request  ·  53,100 tokens
  2026-05-04                              ≥ $3.00 [1 request with no known price (mystery) are not included]  ·  3 requests  ·  120,500 tokens

PROVENANCE
  total_cost                          4.043500   — lower bound — priced requests only
  requests                            4   — one request = every transcript line sharing a message.id:requestId
  total_tokens                        173600
  active_days                         2
  files_scanned                       4
  bytes_read                          1234567
  usage_lines_seen                    25
  unique_requests                     4
  scan_duration_seconds               0.250
  .claude                             3.043500   — 3 transcript files · 2 requests in range
  .claude-work                        1.000000   — unknown — the scan reported no file count for this home · 2 requests in range
  file_list                           unknown — the caller did not supply per-file provenance   — this is not a claim that no file produced the figure
  lines_rejected_invalid_json         1   — these lines carried usage and could not be parsed; their cost is missing from the figure
  lines_rejected_no_message           2   — usage present but no message object to attach it to
  lines_rejected_no_timestamp         3   — no timestamp, so the request could not be placed in any period
  lines_rejected_no_identity          4   — no message.id or requestId, so the request could not be unified
  lines_not_usage_bearing             5   — normal, not a failure: the word usage appeared inside a tool result
  lines_skipped_zero_usage            6   — normal: a usage block with nothing in it
  lines_rejected_total                10   — the figure above is missing whatever these lines were worth
  unreadable_files                    2   — listed below
  unreadable_file                     /logs/a, b.jsonl   — the requests in this file are missing from the figure
  unreadable_file                     /logs/z.jsonl   — the requests in this file are missing from the figure
  longest_line_bytes                  777   — /logs/long.jsonl
  cache_write_assumed_requests        1   — the cache_creation breakdown was missing or did not add up; 5m was assumed, at 1.25x instead of 2.00x
  web_fetch_cost                      unknown   — web fetch is not metered by the provider, so no cost is added for it and none is claimed to be zero
  web_fetch_requests                  1   — counted, but not priced
  unpriced_requests                   1   — no known price for: mystery
  project_labels_missing              1   — project labels obtained this way; a folded label changes which line of the invoice a cost lands on
  project_labels_rawFallback          2   — project labels obtained this way; a folded label changes which line of the invoice a cost lands on

— Estimate from usage × list API prices. Not a bill.
)");
}

TEST(ExporterSummary, WithoutRequestsItSaysWhy) {
  Exporter::Options options = berlin();
  options.summaryAxes = {Exporter::allAxes.begin(), Exporter::allAxes.end()};
  options.summaryRowLimit = 10;
  Report report;
  constexpr std::string_view kTotal = "\n\nTOTAL      unknown — no request in range\n           ";
  EXPECT_THAT(Exporter::clipboardSummary(report, options),
              HasSubstr(std::string(kTotal) + "unknown — no source file was read\n\nPROVENANCE\n"));
  report.diagnostics.filesScanned = 1;
  EXPECT_THAT(Exporter::clipboardSummary(report, options),
              HasSubstr(std::string(kTotal) + "no request falls in the selected range\n\nPROVENANCE\n"));
}

TEST(ExporterSummary, TheRowLimitCountsWhatItLeavesOut) {
  std::vector<UsageRecord> records;
  records.reserve(12);
  for (int i = 0; i < 12; ++i) {
    records.push_back(make({.at = "2026-05-04T10:00:00Z", .session = "s" + std::to_string(i), .output = 1}));
  }
  const Report report = reportOf(records);
  Exporter::Options options = berlin();
  options.summaryAxes = {Axis::session};
  for (const auto& [limit, line] : std::vector<std::pair<std::int64_t, std::string>>{
           {0, "BY SESSION\n  (12 more rows — the CSV export has all of them)\n\n"},
           {10, "\n  (2 more rows — the CSV export has all of them)\n\n"},
           {11, "\n  (1 more row — the CSV export has all of them)\n\n"}}) {
    options.summaryRowLimit = limit;
    EXPECT_THAT(Exporter::clipboardSummary(report, options), HasSubstr(line));
  }
  for (const std::int64_t limit : {std::int64_t{12}, std::numeric_limits<std::int64_t>::max()}) {
    options.summaryRowLimit = limit;
    EXPECT_THAT(Exporter::clipboardSummary(report, options), Not(HasSubstr("more row")));
  }
}

TEST(ExporterSummary, LabelsAreCutToWholeCharacters) {
  const std::string exact = "/" + std::string(37, 'x');
  const std::string marks = "/" + std::string(36, 'x') + "e\u0301";
  Exporter::Options options = berlin();
  options.summaryAxes = {Axis::project};
  options.summaryRowLimit = 1;
  for (const auto& [cwd, shown] : std::vector<std::pair<std::string, std::string>>{
           {"/" + std::string(36, 'x'), "/" + std::string(36, 'x') + " "},
           {exact, exact},
           {exact + "y", exact},
           {marks + "y", marks}}) {
    const Report report = reportOf({make({.at = "2026-05-04T10:00:00Z", .cwd = cwd, .output = kDollar})});
    EXPECT_THAT(Exporter::clipboardSummary(report, options),
                HasSubstr("\nBY PROJECT\n  " + shown + "  $1.00  ·  1 request  ·  40,000 tokens\n"));
  }
}

TEST(ExporterSummary, ARowWithoutAnyPriceNamesItsModels) {
  const Report report = reportOf({make({.at = "2026-05-04T10:00:00Z", .model = "b", .output = 1}),
                                  make({.at = "2026-05-04T10:00:00Z", .model = "a", .output = 1})});
  EXPECT_THAT(
      Exporter::clipboardSummary(report, berlin()),
      HasSubstr("\nTOTAL      unknown — no known price for a, b\n           2 requests  ·  2 tokens  (in 0"));
}

TEST(ExporterNames, TheTagIsTheLabelOrTheDatesOrTheDayOfTheDocument) {
  struct Case {
    std::optional<std::string> label;
    bool hasDates;
    Document document;
    std::string name;
  };
  const Document provenance = Document::provenance();
  for (const auto& [label, hasDates, document, name] : std::vector<Case>{
           {std::nullopt, true, Document::breakdown(Axis::source),
            "tallyfin-source_home-2026-05-03_2026-05-04.csv"},
           {std::nullopt, false, Document::breakdown(Axis::rawCwd), "tallyfin-raw_cwd-2026-05-05.csv"},
           {"Last 7 days", true, provenance, "tallyfin-provenance-last-7-days.csv"},
           {"", true, provenance, "tallyfin-provenance-.csv"},
           {" …/..\\ ", true, provenance, "tallyfin-provenance-.csv"},
           {"--Q2 — (a)//b_c--", false, provenance, "tallyfin-provenance-q2-a-b-c.csv"},
           {"ÉTÉ 2026, Straße", false, provenance, "tallyfin-provenance-été-2026-straße.csv"},
           {"E\u0301te\u0301", false, provenance, "tallyfin-provenance-e\u0301te\u0301.csv"},
           {"\u0301a\u0301", false, provenance, "tallyfin-provenance-a\u0301.csv"},
           {"五月 Ⅷ½", false, provenance, "tallyfin-provenance-五月-ⅷ½.csv"},
           {std::string(3000, 'X'), false, provenance,
            "tallyfin-provenance-" + std::string(231, 'x') + ".csv"},
           {"x " + std::string(225, 'x') + " 五月", false, provenance,
            "tallyfin-provenance-x-" + std::string(225, 'x') + "-五.csv"},
           {"a\xFF\xFF"
            "b",
            false, provenance, "tallyfin-provenance-a-b.csv"}}) {
    Exporter::Options options = berlin();
    options.generatedAt = at("2026-05-04T22:30:00Z");  // the fifth of May in Berlin
    options.periodLabel = label;
    if (hasDates) {
      options.from = at("2026-05-02T22:00:00Z");
      options.to = at("2026-05-03T22:00:00Z");
    }
    EXPECT_EQ(Exporter::suggestedFileName(document, options), name);
  }
}

}  // namespace
}  // namespace tallyfin
