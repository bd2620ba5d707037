#include "TallyfinCore/Exports/PageTables.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/ascii.h"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace tallyfin::Exporter {
namespace {

constexpr std::int64_t kRows = 12;  // per ranking
// Parts listed in a row: the projects of an agent, or the agents of a project.
constexpr std::size_t kBehind = 3;
constexpr std::size_t kUnreadable = 10;

Markup columnHeader(std::string_view text, std::string_view classes = "") {
  return element("th", {{"scope", "col"}, {"class", std::string(classes)}}, text);
}

Markup beginTable(std::string_view caption, std::initializer_list<Markup> headers) {
  Markup table = startTag("table", {});
  table += element("caption", {}, caption);
  Markup row;
  for (const Markup& header : headers) {
    row += header;
  }
  table += element("thead", {}, element("tr", {}, row));
  return table += startTag("tbody", {});
}

Markup endTable(Markup table) {
  table += endTag("tbody");
  return table += endTag("table");
}

// Lets a table wider than the screen scroll on its own, also by keyboard.
Markup scrollable(std::string_view label, const Markup& table) {
  return element(
      "div", {{"class", "scroll"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", std::string(label)}},
      table);
}

// A row of a ranking: name, parts, cost with bar, requests and tokens.
struct RankedRow {
  Markup what;
  Markup behind;
  const Bucket* bucket;
  std::string_view colour = "main";
};

std::string capitalized(std::string_view word) {
  std::string text(word);
  text.front() = absl::ascii_toupper(static_cast<unsigned char>(text.front()));
  return text;
}

Markup rankedTable(std::string_view caption, Axis axis, const std::vector<RankedRow>& rows, std::size_t all) {
  if (rows.empty()) {
    return nothingInRange();
  }
  const Noun noun = nounOf(axis);
  const double largest = rows.front().bucket->cost.priced;
  Markup table = beginTable(caption, {columnHeader(capitalized(noun.singular)), columnHeader("Cost", "cost"),
                                      columnHeader("Requests, tokens", "volume")});
  for (const RankedRow& row : rows) {
    const Bucket& bucket = *row.bucket;
    table += element("tr", {},
                     element("th", {{"scope", "row"}}, element("div", {{"class", "what"}}, row.what),
                             element("div", {{"class", "behind"}}, row.behind)),
                     element("td", {{"class", "cost"}},
                             element("div", {}, rowBar(bucket, largest, row.colour), amountMarkup(bucket))),
                     element("td", {{"class", "volume"}}, element("div", {}, grouped(bucket.requests)),
                             element("div", {{"class", "behind"}}, grouped(bucket.totalTokens()))));
  }
  table = endTable(std::move(table));
  if (all > rows.size()) {
    table += element("p", {{"class", "more"}},
                     concat(counted(static_cast<std::int64_t>(all - rows.size()),
                                    concat("more ", noun.singular), concat("more ", noun.plural)),
                            " — the CSV export has all of them"));
  }
  return table;
}

using Part = std::pair<Markup, const Bucket*>;

// "~/src/atlas $3.20, ~/src/compass $1.10 and 2 more", highest first.
Markup partsOf(const std::vector<Part>& parts, std::size_t all) {
  Markup text;
  for (const auto& [what, bucket] : parts) {
    text += &what == &parts.front().first ? "" : ", ";
    text += element("span", {{"class", "part"}}, what, " ", amountMarkup(*bucket));
  }
  if (all > parts.size()) {
    text += concat(" and ", std::to_string(all - parts.size()), " more");
  }
  return text;
}

Markup agentName(const AgentIdentity& agent) {
  Markup text = name(agent.label());
  if (agent.kind() == AgentIdentity::Kind::named) {  // several runs may share this name
    constexpr std::size_t kEnd = 5;
    text += element("span", {{"class", "id"}}, " …", name(Text::suffix(agent.rawId().text(), kEnd)));
  }
  return text;
}

std::vector<Part> topAgents(const BucketsBy<AgentIdentity>& agents) {
  std::vector<Part> parts;
  for (const auto& [agent, bucket] : rankedAgents(agents, kBehind, true)) {
    parts.emplace_back(name(agent.label()), bucket);
  }
  return parts;
}

Markup projectsOf(const AgentIdentity& agent, const AgentsByKey& agentsByProject) {
  Ranking<InternedText> own;
  for (const auto& [project, agents] : agentsByProject) {
    if (const Bucket* const spent = agents.find(agent)) {
      own.emplace_back(project, spent);
    }
  }
  std::vector<Part> parts;
  for (const auto& [project, bucket] : ranked(own, kBehind)) {
    parts.emplace_back(name(project.text(), 40), bucket);
  }
  return partsOf(parts, own.size());
}

template <typename Key>
Shown<Key> copied(const Ranking<Key>& ranking, std::size_t all) {
  Shown<Key> shown{.rows = {}, .all = all};
  for (const auto& [key, bucket] : ranking) {
    shown.rows[key] = *bucket;
  }
  return shown;
}

Markup dominant(const Bucket& bucket) {
  const Estimate<DominantComponent> most = bucket.dominantComponent();
  const DominantComponent* const known = most.value();
  return known == nullptr
             ? Markup("no tokens")
             : Markup(concat("tokens mostly ", known->name, " (", decimal(known->percent, 1), "%)"));
}

// "files_scanned" becomes "files scanned".
std::string readable(std::string item) {
  std::ranges::replace(item, '_', ' ');
  return item;
}

Markup readableValue(std::string_view value) {
  constexpr std::size_t kLongest = 18;  // more digits are not treated as a count
  const bool isCount = !value.empty() && value.size() <= kLongest && std::ranges::all_of(value, isDigit);
  return isCount ? Markup(withCommas(std::string(value))) : name(value, 90);
}

}  // namespace

Shown<AgentIdentity> shownAgents(const BucketsBy<AgentIdentity>& agents) {
  return copied(rankedAgents(agents, kRows, true), agents.size());
}

Shown<InternedText> shownRows(const BucketsBy<InternedText>& rows) {
  return copied(ranked(rows, kRows), rows.size());
}

Markup agentsTable(const Shown<AgentIdentity>& agents, const AgentsByKey& agentsByProject) {
  std::vector<RankedRow> rows;
  for (const auto& [agent, bucket] : agents.rows) {
    rows.push_back({agentName(agent), projectsOf(agent, agentsByProject), &bucket,
                    agent.isSubagent() ? "agents" : "main"});
  }
  return rankedTable("Agents by cost, with the projects each worked on", Axis::agent, rows, agents.all);
}

Markup projectsTable(const Shown<InternedText>& projects, const AgentsByKey& agentsByProject) {
  std::vector<RankedRow> rows;
  for (const auto& [project, bucket] : projects.rows) {
    const BucketsBy<AgentIdentity>* const agents = agentsByProject.find(project);
    rows.push_back({name(project.text()),
                    agents == nullptr ? Markup() : partsOf(topAgents(*agents), agents->size()), &bucket});
  }
  return rankedTable("Projects by cost, with the agents behind each", Axis::project, rows, projects.all);
}

Markup modelsTable(const Report& report) {
  std::vector<RankedRow> rows;
  for (const auto& [model, bucket] : report.topModels(kRows)) {
    rows.push_back({name(model.text()), dominant(*bucket), bucket});
  }
  return rankedTable("Models by cost", Axis::model, rows, report.byModel.size());
}

Markup sessionsTable(const Shown<InternedText>& sessions,
                     const absl::flat_hash_map<InternedText, InternedText>& projects,
                     const Calendar& calendar) {
  std::vector<RankedRow> rows;
  for (const auto& [session, bucket] : sessions.rows) {
    const auto project = projects.find(session);
    const std::string time = bucket.firstActivity && bucket.lastActivity
                                 ? concat(calendar.formatMinute(*bucket.firstActivity), " → ",
                                          calendar.formatMinute(*bucket.lastActivity))
                                 : UnknownReason::placeholder;
    Markup what = project == projects.end() ? Markup() : name(project->second.text());
    what += element("span", {{"class", "id"}}, " ", name(session.text()));
    rows.push_back({what, time, &bucket});
  }
  return rankedTable("Sessions by cost, with project and first to last request", Axis::session, rows,
                     sessions.all);
}

Markup homesTable(const Report& report) {
  std::vector<RankedRow> rows;
  for (const auto& [home, bucket] : ranked(report.bySource, kRows)) {
    const auto files = report.diagnostics.perHome.find(std::string(home.text()));
    rows.push_back({name(home.text()),
                    files == report.diagnostics.perHome.end()
                        ? "unknown — the scan reported no file count for this home"
                        : counted(files->second, "transcript file", "transcript files"),
                    bucket});
  }
  return rankedTable("Homes by cost", Axis::source, rows, report.bySource.size());
}

Markup timeTable(const std::vector<Slot>& slots) {
  Markup table = beginTable(
      "Cost over time", {columnHeader("Time"), columnHeader("Cost", "n"), columnHeader("Main session", "n"),
                         columnHeader("Sub-agents", "n"), columnHeader("Requests", "n")});
  const auto cell = [](const Bucket& bucket) {
    return element("td", {{"class", "n"}}, bucket.requests > 0 ? amountMarkup(bucket) : Markup("no request"));
  };
  for (const Slot& slot : slots) {
    if (slot.shares != nullptr) {
      table += element("tr", {}, element("th", {{"scope", "row"}}, slot.label), cell(slot.shares->all),
                       cell(slot.shares->main), cell(slot.shares->subagents),
                       element("td", {{"class", "n"}}, grouped(slot.shares->all.requests)));
    }
  }
  return scrollable("Cost over time", endTable(std::move(table)));
}

Markup hoursTable(const TimeCuts& cuts) {
  Markup headers = columnHeader("Hour");
  for (const char* const weekday : weekdays) {
    headers += columnHeader(weekday, "n");
  }
  Markup table = beginTable("Cost by weekday and hour", {headers});
  for (int hour = 0; hour < 24; ++hour) {
    Markup row = element("th", {{"scope", "row"}}, absl::StrFormat("%02d:00", hour));
    for (int day = 0; day < 7; ++day) {
      const Bucket* const bucket = cuts.byWeekHour.find(weekHour(day, hour));
      row += element("td", {{"class", "n"}}, bucket == nullptr ? Markup("–") : amountMarkup(*bucket));
    }
    table += element("tr", {}, row);
  }
  return scrollable("Cost by weekday and hour", endTable(std::move(table)));
}

Markup provenanceTable(std::span<const ProvenanceLine> lines, std::string_view caption,
                       std::span<const Section> sections) {
  Markup table = beginTable(caption, {columnHeader("What"), columnHeader("Value"), columnHeader("Note")});
  std::size_t unreadable = 0;
  for (const ProvenanceLine& line : lines) {
    const auto isWanted = [&](Section section) { return rawValue(section) == line.section; };
    const bool isUnreadable = line.item == "unreadable_file";
    if (std::ranges::none_of(sections, isWanted) || line.item == "scan_duration_seconds" ||
        (isUnreadable && ++unreadable > kUnreadable)) {
      continue;
    }
    table += element("tr", {}, element("th", {{"scope", "row"}}, readable(line.item)),
                     element("td", {}, readableValue(line.value)),
                     element("td", {{"class", "note"}}, line.note.empty() ? Markup() : name(line.note, 300)));
  }
  table = endTable(std::move(table));
  if (unreadable > kUnreadable) {
    table += element(
        "p", {{"class", "more"}},
        concat(counted(static_cast<std::int64_t>(unreadable - kUnreadable), "more file", "more files"),
               " — the provenance document has all of them"));
  }
  return table;
}

}  // namespace tallyfin::Exporter
