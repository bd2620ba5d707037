// The tools that follow one session or one agent through the history. A name that matches several or nothing
// is a normal answer here: the candidates, or where to look.

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinMCP/Lookup.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_join.h"

#include <limits>

namespace tallyfin::Tools {
namespace {

std::string required(const JsonValue& arguments, std::string_view key) {
  const std::optional<std::string> value = stringArgument(arguments, key);
  if (!value || value->empty()) {
    throw MCPError(concat("`", key, "` is missing."));
  }
  return *value;
}

std::string pickOne(std::string_view opening, const std::vector<std::string>& candidates,
                    std::string_view what) {
  return concat(opening, std::to_string(candidates.size()), what, " — pick one:\n  ",
                absl::StrJoin(candidates, "\n  "));
}

// Cost, volume, activity and models of a thread.
std::string figures(const Bucket& total, const Calendar& calendar) {
  return concat("  cost      ", costInAnswer(total), "\n", "  volume    ", volume(total), "\n",
                "  active    ", R::span(total, calendar), "\n", "  models    ", modelsOf(total), "\n");
}

std::string days(const Report& report, const Calendar& calendar) {
  return concat("\nBY DAY\n",
                list(dayRows(report, calendar), "no day with activity in the period asked for"));
}

std::string agentsInSession(const Report& report, const Calendar& calendar) {
  const auto agents = report.topAgents(std::numeric_limits<std::int64_t>::max(), true);
  if (agents.empty()) {
    return "  unknown — no requests in the period asked for\n";
  }
  std::string text;
  for (const auto& [agent, bucket] : agents) {
    append(text, "  ", Text::fitted(R::shortAgent(agent), 30), " ", costInAnswer(*bucket), " · ",
           R::requests(bucket->requests), " · ", R::span(*bucket, calendar), "\n");
  }
  return text;
}

std::string rosterLine(const DataSource& data, const AgentIdentity& agent, const Report& wide) {
  const RosterEntry* const entry = rosterEntry(data, wide, agent);
  if (entry == nullptr) {
    return "  roster    unknown — this agent is not in `teams/session-*/config.json` (the roster covers only "
           "a small share of agents; being absent is not an error)\n";
  }
  return concat("  roster    name=", entry->name, " type=", orUnknown(entry->agentType),
                " model=", orUnknown(entry->model), " cwd=", orUnknown(entry->cwd), "\n");
}

std::string sessionThread(DataSource& data, InternedText id, const Period& period, const Report& wide) {
  const Calendar& calendar = data.calendar();
  const Report report =
      data.report(period, [id](const UsageRecord& record) { return record.sessionId == id; });
  const auto project = wide.sessionProject.find(id);
  std::string text =
      concat("Session ", id.text(), " — ", period.label, "\n", R::rule, "\n", "  project   ",
             project == wide.sessionProject.end() ? UnknownReason::placeholder : project->second.text(), "\n",
             figures(report.total, calendar), "\nAGENTS IN THIS SESSION (ranked by cost)\n",
             agentsInSession(report, calendar), days(report, calendar));
  if (report.byProject.size() > 1) {
    append(text, "\nPROJECTS TOUCHED (the session changed directory)\n",
           list(rowsOf(report.topProjects(20)), ""));
  }
  return text + footer(report, period);
}

std::string agentThread(DataSource& data, const AgentIdentity& identity, const Period& period,
                        const Report& wide) {
  const Calendar& calendar = data.calendar();
  const Report report =
      data.report(period, [identity](const UsageRecord& record) { return record.agent == identity; });
  return concat("Agent ", R::agent(identity), " — ", period.label, "\n", R::rule, "\n", "  type      ",
                identity.isSubagent() ? "sub-agent" : "main session", "\n", figures(report.total, calendar),
                rosterLine(data, identity, wide), days(report, calendar), "\nSESSIONS\n",
                list(rowsOf(report.topSessions(20)), "no session in the period asked for"), "\nPROJECTS\n",
                list(rowsOf(report.topProjects(20)), "no project in the period asked for"),
                footer(report, period));
}

}  // namespace

std::string session(DataSource& data, const JsonValue& arguments) {
  const std::string value = required(arguments, "session_id");
  const Period period = Period::parse(arguments, "all", data.now(), data.calendar());
  const Report wide = data.report(Period::all());
  const auto found = resolveSession(value, wide);
  if (const auto* const candidates = found.candidates()) {
    return pickOne(concat("The prefix “", value, "” matches "), *candidates, " sessions");
  }
  if (found.key() == nullptr) {
    return concat("No session starts with “", value,
                  "”. See `tally_cost` with `by: \"session\"` for the real ids.");
  }
  return sessionThread(data, *found.key(), period, wide);
}

std::string agent(DataSource& data, const JsonValue& arguments) {
  const std::string value = required(arguments, "agent");
  const Period period = Period::parse(arguments, "all", data.now(), data.calendar());
  const Report wide = data.report(Period::all());
  const auto found = resolveAgent(value, wide);
  if (const auto* const candidates = found.candidates()) {
    return pickOne(concat("“", value, "” matches "), *candidates, " agents");
  }
  if (found.key() == nullptr) {
    return concat("No agent matches “", value,
                  "”. See `tally_top_agents` with `period: \"all\"` for the real names.");
  }
  return agentThread(data, *found.key(), period, wide);
}

}  // namespace tallyfin::Tools
