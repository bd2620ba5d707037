#include "TallyfinCore/Answers/Cost.hpp"

namespace tallyfin::Answers {

Cost cost(DataSource& data, const CostQuestion& question) {
  ReportParts parts = neededFor({&question.axis, 1});
  parts.agents = true;
  parts.origins = false;
  const auto report =
      std::make_shared<const Report>(data.report(question.period, question.filters.predicate, parts));
  const auto limit = isChronological(question.axis) ? std::nullopt : question.limit;
  return {.period = question.period,
          .filters = question.filters,
          .report = report,
          .rows = rows(*report, question.axis, data.calendar(), limit)};
}

}  // namespace tallyfin::Answers
