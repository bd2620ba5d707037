#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Progress.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

namespace tallyfin::Command {
namespace {

int runVerification(const Call& call) {
  requireHome(call.environment);
  ScanCache cache(CacheFile::pathFor(call.environment));
  if (!cache.load()) {
    tell(concat("cannot verify: the cache \"", cache.cachePath(), "\" ",
                Files::exists(cache.cachePath()) ? "cannot be read, is damaged or has another version"
                                                 : "does not exist; any other command creates it"),
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

}  // namespace

Subcommand verify() {
  return {.name = "verify",
          .summary = "Compare the cache with a fresh read of the transcripts",
          .options = {},
          .examples = {"tallyfin verify"},
          .run = runVerification};
}

}  // namespace tallyfin::Command
