#include "TallyfinCore/Answers/Provenance.hpp"

#include <algorithm>

namespace tallyfin::Answers {
namespace {

std::optional<std::string> homeOf(const std::string& path, const std::vector<SourceHome>& homes) {
  const auto home =
      std::ranges::find_if(homes, [&](const SourceHome& one) { return path.starts_with(one.projectsPath); });
  return home == homes.end() ? std::nullopt : std::optional(home->name);
}

}  // namespace

FigureProvenance provenance(DataSource& data, const ProvenanceQuestion& question) {
  const auto& [period, filters] = question;
  const auto report =
      std::make_shared<const Report>(data.report(period, filters.predicate, ReportParts::only()));
  FigureProvenance answer{
      .period = period,
      .filters = filters,
      .report = report,
      .files = fileContributions(data.cache().recordsPerFile(), data.calendar(), period.from, period.through,
                                 filters.predicate, data.prices()),
      .homes = {}};
  for (const FileContribution& one : answer.files.files) {
    answer.homes.push_back(homeOf(one.file.path, data.homes()));
  }
  return answer;
}

}  // namespace tallyfin::Answers
