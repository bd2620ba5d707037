#pragma once

// The tables of the page. They contain every figure of the drawings as text.

#include "TallyfinCore/Exports/PageDrawings.hpp"
#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace tallyfin::Exporter {

/// The rows with the highest cost, as many as a table shows, and the number of all rows. Copies, so the
/// report need not be kept.
template <typename Key>
struct Shown {
  BucketsBy<Key> rows;
  std::size_t all = 0;
};
Shown<AgentIdentity> shownAgents(const BucketsBy<AgentIdentity>& agents);
Shown<InternedText> shownRows(const BucketsBy<InternedText>& rows);

/// Tables of the most expensive rows, each row with its parts, and a line with the number of rows left out.
/// `agentsByProject` must hold the sums of the shown agents and of the shown projects.
Markup agentsTable(const Shown<AgentIdentity>& agents, const AgentsByKey& agentsByProject);
Markup projectsTable(const Shown<InternedText>& projects, const AgentsByKey& agentsByProject);
Markup modelsTable(const Report& report);
Markup sessionsTable(const Shown<InternedText>& sessions,
                     const absl::flat_hash_map<InternedText, InternedText>& projects,
                     const Calendar& calendar);
Markup homesTable(const Report& report);

/// The figures of the bar chart over time.
Markup timeTable(const std::vector<Slot>& slots);

/// The figures of the heat map: one row per hour, one column per weekday.
Markup hoursTable(const TimeCuts& cuts);

/// The lines of some sections of the provenance document, as a table.
Markup provenanceTable(std::span<const ProvenanceLine> lines, std::string_view caption,
                       std::span<const Section> sections);

}  // namespace tallyfin::Exporter
