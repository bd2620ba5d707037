#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Progress.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"
#include "absl/strings/str_format.h"

#include <string>

namespace tallyfin::Command {
namespace {

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
    losses = "unknown — no transcript was found";  // without files, no count is known
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

}  // namespace

Subcommand scan() {
  return {.name = "scan",
          .summary = "Read all transcripts without the cache and show the time",
          .options = {{.name = "serial", .value = "", .help = "Use one processor only"}},
          .examples = {"tallyfin scan"},
          .run = runScan};
}

}  // namespace tallyfin::Command
