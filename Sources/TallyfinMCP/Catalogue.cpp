#include "TallyfinMCP/Catalogue.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tallyfin {
namespace {

using enum ToolArgument::Type;

ToolArgument text(std::string_view name, std::string description) {
  return {.name = name, .type = string, .description = std::move(description)};
}

ToolArgument required(ToolArgument argument) {
  argument.isRequired = true;
  return argument;
}

ToolArgument unlisted(ToolArgument argument) {
  argument.isListed = false;
  return argument;
}

// `remark` follows the default in the description.
ToolArgument number(std::string_view name, std::string_view what, std::int64_t fallback,
                    std::string_view remark = "") {
  return {.name = name,
          .type = integer,
          .description = concat(what, " (default ", std::to_string(fallback), remark, ")."),
          .fallback = fallback};
}

ToolArgument flag(std::string_view name, std::string_view what) {
  return {.name = name, .type = boolean, .description = concat(what, " (default false)."), .fallback = false};
}

// The period of a tool has three arguments: `period`, `from` and `to`.
ToolArgument period(std::string_view fallback) {
  return {.name = "period",
          .type = string,
          .description = concat("Period: `today`, `yesterday`, `NNd` (the last NN days, e.g. `7d`), `all`. "
                                "Defaults to `",
                                fallback, "`. Or give `from`/`to` instead."),
          .fallback = std::string(fallback)};
}

ToolArgument from() {
  return text("from", "First day included, `yyyy-MM-dd`. Takes precedence over `period`.");
}

ToolArgument to() {
  return text("to", "Last day included, `yyyy-MM-dd`. Defaults to today.");
}

ToolArgument by() {
  return {.name = "by",
          .type = string,
          .description = concat("Breakdown axis: ", Tools::breakdownAxes(), "."),
          .fallback = Tools::breakdownNames().front(),
          .words = Tools::breakdownNames()};
}

// Ranking tools accept all three filters, including those that their descriptions omit.
ToolArgument unlistedFilter(std::string_view name) {
  return unlisted(text(name, ""));
}

std::vector<Tool> makeCatalogue() {
  return {
      {"tally_overview",
       "READ THIS FIRST. What today burned, the current rate in $/h, the comparison with yesterday at "
       "the same time, how much of the cost comes from sub-agents vs the main session, and the top "
       "agents and projects. The orientation verb — every question about usage starts here.",
       {number("top", "How many agents/projects at the head of each list", 5)},
       Tools::overview},
      {"tally_cost",
       "The cost for a day or a range, broken down day by day (and by hour when it is a single day). "
       "Can be narrowed to one agent, one project or one session — the filters combine.",
       {period("today"), from(), to(),
        text("agent", "Narrow to one agent: name, `agentId` (or a prefix), or `main`."),
        text("project", "Narrow to one project (canonical label or a fragment)."),
        text("session_id", "Narrow to one session (full id or a prefix)."), by()},
       Tools::cost},
      {"tally_top_agents",
       "Agents ranked by cost — the axis that answers \"why did today cost that much\". For each one: "
       "cost, requests, tokens, models, the session and project it worked in, its activity range, and "
       "whether it is a named sub-agent, an anonymous sub-agent, or the main session.",
       {period("today"), from(), to(), number("limit", "How many agents", 15),
        flag("subagents_only", "Exclude the main session"),
        text("project", "Only agents that worked in this project."), unlistedFilter("agent"),
        unlistedFilter("session_id")},
       Tools::topAgents},
      {"tally_top_projects",
       "Projects ranked by cost, with the agents that drove each one underneath — a project on its own "
       "does not say who spent in it.",
       {period("today"), from(), to(), number("limit", "How many projects", 10),
        number("agents_per_project", "How many agents under each project", 3, "; 0 = none"),
        unlistedFilter("agent"), unlistedFilter("project"), unlistedFilter("session_id")},
       Tools::topProjects},
      {"tally_by_model",
       "The breakdown by model: cost, requests, tokens, share of the total, plus the agents that used "
       "each model. Models with no known price are listed by name — they are not counted in the cost, "
       "so the figure stays a lower bound.",
       {period("today"), from(), to(), text("agent", "Narrow to one agent."),
        text("project", "Narrow to one project."),
        number("agents_per_model", "How many agents under each model", 3, "; 0 = none"),
        unlistedFilter("session_id")},
       Tools::byModel},
      {"tally_session",
       "The thread of one session: the project, the range, the cost, the agents that worked in it "
       "(with what each of them cost), the models, and the activity by day. Accepts a `sessionId` "
       "prefix; if the prefix is ambiguous it returns the candidates rather than guessing.",
       {required(text("session_id", "Full `sessionId` or a prefix (4 characters or more is useful).")),
        period("all"), from(), to()},
       Tools::session},
      {"tally_agent",
       "The thread of one agent: the days it ran, its sessions and projects, the models, the range, "
       "and what the roster in `teams/session-*/config.json` says about it (when there is one). Looks "
       "it up by name or by `agentId`/prefix; on ambiguity it returns the candidates.",
       {required(text("agent", "Agent name, `agentId` (or a prefix), or `main`.")), period("all"), from(),
        to()},
       Tools::agent},
      {"tally_provenance",
       "Where a figure comes from: the transcript files behind it, with the usage lines and requests "
       "each one contributed, the home they came from, requests that appear in more than one file "
       "(resumed or forked sessions), the lines rejected while parsing, and the requests with no "
       "price. The verb that turns a number into a checkable claim.",
       {period("today"), from(), to(), text("agent", "The figure for one specific agent."),
        text("project", "The figure for one specific project."),
        text("session_id", "The figure for one specific session."),
        number("limit", "How many files to list", 20)},
       Tools::provenance},
      {"tally_sources",
       "The health of the measurement: the four Claude homes (present/empty/how many files/what cost), "
       "the scan diagnostics (lines rejected and why, the longest line, unreadable files), the state "
       "of the incremental cache, and the coverage of the agent roster. Read this before relying on "
       "any figure.",
       {},
       Tools::sources},
  };
}

}  // namespace

const std::vector<Tool>& catalogue() {
  static const std::vector<Tool> tools = makeCatalogue();
  return tools;
}

const Tool* toolNamed(std::string_view name) {
  const auto tool =
      std::find_if(catalogue().begin(), catalogue().end(), [&](const Tool& one) { return one.name == name; });
  return tool == catalogue().end() ? nullptr : &*tool;
}

}  // namespace tallyfin
