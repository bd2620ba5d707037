// The tools that rank one axis of a report and say for each row what stands behind it.

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinMCP/Filters.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <limits>

namespace tallyfin::Tools {
namespace {

// "%2d. ": a number above 99 widens its field.
std::string numbered(std::size_t n) {
  return absl::StrFormat("%2d. ", n);
}

std::int64_t atLeastOne(const std::optional<std::int64_t>& given, std::int64_t fallback) {
  return std::max<std::int64_t>(1, given.value_or(fallback));
}

std::string agentLine(const AgentIdentity& agent, std::string_view figures) {
  return concat("      · ", Text::fitted(R::shortAgent(agent), 28), " ", figures, "\n");
}

std::string textOr(const absl::flat_hash_map<AgentIdentity, InternedText>& map, const AgentIdentity& agent) {
  const auto place = map.find(agent);
  return place == map.end() ? UnknownReason::placeholder : std::string(place->second.text());
}

std::string agentBlock(const Report& report, const AgentIdentity& agent, const Bucket& bucket,
                       const DataSource& data) {
  std::string text = concat(
      "    cost      ", costInAnswer(bucket), "\n", "    volume    ", volume(bucket), "\n", "    models    ",
      modelsOf(bucket), "\n", "    session   ", textOr(report.agentSession, agent), "\n", "    project   ",
      textOr(report.agentProject, agent), "\n", "    active    ", R::span(bucket, data.calendar()), "\n");
  if (const RosterEntry* const entry = rosterEntry(data, report, agent)) {
    append(text, "    roster    type=", orUnknown(entry->agentType), " model=", orUnknown(entry->model),
           "\n");
  }
  return text;
}

// How the priced amount of the whole report parts between the main session and its agents.
std::string ofWhich(const Report& report, std::size_t shown) {
  const auto [main, subagent] = report.subagentSplit();
  const double sum = main + subagent;
  std::string text = "\nOF WHICH\n";
  if (sum > 0) {
    append(text, "  main session ", CostEstimate::money(main), " (", R::percent(main / sum * 100),
           ") · sub-agents ", CostEstimate::money(subagent), " (", R::percent(subagent / sum * 100), ")\n");
  } else {
    text += "  unknown — nothing priced in range\n";
  }
  append(text, "  distinct agents ", grouped(static_cast<std::int64_t>(report.byAgent.size())), " (shown ",
         grouped(static_cast<std::int64_t>(shown)), ")\n");
  return text;
}

std::string labelDecision(const Report& report, InternedText project) {
  const auto found = report.projectProvenance.find(project);
  if (found == report.projectProvenance.end() || found->second.empty()) {
    return {};
  }
  std::vector<std::string> reasons;
  for (const Provenance reason : found->second) {
    reasons.emplace_back(text(reason));
  }
  std::sort(reasons.begin(), reasons.end());
  return concat("    how the label was decided: ", absl::StrJoin(reasons, ", "), "\n");
}

// The ranked agents of one row, which may have none.
Ranking<AgentIdentity> agentsOf(const AgentsByKey& agents, InternedText key, std::int64_t limit) {
  const auto* const axis = agents.find(key);
  return axis == nullptr ? Ranking<AgentIdentity>() : rankedAgents(*axis, limit, true);
}

constexpr const char* kNoAgents = "    agents: unknown\n";

std::string agentsUnderProject(const AgentsByKey& agents, InternedText project, std::int64_t shown) {
  const auto all = agentsOf(agents, project, std::numeric_limits<std::int64_t>::max());
  if (all.empty()) {
    return kNoAgents;
  }
  const auto count = static_cast<std::int64_t>(all.size());
  std::string text;
  for (std::int64_t i = 0; i < std::min(shown, count); ++i) {
    const auto& [agent, bucket] = all[static_cast<std::size_t>(i)];
    text += agentLine(agent, concat(costInAnswer(*bucket), " · ", R::requests(bucket->requests)));
  }
  if (count > shown) {
    append(text, "      (", counted(count - shown, "agent", "agents"), " more)\n");
  }
  return text;
}

std::string agentsUnderModel(const AgentsByKey& agents, InternedText model, std::int64_t shown) {
  std::string text;
  for (const auto& [agent, bucket] : agentsOf(agents, model, shown)) {
    text += agentLine(agent, costInAnswer(*bucket));
  }
  return text.empty() ? kNoAgents : text;
}

std::string shareOfTotal(const Bucket& bucket, const Bucket& total) {
  return total.cost.priced > 0 ? R::percent(bucket.cost.priced / total.cost.priced * 100)
                               : "unknown (nothing priced)";
}

std::string modelBlock(InternedText model, const Bucket& bucket, const Bucket& total) {
  std::string text = concat(model.text(), "\n", "    cost   ", costInAnswer(bucket), "  (",
                            shareOfTotal(bucket, total), " of the total)\n", "    volume ", volume(bucket),
                            " (in ", R::tokens(bucket.input), " · out ", R::tokens(bucket.output), " · cw ",
                            R::tokens(bucket.cacheWrite()), " · cr ", R::tokens(bucket.cacheRead), ")\n");
  if (bucket.cost.unpricedModels.contains(model)) {
    text += "    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere\n";
  }
  return text;
}

}  // namespace

std::string topAgents(DataSource& data, const JsonValue& arguments) {
  const Period period = Period::parse(arguments, "today", data.now(), data.calendar());
  const std::int64_t limit = atLeastOne(integerArgument(arguments, "limit"), 15);
  const bool subagentsOnly = booleanArgument(arguments, "subagents_only").value_or(false);
  const Filters filters = buildFilters(data, arguments);
  const Report report = data.report(period, filters.predicate);

  std::string text = header("Top agents by cost", period, filters);
  if (subagentsOnly) {
    text += "main session: excluded\n";
  }
  append(text, R::rule, "\n");
  const auto rows = report.topAgents(limit, !subagentsOnly);
  if (rows.empty()) {
    text += "  unknown — no agent with activity in range\n";
  }
  std::size_t position = 0;
  for (const auto& [agent, bucket] : rows) {
    append(text, numbered(++position), R::agent(agent), "\n", agentBlock(report, agent, *bucket, data));
  }
  return text + ofWhich(report, rows.size()) + footer(report, period);
}

std::string topProjects(DataSource& data, const JsonValue& arguments) {
  const Period period = Period::parse(arguments, "today", data.now(), data.calendar());
  const std::int64_t limit = atLeastOne(integerArgument(arguments, "limit"), 10);
  const std::int64_t shown = integerArgument(arguments, "agents_per_project").value_or(3);
  const Filters filters = buildFilters(data, arguments);
  OptionalAxes axes;
  axes.agentsByProject = shown > 0;
  const Report report = data.report(period, filters.predicate, axes);

  std::string text = concat(header("Top projects by cost", period, filters), R::rule, "\n");
  const auto rows = report.topProjects(limit);
  if (rows.empty()) {
    text += "  unknown — no project with activity in range\n";
  }
  std::size_t position = 0;
  for (const auto& [project, bucket] : rows) {
    append(text, numbered(++position), project.text(), "\n", "    cost   ", costInAnswer(*bucket), "  ·  ",
           R::requests(bucket->requests), "  ·  ", R::tokens(bucket->totalTokens()), " tokens\n",
           labelDecision(report, project));
    if (shown > 0) {
      text += agentsUnderProject(report.agentsByProject, project, shown);
    }
  }
  return text + footer(report, period);
}

std::string byModel(DataSource& data, const JsonValue& arguments) {
  const Period period = Period::parse(arguments, "today", data.now(), data.calendar());
  const std::int64_t shown = integerArgument(arguments, "agents_per_model").value_or(3);
  const Filters filters = buildFilters(data, arguments);
  OptionalAxes axes;
  axes.agentsByModel = shown > 0;
  const Report report = data.report(period, filters.predicate, axes);

  std::string text = concat(header("Breakdown by model", period, filters), R::rule, "\n", "  TOTAL ",
                            costInAnswer(report.total), "\n\n");
  const auto rows = report.topModels(50);
  if (rows.empty()) {
    text += "  unknown — no model with activity in range\n";
  }
  for (const auto& [model, bucket] : rows) {
    text += modelBlock(model, *bucket, report.total);
    if (shown > 0) {
      text += agentsUnderModel(report.agentsByModel, model, shown);
    }
  }
  return text + footer(report, period);
}

}  // namespace tallyfin::Tools
