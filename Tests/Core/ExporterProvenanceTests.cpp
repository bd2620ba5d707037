#include "ExporterHistory.hpp"
#include "Platform/Text.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include <algorithm>
#include <optional>

namespace tallyfin {
namespace {

using Exporter::ProvenanceLine;
using Exporter::Stamps;

constexpr std::string_view kNeverPopulated =
    "unknown — no source file was read, so this counter was never populated";

std::vector<ProvenanceLine> linesOf(const Report& report, const Exporter::Options& options) {
  return Exporter::provenanceLines(report, options, Stamps(options.calendar));
}

std::vector<ProvenanceLine> section(const std::vector<ProvenanceLine>& lines, std::string_view name) {
  std::vector<ProvenanceLine> found;
  for (const ProvenanceLine& line : lines) {
    if (line.section == name) {
      found.push_back(line);
    }
  }
  return found;
}

const ProvenanceLine& item(const std::vector<ProvenanceLine>& lines, std::string_view name) {
  const auto line = std::find_if(lines.begin(), lines.end(), [&](const auto& it) { return it.item == name; });
  return lines.at(static_cast<std::size_t>(line - lines.begin()));
}

// Four files: one of them holds a copy of a request of another, one holds nothing in range.
Exporter::Options withFiles() {
  Exporter::Options options = berlin();
  options.from = at("2026-05-02T22:00:00Z");
  options.to = at("2026-05-03T22:00:00Z");
  UsageRecord tooLate = lostRequest;
  tooLate.timestamp = at("2026-05-04T22:30:00Z");  // the next day in Berlin
  options.sourceFiles = {
      sourceFile("/logs/a.jsonl", 7, {{"m4:r4", lostRequest}}),
      sourceFile("/logs/b, copy.jsonl", 1, {{"m1:r1", firstRequest}, {"m2:r2", reviewRequest}}),
      sourceFile("/logs/c.jsonl", 1, {{"m5:r5", tooLate}}),
      sourceFile("/logs/d.jsonl", 9, {{"m2:r2", reviewRequest}, {"m3:r3", unpricedRequest}})};
  return options;
}

TEST(ExporterProvenance, TheDocumentOfASmallHistoryToTheLetter) {
  EXPECT_EQ(Exporter::provenanceCSV(smallReport(false, lossyScan()), withFiles()),
            R"(section,item,value,note
report,generated_at,2026-05-04T17:42:10+02:00,
report,period,2026-05-03 to 2026-05-04,
report,currency,USD,Anthropic list API prices
report,disclaimer,Estimate from usage × list API prices. Not a bill.,"on a fixed subscription the figure is a reconstruction at list prices, not an amount that was paid"
figure,total_cost,4.043500,lower bound — priced requests only
figure,requests,4,one request = every transcript line sharing a message.id:requestId
figure,total_tokens,173600,
figure,active_days,2,
scan,files_scanned,4,
scan,bytes_read,1234567,
scan,usage_lines_seen,25,
scan,unique_requests,4,
scan,scan_duration_seconds,0.250,
home,.claude,3.043500,3 transcript files · 2 requests in range
home,.claude-work,1.000000,unknown — the scan reported no file count for this home · 2 requests in range
source file,files_contributing,3,out of 4 files known to the cache
source file,"/logs/b, copy.jsonl",3.043500,2 requests in range · 1 usage line in the whole file
source file,/logs/d.jsonl,2.000000,2 requests in range · 9 usage lines in the whole file
source file,/logs/a.jsonl,1.000000,1 request in range · 7 usage lines in the whole file
unification,requests_seen_in_files,4,
unification,requests_in_report,4,
unification,requests_in_more_than_one_file,1,"a resumed or forked session; the per-file rows above count each copy, the total counts it once"
loss,lines_rejected_invalid_json,1,these lines carried usage and could not be parsed; their cost is missing from the figure
loss,lines_rejected_no_message,2,usage present but no message object to attach it to
loss,lines_rejected_no_timestamp,3,"no timestamp, so the request could not be placed in any period"
loss,lines_rejected_no_identity,4,"no message.id or requestId, so the request could not be unified"
loss,lines_not_usage_bearing,5,"normal, not a failure: the word usage appeared inside a tool result"
loss,lines_skipped_zero_usage,6,normal: a usage block with nothing in it
loss,lines_rejected_total,10,the figure above is missing whatever these lines were worth
loss,unreadable_files,2,listed below
loss,unreadable_file,"/logs/a, b.jsonl",the requests in this file are missing from the figure
loss,unreadable_file,/logs/z.jsonl,the requests in this file are missing from the figure
loss,longest_line_bytes,777,/logs/long.jsonl
assumption,cache_write_assumed_requests,1,"the cache_creation breakdown was missing or did not add up; 5m was assumed, at 1.25x instead of 2.00x"
assumption,web_fetch_cost,unknown,"web fetch is not metered by the provider, so no cost is added for it and none is claimed to be zero"
assumption,web_fetch_requests,1,"counted, but not priced"
assumption,unpriced_requests,1,no known price for: mystery
attribution,project_labels_missing,1,project labels obtained this way; a folded label changes which line of the invoice a cost lands on
attribution,project_labels_rawFallback,2,project labels obtained this way; a folded label changes which line of the invoice a cost lands on
)");
}

TEST(ExporterProvenance, AnEmptyReportSaysWhatItDoesNotKnow) {
  EXPECT_EQ(Exporter::provenanceCSV({}, berlin()), R"(section,item,value,note
report,generated_at,2026-05-04T17:42:10+02:00,
report,period,unknown — the caller named no period and the report holds no dated request,
report,currency,USD,Anthropic list API prices
report,disclaimer,Estimate from usage × list API prices. Not a bill.,"on a fixed subscription the figure is a reconstruction at list prices, not an amount that was paid"
figure,total_cost,unknown,unknown — no request in range
figure,requests,"unknown — no source file was read, so this counter was never populated",one request = every transcript line sharing a message.id:requestId
figure,total_tokens,0,
figure,active_days,0,
scan,files_scanned,"unknown — no source file was read, so this counter was never populated",
scan,bytes_read,"unknown — no source file was read, so this counter was never populated",
scan,usage_lines_seen,"unknown — no source file was read, so this counter was never populated",
scan,unique_requests,"unknown — no source file was read, so this counter was never populated",
scan,scan_duration_seconds,"unknown — no source file was read, so this counter was never populated",
source file,file_list,unknown — the caller did not supply per-file provenance,this is not a claim that no file produced the figure
loss,lines_rejected_invalid_json,"unknown — no source file was read, so this counter was never populated",these lines carried usage and could not be parsed; their cost is missing from the figure
loss,lines_rejected_no_message,"unknown — no source file was read, so this counter was never populated",usage present but no message object to attach it to
loss,lines_rejected_no_timestamp,"unknown — no source file was read, so this counter was never populated","no timestamp, so the request could not be placed in any period"
loss,lines_rejected_no_identity,"unknown — no source file was read, so this counter was never populated","no message.id or requestId, so the request could not be unified"
loss,lines_not_usage_bearing,"unknown — no source file was read, so this counter was never populated","normal, not a failure: the word usage appeared inside a tool result"
loss,lines_skipped_zero_usage,"unknown — no source file was read, so this counter was never populated",normal: a usage block with nothing in it
loss,lines_rejected_total,"unknown — no source file was read, so this counter was never populated",the figure above is missing whatever these lines were worth
loss,unreadable_files,"unknown — no source file was read, so this counter was never populated",every file the scan listed could be opened
loss,longest_line_bytes,"unknown — no source file was read, so this counter was never populated",no line measured
assumption,cache_write_assumed_requests,0,"the cache_creation breakdown was missing or did not add up; 5m was assumed, at 1.25x instead of 2.00x"
assumption,web_fetch_cost,unknown,"web fetch is not metered by the provider, so no cost is added for it and none is claimed to be zero"
assumption,web_fetch_requests,0,"counted, but not priced"
assumption,unpriced_requests,0,every model in range had a known price
attribution,project_labels,unknown — the report carries no label provenance,this is not a claim that no folding happened
)");
}

TEST(ExporterProvenance, TheNumberOfRequestsNeedsEitherAScanOrRequests) {
  EXPECT_EQ(item(linesOf(smallReport(), berlin()), "requests").value, "4");
  EXPECT_EQ(item(linesOf(smallReport(), berlin()), "files_scanned").value, kNeverPopulated);
  Report nothingFound;
  nothingFound.diagnostics.filesScanned = 1;
  EXPECT_EQ(item(linesOf(nothingFound, berlin()), "requests").value, "0");
}

TEST(ExporterProvenance, ThePeriodIsTheLabelOrTheDatesOrThatOfTheData) {
  struct Case {
    std::optional<std::string> label;
    bool from;
    bool to;
    std::string text;
  };
  const std::string derived = "2026-05-03 to 2026-05-04 (derived from the data, not from a selected period)";
  for (const auto& [label, from, to, text] :
       std::vector<Case>{{"last 7 days", true, true, "last 7 days"},
                         {"", true, true, "2025-12-31 to 2026-01-02"},
                         {std::nullopt, true, true, "2025-12-31 to 2026-01-02"},
                         {std::nullopt, true, false, derived},
                         {"", false, true, derived},
                         {"caf\xE9", false, false, "caf\uFFFD"}}) {
    Exporter::Options options = berlin();
    options.periodLabel = label;
    if (from) {
      options.from = at("2025-12-30T23:00:00Z");
    }
    if (to) {
      options.to = at("2026-01-01T23:00:00Z");
    }
    EXPECT_EQ(Exporter::periodDescription(smallReport(), options, Stamps(options.calendar)), text);
  }
}

TEST(ExporterProvenance, FileRowsFollowFilterAndCalendarOfTheOptions) {
  Exporter::Options options = withFiles();
  options.recordFilter = [](const UsageRecord& record) { return record.model == InternedText("mystery"); };
  std::vector<ProvenanceLine> files = section(linesOf(smallReport(), options), "source file");
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[1].item, "/logs/d.jsonl");
  EXPECT_EQ(files[1].value, "unknown");
  EXPECT_EQ(files[1].note, "1 request in range · 9 usage lines in the whole file");

  // In UTC the late request still falls on the fourth of May, and the first file's day begins at midnight.
  options = withFiles();
  options.calendar = Calendar::utc();
  options.from = at("2026-05-04T00:00:00Z");
  options.to = at("2026-05-04T00:00:00Z");
  files = section(linesOf(smallReport(), options), "source file");
  ASSERT_EQ(files.size(), 4U);
  EXPECT_EQ(files[0].note, "out of 4 files known to the cache");
  EXPECT_EQ(files[1].item, "/logs/a.jsonl");  // of equal cost with the next: path order
  EXPECT_EQ(files[2].item, "/logs/c.jsonl");
  EXPECT_EQ(files[3].item, "/logs/d.jsonl");
  const std::vector<ProvenanceLine> unification = section(linesOf(smallReport(), options), "unification");
  EXPECT_EQ(unification[0].value, "3");
  EXPECT_EQ(unification[2].value, "0");
  EXPECT_EQ(unification[2].note, "no request appears twice across files");
}

TEST(ExporterProvenance, ARequestInManyFilesIsOneSharedRequest) {
  Exporter::Options options = berlin();
  for (int i = 0; i < 300; ++i) {
    options.sourceFiles.push_back(sourceFile("/logs/" + std::to_string(i), 1, {{"m1:r1", firstRequest}}));
  }
  const std::vector<ProvenanceLine> unification = section(linesOf(smallReport(), options), "unification");
  EXPECT_EQ(unification[0].value, "1");
  EXPECT_EQ(unification[2].value, "1");
}

TEST(ExporterProvenance, AProjectCountsUnderEachWayItsLabelWasReached) {
  Report report;
  report.projectProvenance[InternedText("a")] = {Provenance::worktreeFolded, Provenance::exact};
  report.projectProvenance[InternedText("b")] = {Provenance::worktreeFolded};
  const std::vector<ProvenanceLine> lines = section(linesOf(report, berlin()), "attribution");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].item, "project_labels_exact");
  EXPECT_EQ(lines[0].value, "1");
  EXPECT_EQ(lines[1].item, "project_labels_worktreeFolded");
  EXPECT_EQ(lines[1].value, "2");
}

TEST(ExporterProvenance, PathsOfAnyBytesGiveValidTextInOrder) {
  ScanDiagnostics seen = lossyScan();
  seen.filesUnreadable = {"/logs/\xFFz.jsonl", "/logs/e\u0301", "/logs/f"};  // é stands behind z
  seen.longestLinePath = "/logs/\xE2\x82.jsonl";
  Exporter::Options options = berlin();
  options.byteOrderMark = true;
  options.sourceFiles = {sourceFile("-/logs/\xC0\xAF.jsonl", 1, {{"m1:r1", firstRequest}})};
  const Report report = smallReport(true, seen);
  EXPECT_TRUE(Text::isValidUtf8(Exporter::clipboardSummary(report, options)));
  const std::string csv = Exporter::provenanceCSV(report, options);
  EXPECT_TRUE(Text::isValidUtf8(csv));
  EXPECT_THAT(csv, testing::StartsWith("\uFEFFsection,item,value,note\n"));
  EXPECT_THAT(csv, testing::HasSubstr("\nsource file,'-/logs/\uFFFD\uFFFD.jsonl,1.043500,"));
  EXPECT_THAT(csv, testing::HasSubstr("\nloss,unreadable_file,/logs/\uFFFDz.jsonl,"));
  EXPECT_THAT(csv, testing::ContainsRegex(
                       "\nloss,unreadable_file,/logs/f,[^\n]*\nloss,unreadable_file,/logs/e\u0301,"));
}

}  // namespace
}  // namespace tallyfin
