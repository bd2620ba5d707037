#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

namespace tallyfin::Tools {
namespace {

std::string homeLine(const SourceHome& home, const Report& report, const Calendar& calendar) {
  const std::string name = concat("  ", Text::fitted(home.name, 18));
  if (!Files::exists(home.projectsPath)) {
    return concat(name, " not on disk (", home.projectsPath, ") — normal if you do not use that account\n");
  }
  const auto files = report.diagnostics.perHome.find(home.name);
  const Bucket* const found = report.bySource.find(InternedText(home.name));
  const Bucket bucket = found == nullptr ? Bucket() : *found;
  return concat(name, " ",
                files == report.diagnostics.perHome.end() ? UnknownReason::placeholder
                                                          : counted(files->second, "file", "files"),
                " · ", costInAnswer(bucket), " · ", R::requests(bucket.requests), " · ",
                R::span(bucket, calendar), "\n");
}

std::string scan(const ScanDiagnostics& seen, const ProjectResolver& paths) {
  std::string longest = concat(grouped(seen.longestLineBytes), " bytes");
  if (!seen.longestLinePath.empty()) {
    append(longest, " — ", paths.tildify(seen.longestLinePath));
  }
  return concat(
      "\nSCAN\n", "  files scanned         ", grouped(seen.filesScanned), "\n", "  unified requests      ",
      grouped(seen.uniqueRequests), "\n", "  usage lines           ", grouped(seen.usageLinesSeen), "\n",
      "  lines rejected total  ", grouped(seen.totalRejected()), "\n", "  longest line          ", longest,
      "\n", "  unreadable files      ", grouped(static_cast<std::int64_t>(seen.filesUnreadable.size())), "\n",
      unreadable(seen, paths), "  last read took        ", absl::StrFormat("%.3f", seen.duration), " s\n");
}

std::string incrementalCache(const RefreshStats& stats, const std::string& path) {
  return concat(
      "\nINCREMENTAL CACHE\n", "  file     ", path, "\n",
      "  at the last refresh: ", grouped(stats.filesUnchanged), " unchanged · ", grouped(stats.filesGrown),
      " grown · ", grouped(stats.filesNew), " new · ", grouped(stats.filesRewound), " re-read in full · ",
      grouped(stats.filesGone), " gone\n", "  files left untouched ", R::fractionEst(stats.savedFraction()),
      " of the total\n", "  started from cache: ", stats.fromCache ? "yes" : "no — first full scan",
      "\n  NOTE: the full cache verification (a scan from scratch, then a comparison) runs from the app, not "
      "from here — the bridge must not block for 17 s.\n");
}

std::string agentRoster(const RosterCoverage& coverage) {
  return concat("\nAGENT ROSTER (`teams/session-*/config.json`)\n", "  rosters read          ",
                grouped(coverage.rostersRead), "\n", "  entries loaded        ",
                grouped(coverage.entriesLoaded), "\n", "  named agents seen     ",
                grouped(coverage.namedAgentsSeen), " (matched: ", grouped(coverage.namedAgentsMatched), ")\n",
                "  anonymous agents      ", grouped(coverage.anonymousAgentsSeen),
                " — they stay anonymous, no plausible name is invented for them\n",
                "  coverage              ", R::fractionEst(coverage.matchFraction()),
                " of the named agents\n");
}

std::string ownPrices(const PriceList& prices, const ProjectResolver& paths) {
  if (prices.file.empty()) {
    return {};
  }
  const std::string file = concat("\nOWN PRICES\n  file  ", paths.tildify(prices.file), " — ");
  if (prices.problem) {
    return concat(file, "unusable, only list prices are used: ", *prices.problem, "\n");
  }
  const auto count = static_cast<std::int64_t>(prices.own.size());
  return concat(file, counted(count, "model", "models"), prices.own.empty() ? "" : ": ",
                absl::StrJoin(prices.own, ", ",
                              [](std::string* out, const PricedModel& one) { out->append(one.model); }),
                "\n");
}

}  // namespace

std::string sources(DataSource& data, const JsonValue&) {
  const TimePoint now = data.now();
  const RefreshStats stats = data.ensureFresh();
  const Report report = data.report(Period::all());
  AgentRoster roster = data.roster();  // a copy, since its counters would add up from call to call
  roster.recordCoverage(report.agentSession);

  std::string text = concat("Sources and the health of the measurement — ", R::stamp(now, data.calendar()),
                            "\n", R::rule, "\n", "CLAUDE HOMES\n");
  for (const SourceHome& home : data.homes()) {
    text += homeLine(home, report, data.calendar());
  }
  text += scan(report.diagnostics, data.resolver());
  text += incrementalCache(stats, data.resolver().tildify(data.cache().cachePath()));
  text += agentRoster(roster.coverage());
  text += ownPrices(data.prices(), data.resolver());
  if (const std::optional<std::string> note = R::ownPricesNote(report.total.cost)) {
    append(text, "\n", *note);
  }
  return concat(text, "\n— ", Derived::disclaimer, "\n");
}

}  // namespace tallyfin::Tools
