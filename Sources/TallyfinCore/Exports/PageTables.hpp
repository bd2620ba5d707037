#pragma once

// The page's tables. Whatever a drawing shows stands in one of them as text.

#include "TallyfinCore/Exports/PageDrawings.hpp"
#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <span>
#include <vector>

namespace tallyfin::Exporter {

/// The rows of highest cost of each axis, with what each is made of, and a line that tells how many rows are
/// left out.
Markup agentsTable(const Report& report, const AgentsByKey& agentsByProject);
Markup projectsTable(const Report& report, const AgentsByKey& agentsByProject);
Markup modelsTable(const Report& report);
Markup sessionsTable(const Report& report, const Calendar& calendar);
Markup homesTable(const Report& report);

/// The figures of the bars over time.
Markup timeTable(const std::vector<Slot>& slots);

/// The figures of the heat map: a row for each hour, a column for each weekday.
Markup hoursTable(const TimeCuts& cuts);

/// The lines of some sections of the provenance document.
Markup provenanceTable(std::span<const ProvenanceLine> lines, std::string_view caption,
                       std::span<const Section> sections);

}  // namespace tallyfin::Exporter
