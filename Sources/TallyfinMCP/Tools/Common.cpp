#include "Platform/Concat.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

std::string countOf(const SeveralNames& names) {
  return std::to_string(names.candidates.size());
}

// The messages for a period or filter that cannot be used.
struct Wording {
  std::string operator()(const NoSuchDay& day) const {
    return concat("invalid date “", day.text, "” — the format is yyyy-MM-dd");
  }
  std::string operator()(const UnknownPeriod& period) const {
    return concat("unknown period “", period.text,
                  "” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in yyyy-MM-dd");
  }
  std::string operator()(const ReversedDays& days) const {
    return concat("reversed range: from=", days.from, " is later than to");
  }
  std::string operator()(const NoSuchName& name) const {
    switch (name.kind) {
      case NameKind::agent:
        return concat("No agent matches “", name.text,
                      "”. See `tally_top_agents` with `period: \"all\"` for the real names.");
      case NameKind::project:
        return concat("No project matches “", name.text,
                      "”. See `tally_top_projects` with `period: \"all\"`.");
      case NameKind::session:
        break;
    }
    return concat("No session starts with “", name.text, "”.");
  }
  std::string operator()(const SeveralNames& names) const {
    switch (names.kind) {
      case NameKind::agent:
        return concat("“", names.text, "” matches ", countOf(names),
                      " agents. Pick one (give the exact name or the `agentId`):", listed(names));
      case NameKind::project:
        return concat("“", names.text, "” matches ", countOf(names), " projects:", listed(names));
      case NameKind::session:
        break;
    }
    return concat("The prefix “", names.text, "” matches ", countOf(names), " sessions:", listed(names));
  }
};

template <typename T>
T orThrow(Answered<T> answered) {
  if (const Refusal* const refusal = std::get_if<Refusal>(&answered)) {
    throw MCPError(std::visit(Wording(), *refusal));
  }
  return std::move(std::get<T>(answered));
}

}  // namespace

Period periodOf(const Arguments& given, const DataSource& data) {
  return orThrow(Period::parse({given.text("period"), given.text("from"), given.text("to")}, "", data.now(),
                               data.calendar()));
}

Filters filtersOf(const Arguments& given, DataSource& data) {
  return orThrow(buildFilters(data, {given.text("agent"), given.text("project"), given.text("session_id")}));
}

std::string listed(const SeveralNames& names) {
  std::string text;
  for (const Candidate& one : names.candidates) {
    append(text, "\n  ", one.label);
    if (!names.areEqual) {
      append(text, " — ", costInAnswer(one.cost, one.requests));
    }
  }
  return text;
}

std::string header(std::string_view title, const Period& period, const Filters& filters) {
  std::string text = concat(title, " — ", period.label, "\n");
  if (const std::vector<std::string> all = filters.described(); !all.empty()) {
    append(text, "filters: ", absl::StrJoin(all, " · "), "\n");
  }
  return text;
}

Rows rowsOf(const Ranking<AgentIdentity>& agents) {
  Rows rows;
  for (const auto& [agent, bucket] : agents) {
    rows.emplace_back(R::shortAgent(agent), bucket);
  }
  return rows;
}

Rows rowsOf(const Ranking<InternedText>& keys) {
  Rows rows;
  for (const auto& [key, bucket] : keys) {
    rows.emplace_back(key.text(), bucket);
  }
  return rows;
}

Rows dayRows(const Report& report, const Calendar& calendar) {
  Rows rows;
  for (const auto& [day, bucket] : inOrder(report.byDay())) {
    rows.emplace_back(calendar.formatDay(day), bucket);
  }
  std::ranges::reverse(rows);
  return rows;
}

std::string list(const Rows& rows, std::string_view empty) {
  if (rows.empty()) {
    return concat("  unknown — ", empty, "\n");
  }
  std::string text;
  for (const auto& [label, bucket] : rows) {
    append(text, R::bucketLine(label, *bucket, 34), "\n");
  }
  return text;
}

std::string footer(const Report& report, const Period& period) {
  return footer(report, period, report.total.cost);
}

std::string footer(const Report& report, const Period& period, const CostEstimate& shown) {
  std::string text = "\n";
  if (period.includesToday) {
    text += "The period includes today — the figure is not final.\n";
  }
  for (const auto& note : {unpricedNote(report.total), assumedNote(report.total), ownPricesNote(shown)}) {
    if (note) {
      append(text, *note, "\n");
    }
  }
  append(text, "— ", Derived::disclaimer, "\n");
  return text;
}

std::string unreadable(const ScanDiagnostics& seen, const ProjectResolver& paths) {
  constexpr std::size_t kMostListed = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(kMostListed, seen.filesUnreadable.size()); ++i) {
    append(text, "      ", paths.tildify(seen.filesUnreadable[i]), "\n");
  }
  return text;
}

std::string volume(const Bucket& bucket) {
  return concat(R::requests(bucket.requests), " · ", R::tokens(bucket.totalTokens()), " tokens");
}

std::string modelsOf(const Bucket& bucket) {
  return R::models(bucket).value_or(UnknownReason::placeholder);
}

std::string orUnknown(const std::optional<InternedText>& key) {
  return key ? std::string(key->text()) : UnknownReason::placeholder;
}

std::string orUnknown(const std::optional<std::string>& text) {
  return text.value_or(UnknownReason::placeholder);
}

}  // namespace tallyfin::Tools
