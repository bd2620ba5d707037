#include "TallyfinCore/Figures/Aggregation.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace tallyfin {
namespace {

// The starts of the blocks of these records, in order.
std::vector<TimePoint> blockStarts(std::span<const UsageRecord> records, const RecordFilter& filter,
                                   const Calendar& calendar) {
  std::vector<TimePoint> times;
  for (const UsageRecord& record : records) {
    if (std::isfinite(record.timestamp.seconds) && (!filter || filter(record))) {
      times.push_back(record.timestamp);
    }
  }
  std::sort(times.begin(), times.end());
  std::vector<TimePoint> starts;
  TimePoint end;  // of the last block
  for (const TimePoint time : times) {
    if (starts.empty() || time >= end) {
      const TimePoint hour = calendar.startOfHour(time);
      starts.push_back(starts.empty() ? hour : std::max(hour, end));
      end = {starts.back().seconds + blockSeconds};
    }
  }
  return starts;
}

// One pass. What is the same for all requests of a directory is settled once a directory: its labels are
// neither resolved nor looked up again. Keys that are one text in several spellings show the first of them,
// wherever the report names them.
class Pass {
 public:
  Pass(const Calendar& calendar, const ProjectResolver& resolver, const PriceList& prices, OptionalAxes axes,
       std::vector<TimePoint> blocks)
      : calendar_(calendar),
        resolver_(resolver),
        pricer_(calendar, prices),
        axes_(axes),
        blocks_(std::move(blocks)) {}

  void add(const UsageRecord& record, TimePoint day) {
    const RequestCost cost = pricer_.cost(record, day);
    const Directory& directory = directoryOf(record.rawCwd);
    const std::size_t session = report_.bySession.place(record.sessionId);
    Bucket& ofSession = report_.bySession.at(session);
    Bucket& ofAgent = report_.byAgent[record.agent];

    report_.total.add(record, cost);
    report_.byDay[day].add(record, cost);
    report_.byModel[record.model].add(record, cost);
    report_.byProject.at(directory.projectRow).add(record, cost);
    report_.byRawCwd.at(directory.rawCwdRow).add(record, cost);
    ofSession.add(record, cost);
    ofAgent.add(record, cost);
    report_.bySource[record.sourceHome].add(record, cost);
    addOptional(record, cost, day);
    attribute(record, directory.project, session, ofSession, ofAgent);
  }

  Report finish(const ScanDiagnostics& diagnostics) && {
    report_.sessionProject.reserve(projectOfSession_.size());
    auto project = projectOfSession_.begin();
    for (const auto& [session, bucket] : report_.bySession) {
      report_.sessionProject.emplace(session, *project++);
    }
    report_.diagnostics = diagnostics;
    return std::move(report_);
  }

 private:
  struct Directory {
    bool isKnown = false;
    InternedText project;
    std::size_t projectRow = 0;
    std::size_t rawCwdRow = 0;
  };

  void addOptional(const UsageRecord& record, const RequestCost& cost, TimePoint day) {
    if (axes_.hours) {
      report_.byHour[calendar_.hour(record.timestamp)].add(record, cost);
    }
    if (axes_.weeks) {
      report_.byWeek[calendar_.startOfWeek(day)].add(record, cost);
    }
    if (axes_.months) {
      report_.byMonth[calendar_.startOfMonth(day)].add(record, cost);
    }
    if (axes_.blocks) {
      report_.byBlock[blockOf(record.timestamp)].add(record, cost);
    }
  }

  TimePoint blockOf(TimePoint time) const {
    const auto next = std::upper_bound(blocks_.begin(), blocks_.end(), time);
    return next != blocks_.begin() ? *(next - 1) : calendar_.startOfHour(time);  // beyond the calendar's ends
  }

  const Directory& directoryOf(InternedText rawCwd) {
    Directory& directory = directories_[rawCwd.spelling()];
    if (!directory.isKnown) {
      const Resolved resolved = resolver_.resolve(rawCwd);
      const InternedText label =
          rawCwd.empty() ? resolved.canonical : InternedText(resolver_.tildify(rawCwd.text()));
      report_.projectProvenance[resolved.canonical].insert(resolved.provenance);
      const std::size_t projectRow = report_.byProject.place(resolved.canonical);
      directory = {true, report_.byProject.keyAt(projectRow), projectRow, report_.byRawCwd.place(label)};
    }
    return directory;
  }

  // A session belongs to the project of its latest request, of equally late ones to the last in the list; an
  // agent to the session and project of its first request in the list.
  void attribute(const UsageRecord& record, InternedText project, std::size_t session,
                 const Bucket& ofSession, const Bucket& ofAgent) {
    if (session == projectOfSession_.size()) {
      projectOfSession_.push_back(project);
    } else if (record.timestamp >= *ofSession.lastActivity) {
      projectOfSession_[session] = project;
    }
    if (ofAgent.requests == 1) {
      report_.agentSession.emplace(record.agent, report_.bySession.keyAt(session));
      report_.agentProject.emplace(record.agent, project);
    }
  }

  const Calendar& calendar_;
  const ProjectResolver& resolver_;
  Pricing::Pricer pricer_;
  OptionalAxes axes_;
  std::vector<TimePoint> blocks_;  // their starts, in order
  Report report_;
  KeyedRows<std::uint32_t, Directory> directories_;  // by spelling of the raw working directory
  std::vector<InternedText> projectOfSession_;       // in the order of `bySession`
};

// Calls `use` with each record of the range that the filter lets pass, and the start of its day.
template <typename F>
void forEachInRange(std::span<const UsageRecord> records, std::optional<TimePoint> from,
                    std::optional<TimePoint> to, const RecordFilter& filter, const Calendar& calendar,
                    F&& use) {
  RecordSelection selection(calendar, from, to, filter);
  for (const UsageRecord& record : records) {
    if (const std::optional<TimePoint> day = selection.day(record)) {
      use(record, *day);
    }
  }
}

}  // namespace

Report Aggregator::aggregate(std::span<const UsageRecord> records, std::optional<TimePoint> from,
                             std::optional<TimePoint> to, const ScanDiagnostics& diagnostics,
                             OptionalAxes axes, const RecordFilter& filter) const {
  Pass pass(calendar_, resolver_, prices_, axes,
            axes.blocks ? blockStarts(records, filter, calendar_) : std::vector<TimePoint>());
  forEachInRange(records, from, to, filter, calendar_,
                 [&](const UsageRecord& record, TimePoint day) { pass.add(record, day); });
  return std::move(pass).finish(diagnostics);
}

AgentsByKey Aggregator::agentsBy(Grouping grouping, std::span<const UsageRecord> records,
                                 std::optional<TimePoint> from, std::optional<TimePoint> to,
                                 const RecordFilter& filter) const {
  AgentsByKey agents;
  Pricing::Pricer pricer(calendar_, prices_);
  KeyedRows<std::uint32_t, std::optional<InternedText>> projects;  // by spelling of the working directory
  const auto keyOf = [&](const UsageRecord& record) {
    if (grouping == Grouping::model) {
      return record.model;
    }
    std::optional<InternedText>& project = projects[record.rawCwd.spelling()];
    if (!project) {
      project = resolver_.resolve(record.rawCwd).canonical;
    }
    return *project;
  };
  forEachInRange(records, from, to, filter, calendar_, [&](const UsageRecord& record, TimePoint day) {
    agents[keyOf(record)][record.agent].add(record, pricer.cost(record, day));
  });
  return agents;
}

}  // namespace tallyfin
