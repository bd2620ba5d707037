#include "TallyfinMCP/Catalogue.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>

namespace tallyfin {
namespace {

using enum ToolArgument::Type;

// The span of a tool is three arguments: `period`, whose text names its default, `from` and `to`.
ToolArgument period(std::string_view fallback) {
  return {"period", string,
          concat("Period: `today`, `yesterday`, `NNd` (the last NN days, e.g. `7d`), `all`. Defaults to `",
                 fallback, "`. Or give `from`/`to` instead.")};
}

ToolArgument from() {
  return {"from", string, "First day included, `yyyy-MM-dd`. Takes precedence over `period`."};
}

ToolArgument to() {
  return {"to", string, "Last day included, `yyyy-MM-dd`. Defaults to today."};
}

std::vector<Tool> makeCatalogue() {
  return {
      {"tally_overview",
       "READ THIS FIRST. What today burned, the current rate in $/h, the comparison with yesterday at "
       "the same time, how much of the cost comes from sub-agents vs the main session, and the top "
       "agents and projects. The orientation verb — every question about usage starts here.",
       {{"top", integer, "How many agents/projects at the head of each list (default 5)."}},
       Tools::overview},
      {"tally_cost",
       "The cost for a day or a range, broken down day by day (and by hour when it is a single day). "
       "Can be narrowed to one agent, one project or one session — the filters combine.",
       {period("today"),
        from(),
        to(),
        {"agent", string, "Narrow to one agent: name, `agentId` (or a prefix), or `main`."},
        {"project", string, "Narrow to one project (canonical label or a fragment)."},
        {"session_id", string, "Narrow to one session (full id or a prefix)."},
        {"by", string, concat("Breakdown axis: ", Tools::breakdownAxes(), ".")}},
       Tools::cost},
      {"tally_top_agents",
       "Agents ranked by cost — the axis that answers \"why did today cost that much\". For each one: "
       "cost, requests, tokens, models, the session and project it worked in, its activity range, and "
       "whether it is a named sub-agent, an anonymous sub-agent, or the main session.",
       {period("today"),
        from(),
        to(),
        {"limit", integer, "How many agents (default 15)."},
        {"subagents_only", boolean, "Exclude the main session (default false)."},
        {"project", string, "Only agents that worked in this project."}},
       Tools::topAgents},
      {"tally_top_projects",
       "Projects ranked by cost, with the agents that drove each one underneath — a project on its own "
       "does not say who spent in it.",
       {period("today"),
        from(),
        to(),
        {"limit", integer, "How many projects (default 10)."},
        {"agents_per_project", integer, "How many agents under each project (default 3; 0 = none)."}},
       Tools::topProjects},
      {"tally_by_model",
       "The breakdown by model: cost, requests, tokens, share of the total, plus the agents that used "
       "each model. Models with no known price are listed by name — they are not counted in the cost, "
       "so the figure stays a lower bound.",
       {period("today"),
        from(),
        to(),
        {"agent", string, "Narrow to one agent."},
        {"project", string, "Narrow to one project."},
        {"agents_per_model", integer, "How many agents under each model (default 3; 0 = none)."}},
       Tools::byModel},
      {"tally_session",
       "The thread of one session: the project, the range, the cost, the agents that worked in it "
       "(with what each of them cost), the models, and the activity by day. Accepts a `sessionId` "
       "prefix; if the prefix is ambiguous it returns the candidates rather than guessing.",
       {{"session_id", string, "Full `sessionId` or a prefix (4 characters or more is useful).", true},
        period("all"),
        from(),
        to()},
       Tools::session},
      {"tally_agent",
       "The thread of one agent: the days it ran, its sessions and projects, the models, the range, "
       "and what the roster in `teams/session-*/config.json` says about it (when there is one). Looks "
       "it up by name or by `agentId`/prefix; on ambiguity it returns the candidates.",
       {{"agent", string, "Agent name, `agentId` (or a prefix), or `main`.", true},
        period("all"),
        from(),
        to()},
       Tools::agent},
      {"tally_provenance",
       "Where a figure comes from: the transcript files behind it, with the usage lines and requests "
       "each one contributed, the home they came from, requests that appear in more than one file "
       "(resumed or forked sessions), the lines rejected while parsing, and the requests with no "
       "price. The verb that turns a number into a checkable claim.",
       {period("today"),
        from(),
        to(),
        {"agent", string, "The figure for one specific agent."},
        {"project", string, "The figure for one specific project."},
        {"session_id", string, "The figure for one specific session."},
        {"limit", integer, "How many files to list (default 20)."}},
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

std::string_view name(ToolArgument::Type type) {
  switch (type) {
    case string:
      return "string";
    case integer:
      return "integer";
    case boolean:
      break;
  }
  return "boolean";
}

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
