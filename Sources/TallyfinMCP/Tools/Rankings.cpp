// The tools that rank one axis of a report and list the parts of each row.

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Answers/Agents.hpp"
#include "TallyfinCore/Answers/Models.hpp"
#include "TallyfinCore/Answers/Projects.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

// "%2d. "; numbers above 99 make it wider.
std::string numbered(std::size_t n) {
  return absl::StrFormat("%2d. ", n);
}

std::int64_t atLeastOne(std::int64_t given) {
  return std::max<std::int64_t>(1, given);
}

std::string agentLine(const AgentIdentity& agent, std::string_view figures) {
  return concat("      · ", Text::fitted(R::shortAgent(agent), 28), " ", figures, "\n");
}

std::string agentBlock(const Answers::AgentRow& row, const Calendar& calendar) {
  std::string text = concat(
      "    cost      ", costInAnswer(*row.bucket), "\n", "    volume    ", volume(*row.bucket), "\n",
      "    models    ", modelsOf(*row.bucket), "\n", "    session   ", orUnknown(row.session), "\n",
      "    project   ", orUnknown(row.project), "\n", "    active    ", R::span(*row.bucket, calendar), "\n");
  if (row.roster) {
    append(text, "    roster    type=", orUnknown(row.roster->agentType),
           " model=", orUnknown(row.roster->model), "\n");
  }
  return text;
}

// How the priced amount of the whole report is split between the main session and its agents.
std::string ofWhich(const Report& report, std::size_t shown) {
  const Report::Split split = report.subagentSplit();
  std::string text = "\nOF WHICH\n";
  if (split.share(split.main).isKnown()) {
    append(text, "  main session ", CostEstimate::money(split.main.priced), " (",
           percent(split.share(split.main)), ") · sub-agents ", CostEstimate::money(split.subagent.priced),
           " (", percent(split.share(split.subagent)), ")\n");
  } else {
    text += "  unknown — nothing priced in range\n";
  }
  append(text, "  distinct agents ", grouped(static_cast<std::int64_t>(report.byAgent.size())), " (shown ",
         grouped(static_cast<std::int64_t>(shown)), ")\n");
  return text;
}

std::string labelDecision(ProvenanceSet labelReasons) {
  if (labelReasons.empty()) {
    return {};
  }
  std::vector<std::string> reasons;
  for (const Provenance reason : allProvenances) {
    if (labelReasons.contains(reason)) {
      reasons.emplace_back(text(reason));
    }
  }
  std::sort(reasons.begin(), reasons.end());
  return concat("    how the label was decided: ", absl::StrJoin(reasons, ", "), "\n");
}

constexpr const char* kNoAgents = "    agents: unknown\n";

std::string agentsUnderProject(const Answers::ProjectRow& row) {
  std::string text = row.agents.empty() ? kNoAgents : "";
  for (const auto& [agent, bucket] : row.agents) {
    text += agentLine(agent, concat(costInAnswer(*bucket), " · ", R::requests(bucket->requests)));
  }
  if (row.moreAgents > 0) {
    append(text, "      (", counted(row.moreAgents, "agent", "agents"), " more)\n");
  }
  return text;
}

std::string agentsUnderModel(const Answers::ModelRow& row) {
  std::string text = row.agents.empty() ? kNoAgents : "";
  for (const auto& [agent, bucket] : row.agents) {
    text += agentLine(agent, costInAnswer(*bucket));
  }
  return text;
}

std::string modelBlock(const Answers::ModelRow& row) {
  const Bucket& bucket = *row.bucket;
  const std::string share = row.share.isKnown() ? percent(row.share) : "unknown (nothing priced)";
  std::string text = concat(row.model.text(), "\n", "    cost   ", costInAnswer(bucket), "  (", share,
                            " of the total)\n", "    volume ", volume(bucket), " (in ",
                            R::tokens(bucket.input), " · out ", R::tokens(bucket.output), " · cw ",
                            R::tokens(bucket.cacheWrite()), " · cr ", R::tokens(bucket.cacheRead), ")\n");
  if (!row.hasPrice) {
    text += "    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere\n";
  }
  return text;
}

}  // namespace

std::string topAgents(DataSource& data, const Arguments& given) {
  const Period period = periodOf(given, data);
  const bool subagentsOnly = given.flag("subagents_only");
  const Answers::Agents answer = Answers::agents(data, {.period = period,
                                                        .filters = filtersOf(given, data),
                                                        .limit = atLeastOne(given.integer("limit")),
                                                        .includesMain = !subagentsOnly});
  std::string text = header("Top agents by cost", period, answer.filters);
  if (subagentsOnly) {
    text += "main session: excluded\n";
  }
  append(text, R::rule, "\n");
  if (answer.rows.empty()) {
    text += "  unknown — no agent with activity in range\n";
  }
  std::size_t position = 0;
  for (const Answers::AgentRow& row : answer.rows) {
    append(text, numbered(++position), R::agent(row.agent), "\n", agentBlock(row, data.calendar()));
  }
  return text + ofWhich(*answer.report, answer.rows.size()) + footer(*answer.report, period);
}

std::string topProjects(DataSource& data, const Arguments& given) {
  const Period period = periodOf(given, data);
  const std::int64_t agents = given.integer("agents_per_project");
  const Answers::Projects answer = Answers::projects(data, {.period = period,
                                                            .filters = filtersOf(given, data),
                                                            .limit = atLeastOne(given.integer("limit")),
                                                            .agents = agents});
  std::string text = concat(header("Top projects by cost", period, answer.filters), R::rule, "\n");
  if (answer.rows.empty()) {
    text += "  unknown — no project with activity in range\n";
  }
  std::size_t position = 0;
  for (const Answers::ProjectRow& row : answer.rows) {
    const Bucket& bucket = *row.bucket;
    append(text, numbered(++position), row.project.text(), "\n", "    cost   ", costInAnswer(bucket), "  ·  ",
           R::requests(bucket.requests), "  ·  ", R::tokens(bucket.totalTokens()), " tokens\n",
           labelDecision(row.labelReasons), agents > 0 ? agentsUnderProject(row) : "");
  }
  return text + footer(*answer.report, period);
}

std::string byModel(DataSource& data, const Arguments& given) {
  const Period period = periodOf(given, data);
  const std::int64_t agents = given.integer("agents_per_model");
  const Answers::Models answer =
      Answers::models(data, {.period = period, .filters = filtersOf(given, data), .agents = agents});
  std::string text = concat(header("Breakdown by model", period, answer.filters), R::rule, "\n", "  TOTAL ",
                            costInAnswer(answer.report->total), "\n\n");
  if (answer.rows.empty()) {
    text += "  unknown — no model with activity in range\n";
  }
  for (const Answers::ModelRow& row : answer.rows) {
    append(text, modelBlock(row), agents > 0 ? agentsUnderModel(row) : "");
  }
  return text + footer(*answer.report, period);
}

}  // namespace tallyfin::Tools
