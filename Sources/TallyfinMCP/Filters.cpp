#include "TallyfinMCP/Filters.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinMCP/Arguments.hpp"
#include "TallyfinMCP/Lookup.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace tallyfin {
namespace {

// The value of a narrowing argument; an empty one is none.
std::optional<std::string> narrowing(const JsonValue& arguments, std::string_view key) {
  std::optional<std::string> value = Tools::stringArgument(arguments, key);
  return value && !value->empty() ? value : std::nullopt;
}

// The candidates, a line each, indented by two blanks.
std::string listed(const std::vector<std::string>& candidates) {
  return concat("\n  ", absl::StrJoin(candidates, "\n  "));
}

std::string countOf(const std::vector<std::string>& candidates) {
  return std::to_string(candidates.size());
}

AgentIdentity oneAgent(const std::string& value, const Report& report) {
  const auto found = resolveAgent(value, report);
  if (const auto* const candidates = found.candidates()) {
    throw MCPError(concat("“", value, "” matches ", countOf(*candidates),
                          " agents. Pick one (give the exact name or the `agentId`):", listed(*candidates)));
  }
  if (found.key() == nullptr) {
    throw MCPError(concat("No agent matches “", value,
                          "”. See `tally_top_agents` with `period: \"all\"` for the real names."));
  }
  return *found.key();
}

InternedText oneProject(const std::string& value, const Report& report) {
  const auto found = resolveProject(value, report);
  if (const auto* const candidates = found.candidates()) {
    throw MCPError(concat("“", value, "” matches ", countOf(*candidates), " projects:", listed(*candidates)));
  }
  if (found.key() == nullptr) {
    throw MCPError(
        concat("No project matches “", value, "”. See `tally_top_projects` with `period: \"all\"`."));
  }
  return *found.key();
}

InternedText oneSession(const std::string& value, const Report& report) {
  const auto found = resolveSession(value, report);
  if (const auto* const candidates = found.candidates()) {
    throw MCPError(
        concat("The prefix “", value, "” matches ", countOf(*candidates), " sessions:", listed(*candidates)));
  }
  if (found.key() == nullptr) {
    throw MCPError(concat("No session starts with “", value, "”."));
  }
  return *found.key();
}

// Whether a record belongs to a project. Neighbours mostly share their directory, so the last answer is kept.
class InProject {
 public:
  InProject(ProjectResolver resolver, InternedText project)
      : resolver_(std::move(resolver)), project_(project) {}

  bool operator()(const UsageRecord& record) {
    if (directory_ != record.rawCwd.spelling()) {
      directory_ = record.rawCwd.spelling();
      isInside_ = resolver_.resolve(record.rawCwd).canonical == project_;
    }
    return isInside_;
  }

 private:
  ProjectResolver resolver_;
  InternedText project_;
  std::optional<std::uint32_t> directory_;  // the spelling of the last one
  bool isInside_ = false;
};

}  // namespace

Filters buildFilters(DataSource& data, const JsonValue& arguments) {
  const auto agent = narrowing(arguments, "agent");
  const auto project = narrowing(arguments, "project");
  const auto session = narrowing(arguments, "session_id");
  Filters filters;
  if (!agent && !project && !session) {
    return filters;
  }
  const Report wide = data.report(Period::all());
  std::vector<DataSource::Filter> all;
  if (agent) {
    const AgentIdentity identity = oneAgent(*agent, wide);
    filters.agent.emplace(identity.description());
    all.emplace_back([identity](const UsageRecord& record) { return record.agent == identity; });
    filters.described.push_back(concat("agent = ", R::agent(identity)));
  }
  if (project) {
    const InternedText label = oneProject(*project, wide);
    filters.project.emplace(label.text());
    all.emplace_back(InProject(data.resolver(), label));
    filters.described.push_back(concat("project = ", label.text()));
  }
  if (session) {
    const InternedText id = oneSession(*session, wide);
    filters.session.emplace(id.text());
    all.emplace_back([id](const UsageRecord& record) { return record.sessionId == id; });
    filters.described.push_back(concat("session = ", id.text()));
  }
  filters.predicate = [all = std::move(all)](const UsageRecord& record) {
    return std::ranges::all_of(all, [&](const DataSource::Filter& passes) { return passes(record); });
  };
  return filters;
}

std::string header(std::string_view title, const Period& period, const Filters& filters) {
  std::string text = concat(title, " — ", period.label, "\n");
  if (!filters.described.empty()) {
    append(text, "filters: ", absl::StrJoin(filters.described, " · "), "\n");
  }
  return text;
}

}  // namespace tallyfin
