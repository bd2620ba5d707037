#include "TallyfinCore/Figures/Aggregation.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Figures/RequestRun.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <variant>
#include <vector>

namespace tallyfin {
namespace {

// The starts of the blocks that contain the records, in ascending order. Records that do not pass the filter
// are ignored.
std::vector<TimePoint> blockStarts(const RecordList& records, const RecordFilter& filter,
                                   const Calendar& calendar) {
  std::vector<TimePoint> times;
  for (const UsageRecord& record : records) {
    if (std::isfinite(record.timestamp.seconds) && (!filter || filter(record))) {
      times.push_back(record.timestamp);
    }
  }
  std::sort(times.begin(), times.end());
  std::vector<TimePoint> starts;
  TimePoint end;  // end of the last block in `starts`
  for (const TimePoint time : times) {
    if (starts.empty() || time >= end) {
      const TimePoint start = startOfStep(TimeStep::block, time, calendar);
      starts.push_back(starts.empty() ? start : std::max(start, end));
      end = *nextStep(TimeStep::block, starts.back(), calendar);  // a block always has an end
    }
  }
  return starts;
}

// Builds one report. The caller adds each record that counts, and then calls `finish`. The project of a
// working directory is looked up once per report, not once per request. If a key occurs in several spellings,
// the whole report uses the spelling that came first.
class Pass {
 public:
  Pass(const Calendar& calendar, const ProjectResolver& resolver, const PriceList& prices, ReportParts parts,
       std::vector<TimePoint> blocks, AgentKinds& kinds)
      : calendar_(calendar),
        resolver_(resolver),
        pricer_(calendar, prices),
        parts_(parts),
        needsDirectories_(parts.projects || parts.directories || parts.origins || parts.agentsByProject),
        blocks_(std::move(blocks)),
        kinds_(kinds) {}

  void add(const UsageRecord& record, TimePoint day) {
    const Key key = {.day = day,
                     .model = record.model,
                     .rawCwd = record.rawCwd,
                     .directory = record.rawCwd.spelling(),
                     .session = record.sessionId,
                     .agent = record.agent,
                     .home = record.sourceHome,
                     .hour = parts_.hours ? calendar_.hour(record.timestamp) : 0,
                     .block = parts_.steps[TimeStep::block] ? blockOf(record.timestamp) : TimePoint()};
    runs_.add(key, record, pricer_.cost(record, day),
              [this](const Key& last, const RequestRun& run) { addRun(last, run); });
  }

  Report finish(const ScanDiagnostics& diagnostics) && {
    runs_.finish([this](const Key& last, const RequestRun& run) { addRun(last, run); });
    if (parts_.sessions) {
      report_.sessionProject.reserve(sessions_.size());
      for (const auto& [session, known] : sessions_) {
        report_.sessionProject.emplace(session, known.project);
      }
    }
    report_.diagnostics = diagnostics;
    return std::move(report_);
  }

 private:
  struct Directory {
    bool isKnown = false;  // whether the other members are set
    InternedText project;  // the label; if origins are requested, in the spelling that came first
    InternedText rawCwd;   // if directories are requested, the path with "~" for the user's home directory
  };

  struct Session {
    InternedText project;    // the project of the session's latest request
    TimePoint lastActivity;  // the time of that request
  };

  // Requests with equal keys are added to the same buckets.
  struct Key {
    TimePoint day;
    InternedText model;
    InternedText rawCwd;
    std::uint32_t directory = 0;  // `rawCwd.spelling()`: two spellings of a path are two directories
    InternedText session;
    AgentIdentity agent;
    InternedText home;
    int hour = 0;     // local hour, 0 to 23; 0 unless hours are requested
    TimePoint block;  // start of the block; TimePoint() unless blocks are requested

    friend bool operator==(const Key&, const Key&) = default;
  };

  void addRun(const Key& key, const RequestRun& run) {
    const Directory directory = needsDirectories_ ? directoryOf(key.rawCwd) : Directory();
    if (parts_.origins) {
      noteOrigins(key, run, directory.project);
    }
    report_.total.add(run);
    for (const TimeStep step : allTimeSteps) {
      if (parts_.steps[step]) {
        report_.bySteps[step][startOf(step, key)].add(run);
      }
    }
    report_.byModel[key.model].add(run);
    report_.bySource[key.home].add(run);
    if (parts_.projects) {
      report_.byProject[directory.project].add(run);
    }
    if (parts_.directories) {
      report_.byRawCwd[directory.rawCwd].add(run);
    }
    if (parts_.sessions) {
      report_.bySession[key.session].add(run);
    }
    if (parts_.agents) {
      report_.byAgent[key.agent].add(run);
    }
    if (parts_.kinds) {
      addToKind(key, run);
    }
    if (parts_.hours) {
      report_.byHour[key.hour].add(run);
    }
    if (parts_.agentsByProject) {
      report_.agentsByProject[directory.project][key.agent].add(run);
    }
    if (parts_.agentsByModel) {
      report_.agentsByModel[key.model][key.agent].add(run);
    }
  }

  // A run of a kind is an agent; one of the main session is a session.
  void addToKind(const Key& key, const RequestRun& run) {
    const std::size_t known = kindRuns_.size();
    const std::size_t place =
        kindRuns_.place({key.agent, key.agent.isSubagent() ? InternedText() : key.session});
    AgentKind& kind = kindRuns_.at(place);
    if (place == known) {
      kind = kinds_.of(key.agent);
      ++report_.runsByKind[kind];
    }
    report_.byKind[kind].add(run);
  }

  TimePoint startOf(TimeStep step, const Key& key) const {
    return step == TimeStep::day     ? key.day
           : step == TimeStep::block ? key.block
                                     : startOfStep(step, key.day, calendar_);
  }

  TimePoint blockOf(TimePoint time) const {
    const auto next = std::upper_bound(blocks_.begin(), blocks_.end(), time);
    // A time before the first block lies outside the calendar and is in no block. The start of its hour then
    // serves as the start of its block.
    return next != blocks_.begin() ? *(next - 1) : startOfStep(TimeStep::block, time, calendar_);
  }

  const Directory& directoryOf(InternedText rawCwd) {
    Directory& directory = directories_[rawCwd.spelling()];
    if (!directory.isKnown) {
      const Resolved resolved = resolver_.resolve(rawCwd, parent_);
      directory = {true, resolved.canonical, {}};
      if (parts_.origins) {
        directory.project = projects_.keyAt(projects_.place(resolved.canonical));
      }
      if (parts_.projects) {
        report_.projectProvenance[resolved.canonical].insert(resolved.provenance);
      }
      if (parts_.directories) {
        directory.rawCwd =
            rawCwd.empty() ? resolved.canonical : InternedText(resolver_.tildify(rawCwd.text()));
      }
    }
    return directory;
  }

  // Notes the project of the run's session, and the session and project of its agent. A session belongs to
  // the project of its latest request. If several requests have the latest time, the last of them in the list
  // decides. An agent belongs to the session and the project of its first request in the list. Must be called
  // before the run is added to the buckets: an agent is new if its bucket has no requests.
  void noteOrigins(const Key& key, const RequestRun& run, InternedText project) {
    const std::size_t known = sessions_.size();
    const std::size_t place = sessions_.place(key.session);
    Session& session = sessions_.at(place);
    if (place == known || run.lastActivity >= session.lastActivity) {
      session = {project, run.lastActivity};
    }
    if (parts_.agents && report_.byAgent[key.agent].requests == 0) {
      report_.agentSession.emplace(key.agent, sessions_.keyAt(place));
      report_.agentProject.emplace(key.agent, project);
    }
  }

  const Calendar& calendar_;
  const ProjectResolver& resolver_;
  Pricing::Pricer pricer_;
  ReportParts parts_;
  bool needsDirectories_;
  std::vector<TimePoint> blocks_;  // starts of the blocks, in ascending order
  AgentKinds& kinds_;
  RequestRuns<Key> runs_;
  Report report_;
  KeyedRows<std::uint32_t, Directory> directories_;  // by number of the path's spelling
  ProjectResolver::Parent parent_;                   // parent of the last directory that was looked up
  KeyedRows<std::pair<AgentIdentity, InternedText>, AgentKind> kindRuns_;  // by agent; of main, by session
  // Used only if origins are requested. Each key has the spelling that came first.
  KeyedRows<InternedText, std::monostate> projects_;
  KeyedRows<InternedText, Session> sessions_;
};

}  // namespace

Report Aggregator::aggregate(const RecordList& records, std::optional<TimePoint> from,
                             std::optional<TimePoint> to, const ScanDiagnostics& diagnostics,
                             ReportParts parts, const RecordFilter& filter, AgentKinds* kinds) const {
  AgentKinds withoutSidecars({});
  Pass pass(calendar_, resolver_, prices_, parts,
            parts.steps[TimeStep::block] ? blockStarts(records, filter, calendar_) : std::vector<TimePoint>(),
            kinds != nullptr ? *kinds : withoutSidecars);
  RecordSelection selection(calendar_, from, to, filter);
  for (const UsageRecord& record : records) {
    if (const TimePoint* const day = selection.day(record)) {
      pass.add(record, *day);
    }
  }
  return std::move(pass).finish(diagnostics);
}

}  // namespace tallyfin
