// The tools for one session or one agent. If a name matches several or none, the answer is not an error: it
// lists the candidates or says where to look.

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Answers/Agent.hpp"
#include "TallyfinCore/Answers/Session.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_join.h"

#include <variant>

namespace tallyfin::Tools {
namespace {

std::string required(const Arguments& given, std::string_view key) {
  const std::optional<std::string> value = given.text(key);
  if (!value || value->empty()) {
    throw MCPError(concat("`", key, "` is missing."));
  }
  return *value;
}

// The advice for a name that does not match exactly one key.
std::string pickOne(const Refusal& refusal) {
  if (const SeveralNames* const names = std::get_if<SeveralNames>(&refusal)) {
    const bool isSession = names->kind == NameKind::session;
    return concat(isSession ? "The prefix “" : "“", names->text, "” matches ",
                  std::to_string(names->candidates.size()), isSession ? " sessions" : " agents",
                  " — pick one:", listed(*names));
  }
  const auto& name = std::get<NoSuchName>(refusal);
  return name.kind == NameKind::session
             ? concat("No session starts with “", name.text,
                      "”. See `tally_cost` with `by: \"session\"` for the real ids.")
             : concat("No agent matches “", name.text,
                      "”. See `tally_top_agents` with `period: \"all\"` for the real names.");
}

// Cost, volume, activity and models of a session or agent.
std::string figures(const Bucket& total, const Calendar& calendar) {
  return concat("  cost      ", costInAnswer(total), "\n", "  volume    ", volume(total), "\n",
                "  active    ", R::span(total, calendar), "\n", "  models    ", modelsOf(total), "\n");
}

std::string days(const Report& report, const Calendar& calendar) {
  return concat("\nBY DAY\n",
                list(dayRows(report, calendar), "no day with activity in the period asked for"));
}

std::string agentsInSession(const Ranking<AgentIdentity>& agents, const Calendar& calendar) {
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

std::string rosterLine(const std::optional<RosterEntry>& entry) {
  if (!entry) {
    return "  roster    unknown — this agent is not in `teams/session-*/config.json` (the roster covers only "
           "a small share of agents; being absent is not an error)\n";
  }
  return concat("  roster    name=", entry->name, " type=", orUnknown(entry->agentType),
                " model=", orUnknown(entry->model), " cwd=", orUnknown(entry->cwd), "\n");
}

std::string textOf(const Answers::Session& answer, const Calendar& calendar) {
  const Report& report = *answer.report;
  std::string text = concat("Session ", answer.id.text(), " — ", answer.period.label, "\n", R::rule, "\n",
                            "  project   ", orUnknown(answer.project), "\n", figures(report.total, calendar),
                            "\nAGENTS IN THIS SESSION (ranked by cost)\n",
                            agentsInSession(answer.agents, calendar), days(report, calendar));
  if (report.byProject.size() > 1) {
    append(text, "\nPROJECTS TOUCHED (the session changed directory)\n", list(rowsOf(answer.projects), ""));
  }
  return text + footer(report, answer.period);
}

std::string textOf(const Answers::Agent& answer, const Calendar& calendar) {
  const Report& report = *answer.report;
  return concat("Agent ", R::agent(answer.agent), " — ", answer.period.label, "\n", R::rule, "\n",
                "  type      ", answer.agent.isSubagent() ? "sub-agent" : "main session", "\n",
                figures(report.total, calendar), rosterLine(answer.roster), days(report, calendar),
                "\nSESSIONS\n", list(rowsOf(answer.sessions), "no session in the period asked for"),
                "\nPROJECTS\n", list(rowsOf(answer.projects), "no project in the period asked for"),
                footer(report, answer.period));
}

template <typename Answer>
std::string textOf(const Answered<Answer>& answered, const Calendar& calendar) {
  const Refusal* const refusal = std::get_if<Refusal>(&answered);
  return refusal != nullptr ? pickOne(*refusal) : textOf(std::get<Answer>(answered), calendar);
}

}  // namespace

std::string session(DataSource& data, const Arguments& given) {
  const std::string id = required(given, "session_id");
  return textOf(Answers::session(data, {id, periodOf(given, data)}), data.calendar());
}

std::string agent(DataSource& data, const Arguments& given) {
  const std::string name = required(given, "agent");
  return textOf(Answers::agent(data, {name, periodOf(given, data)}), data.calendar());
}

}  // namespace tallyfin::Tools
