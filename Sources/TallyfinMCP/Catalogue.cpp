// The catalogue of tools as a client sees it. Defaults stand in the descriptions and are applied in code.

#include "Platform/Concat.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <utility>

namespace tallyfin {
namespace {

using Object = JsonValue::Object;
using Member = Object::value_type;

Member property(const char* name, const char* type, std::string description) {
  return {name, Object{{"type", type}, {"description", std::move(description)}}};
}

Member text(const char* name, std::string description) {
  return property(name, "string", std::move(description));
}

Member integer(const char* name, std::string description) {
  return property(name, "integer", std::move(description));
}

Member boolean(const char* name, std::string description) {
  return property(name, "boolean", std::move(description));
}

/// The span of a tool is three properties: `period`, whose text names its default, `from` and `to`.
Member period(std::string_view fallback) {
  return text("period", concat("Period: `today`, `yesterday`, `NNd` (the last NN days, e.g. `7d`), `all`. "
                               "Defaults to `",
                               fallback, "`. Or give `from`/`to` instead."));
}

Member from() {
  return text("from", "First day included, `yyyy-MM-dd`. Takes precedence over `period`.");
}

Member to() {
  return text("to", "Last day included, `yyyy-MM-dd`. Defaults to today.");
}

JsonValue tool(const char* name, const char* description, Object properties, const char* required = nullptr) {
  Object schema{{"type", "object"}, {"properties", std::move(properties)}};
  if (required != nullptr) {
    schema.emplace_back("required", JsonValue::Array{required});
  }
  return Object{{"name", name}, {"description", description}, {"inputSchema", std::move(schema)}};
}

JsonValue overviewEntry() {
  return tool("tally_overview",
              "READ THIS FIRST. What today burned, the current rate in $/h, the comparison with yesterday at "
              "the same time, how much of the cost comes from sub-agents vs the main session, and the top "
              "agents and projects. The orientation verb — every question about usage starts here.",
              {integer("top", "How many agents/projects at the head of each list (default 5).")});
}

JsonValue costEntry() {
  return tool("tally_cost",
              "The cost for a day or a range, broken down day by day (and by hour when it is a single day). "
              "Can be narrowed to one agent, one project or one session — the filters combine.",
              {period("today"), from(), to(),
               text("agent", "Narrow to one agent: name, `agentId` (or a prefix), or `main`."),
               text("project", "Narrow to one project (canonical label or a fragment)."),
               text("session_id", "Narrow to one session (full id or a prefix)."),
               text("by",
                    "Breakdown axis: `day` (default), `hour` (single day only), `agent`, `project`, `model`, "
                    "`session`.")});
}

JsonValue topAgentsEntry() {
  return tool("tally_top_agents",
              "Agents ranked by cost — the axis that answers \"why did today cost that much\". For each one: "
              "cost, requests, tokens, models, the session and project it worked in, its activity range, and "
              "whether it is a named sub-agent, an anonymous sub-agent, or the main session.",
              {period("today"), from(), to(), integer("limit", "How many agents (default 15)."),
               boolean("subagents_only", "Exclude the main session (default false)."),
               text("project", "Only agents that worked in this project.")});
}

JsonValue topProjectsEntry() {
  return tool(
      "tally_top_projects",
      "Projects ranked by cost, with the agents that drove each one underneath — a project on its own "
      "does not say who spent in it.",
      {period("today"), from(), to(), integer("limit", "How many projects (default 10)."),
       integer("agents_per_project", "How many agents under each project (default 3; 0 = none).")});
}

JsonValue byModelEntry() {
  return tool("tally_by_model",
              "The breakdown by model: cost, requests, tokens, share of the total, plus the agents that used "
              "each model. Models with no known price are listed by name — they are not counted in the cost, "
              "so the figure stays a lower bound.",
              {period("today"), from(), to(), text("agent", "Narrow to one agent."),
               text("project", "Narrow to one project."),
               integer("agents_per_model", "How many agents under each model (default 3; 0 = none).")});
}

JsonValue sessionEntry() {
  return tool("tally_session",
              "The thread of one session: the project, the range, the cost, the agents that worked in it "
              "(with what each of them cost), the models, and the activity by day. Accepts a `sessionId` "
              "prefix; if the prefix is ambiguous it returns the candidates rather than guessing.",
              {text("session_id", "Full `sessionId` or a prefix (4 characters or more is useful)."),
               period("all"), from(), to()},
              "session_id");
}

JsonValue agentEntry() {
  return tool("tally_agent",
              "The thread of one agent: the days it ran, its sessions and projects, the models, the range, "
              "and what the roster in `teams/session-*/config.json` says about it (when there is one). Looks "
              "it up by name or by `agentId`/prefix; on ambiguity it returns the candidates.",
              {text("agent", "Agent name, `agentId` (or a prefix), or `main`."), period("all"), from(), to()},
              "agent");
}

JsonValue provenanceEntry() {
  return tool("tally_provenance",
              "Where a figure comes from: the transcript files behind it, with the usage lines and requests "
              "each one contributed, the home they came from, requests that appear in more than one file "
              "(resumed or forked sessions), the lines rejected while parsing, and the requests with no "
              "price. The verb that turns a number into a checkable claim.",
              {period("today"), from(), to(), text("agent", "The figure for one specific agent."),
               text("project", "The figure for one specific project."),
               text("session_id", "The figure for one specific session."),
               integer("limit", "How many files to list (default 20).")});
}

JsonValue sourcesEntry() {
  return tool(
      "tally_sources",
      "The health of the measurement: the four Claude homes (present/empty/how many files/what cost), "
      "the scan diagnostics (lines rejected and why, the longest line, unreadable files), the state "
      "of the incremental cache, and the coverage of the agent roster. Read this before relying on "
      "any figure.",
      {});
}

}  // namespace

const JsonValue& MCPServer::tools() {
  static const JsonValue catalogue =
      JsonValue::Array{overviewEntry(), costEntry(),  topAgentsEntry(),  topProjectsEntry(), byModelEntry(),
                       sessionEntry(),  agentEntry(), provenanceEntry(), sourcesEntry()};
  return catalogue;
}

}  // namespace tallyfin
