#include "TallyfinCore/Answers/Sources.hpp"

#include "Platform/Files.hpp"

namespace tallyfin::Answers {
namespace {

HomeState stateOf(const SourceHome& home, const Report& report) {
  HomeState state{.home = home, .isOnDisk = Files::exists(home.projectsPath), .files = {}, .bucket = {}};
  const auto& files = report.diagnostics.perHome;
  if (const auto found = files.find(home.name); found != files.end()) {
    state.files = found->second;
  }
  if (const Bucket* const bucket = report.bySource.find(InternedText(home.name))) {
    state.bucket = *bucket;
  }
  return state;
}

}  // namespace

Sources sources(DataSource& data) {
  const TimePoint now = data.now();
  const RefreshStats stats = data.ensureFresh();
  const Report report =
      data.report(Period::all(), {}, ReportParts::only(&ReportParts::agents, &ReportParts::origins));
  AgentRoster roster = data.roster();  // a copy: each call of recordCoverage adds to the counters
  roster.recordCoverage(report.agentSession);
  Sources answer{.now = now,
                 .homes = {},
                 .diagnostics = report.diagnostics,
                 .lastLook = stats,
                 .cachePath = data.cache().cachePath(),
                 .rosters = roster.coverage(),
                 .total = report.total.cost};
  for (const SourceHome& home : data.homes()) {
    answer.homes.push_back(stateOf(home, report));
  }
  return answer;
}

}  // namespace tallyfin::Answers
