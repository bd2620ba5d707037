#include "TallyfinCore/Answers/Sources.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

namespace tallyfin::Tools {
namespace {

std::string homeLine(const Answers::HomeState& state, const Calendar& calendar) {
  const std::string name = concat("  ", Text::fitted(state.home.name, 18));
  if (!state.isOnDisk) {
    return concat(name, " not on disk (", state.home.projectsPath,
                  ") — normal if you do not use that account\n");
  }
  return concat(name, " ", state.files ? counted(*state.files, "file", "files") : UnknownReason::placeholder,
                " · ", costInAnswer(state.bucket), " · ", R::requests(state.bucket.requests), " · ",
                R::span(state.bucket, calendar), "\n");
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

std::string sources(DataSource& data, const Arguments&) {
  const Answers::Sources answer = Answers::sources(data);
  std::string text = concat("Sources and the health of the measurement — ",
                            R::stamp(answer.now, data.calendar()), "\n", R::rule, "\n", "CLAUDE HOMES\n");
  for (const Answers::HomeState& state : answer.homes) {
    text += homeLine(state, data.calendar());
  }
  text += scan(answer.diagnostics, data.resolver());
  text += incrementalCache(answer.lastLook, data.resolver().tildify(answer.cachePath));
  text += agentRoster(answer.rosters);
  text += ownPrices(data.prices(), data.resolver());
  if (const std::optional<std::string> note = ownPricesNote(answer.total)) {
    append(text, "\n", *note);
  }
  return concat(text, "\n— ", Derived::disclaimer, "\n");
}

}  // namespace tallyfin::Tools
