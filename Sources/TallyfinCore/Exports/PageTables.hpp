#pragma once

// The page's tables. Whatever a drawing shows stands in one of them as text.

#include "TallyfinCore/Exports/PageDrawings.hpp"
#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace tallyfin::Exporter {

/// The rows of highest cost, as many as a table shows, and how many rows there are. They are copies: the
/// report may be dropped.
template <typename Key>
struct Shown {
  BucketsBy<Key> rows;
  std::size_t all = 0;
};
Shown<AgentIdentity> shownAgents(const BucketsBy<AgentIdentity>& agents);
Shown<InternedText> shownRows(const BucketsBy<InternedText>& rows);

/// The tables of rows of highest cost, with what each row is made of, and a line that tells how many rows are
/// left out. `agentsByProject` holds all that the shown agents and the shown projects spent.
Markup agentsTable(const Shown<AgentIdentity>& agents, const AgentsByKey& agentsByProject);
Markup projectsTable(const Shown<InternedText>& projects, const AgentsByKey& agentsByProject);
Markup modelsTable(const Report& report);
Markup sessionsTable(const Shown<InternedText>& sessions,
                     const absl::flat_hash_map<InternedText, InternedText>& projects,
                     const Calendar& calendar);
Markup homesTable(const Report& report);

/// The figures of the bars over time.
Markup timeTable(const std::vector<Slot>& slots);

/// The figures of the heat map: a row for each hour, a column for each weekday.
Markup hoursTable(const TimeCuts& cuts);

/// The lines of some sections of the provenance document.
Markup provenanceTable(std::span<const ProvenanceLine> lines, std::string_view caption,
                       std::span<const Section> sections);

}  // namespace tallyfin::Exporter
