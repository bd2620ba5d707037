#include "TallyfinCore/Answers/Tree.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Sheets.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Exports/TreeSheet.hpp"

#include <cstddef>

namespace tallyfin::Command {
namespace {

constexpr std::int64_t kUsualAgents = 40;

int showTree(const Call& call) {
  return withTranscripts(call, [&](DataSource& data) {
    const InternedText session = sessionOf(call.arguments.text("session-id"), data);
    const Answers::Tree tree = Answers::tree(data, session);
    const std::int64_t most = call.arguments.number("limit").value_or(kUsualAgents);
    Sheet sheet = treeSheet(tree, static_cast<std::size_t>(most), data.calendar());
    Filters filters;
    filters.session = session;
    setQuestion(sheet, {}, Period::all(), filters);
    sheet.notes = notesOn(*tree.report, data);
    if (!tree.unknownStarter.empty()) {
      sheet.notes.insert(sheet.notes.begin(),
                         "The transcripts do not say who started the agents under \"unknown starter\".");
    }
    disclaim(sheet.notes);
    return show(sheet, data, call);
  });
}

}  // namespace

Subcommand agentTree() {
  return {.name = "tree",
          .summary = "Who started whom in a session, and what each agent cost with all that it started",
          .options = {{.name = "session-id",
                       .value = "SESSION",
                       .help = "The session: its id or the beginning of it, or last (default last)",
                       .values = Values::session,
                       .isWord = true},
                      limitOption("Show the N most expensive agents, and sums of the others (default 40)"),
                      jsonOption()},
          .examples = {"tallyfin tree", "tallyfin tree 74177bb2"},
          .run = showTree};
}

}  // namespace tallyfin::Command
