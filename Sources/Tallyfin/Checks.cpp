#include "Tallyfin/Checks.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Prices.hpp"
#include "Tallyfin/Transcripts.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "absl/strings/str_format.h"

#include <optional>
#include <string>

namespace tallyfin::Command {
namespace {

int runVerification(const Call& call) {
  requireHome(call.environment);
  ScanCache cache(CacheFile::pathFor(call.environment));
  if (!cache.load()) {
    tell(concat("nothing to verify: the cache \"", cache.cachePath(), "\" ",
                Files::exists(cache.cachePath()) ? "cannot be read, or is of another version or damaged"
                                                 : "does not exist; any other command makes it"),
         call.console);
    return failed;
  }
  const PriceList own = PriceList::of(call.environment);
  tellUnused(own, call.console);
  VerificationResult result;
  showingProgress(call, [&](const ReadProgress& progress) {
    result = cache.verifyAgainstFullScan(sourceHomes(call.environment), call.environment.calendar,
                                         call.environment.now, own, progress);
  });
  const int status = print(concat(result.summary(), "\n"), call.console);
  tellUnlisted(result.foldersUnreadable, call.console);
  return result.isClean() ? status : failed;
}

int runScan(const Call& call) {
  requireHome(call.environment);
  ScanDiagnostics seen;
  showingProgress(call, [&](const ReadProgress& progress) {
    seen = Scanner::scan(sourceHomes(call.environment), !call.arguments.has("serial"), call.environment.now,
                         progress)
               .diagnostics;
  });
  const auto unreadable = static_cast<std::int64_t>(seen.filesUnreadable.size());
  std::string losses = concat(counted(seen.totalRejected(), "line", "lines"), " rejected · ",
                              counted(unreadable, "file", "files"), " unreadable");
  if (seen.filesScanned == 0) {
    losses = "unknown — no transcript was found";  // nothing was read, so nothing can have been lost or kept
  }
  const int status =
      print(concat("files      ", grouped(seen.filesScanned), "\n", "requests   ",
                   seen.filesScanned == 0 ? losses : grouped(seen.uniqueRequests), "\n", "bytes      ",
                   grouped(static_cast<std::int64_t>(seen.bytesRead)), "\n", "losses     ", losses, "\n",
                   "time       ", absl::StrFormat("%.3f", seen.duration), " s\n"),
            call.console);
  tellUnlisted(seen.foldersUnreadable, call.console);
  return status;
}

int runPrices(const Call& call) {
  if (const std::optional<std::string> file = call.arguments.text("check")) {
    const PriceList checked = PriceList::ofFile(*file);
    const int status = print(checkedPrices(checked), call.console);
    return checked.problem ? failed : status;
  }
  return withTranscripts(call, [&](DataSource& data) {
    return print(priceTable(data.prices(), data.records(), data.calendar()), call.console);
  });
}

}  // namespace

Subcommand prices() {
  return {.name = "prices",
          .summary = "The prices in use, the models without one, and what to paste for these",
          .options = {{.name = "check",
                       .value = "FILE",
                       .help = "Only tell whether a file of own prices can be used, or why not",
                       .values = Values::file}},
          .examples = {"tallyfin prices --check ~/.config/net.quillpond.tallyfin/prices.json"},
          .run = runPrices};
}

Subcommand verification() {
  return {.name = "verify",
          .summary = "Compare the cache with a fresh read of what it claims",
          .options = {},
          .examples = {"tallyfin verify"},
          .run = runVerification};
}

Subcommand scan() {
  return {.name = "scan",
          .summary = "Read every transcript from scratch and time it",
          .options = {{.name = "serial", .value = "", .help = "Use one processor only"}},
          .examples = {"tallyfin scan"},
          .run = runScan};
}

}  // namespace tallyfin::Command
