#include "TallyfinCore/Answers/Cost.hpp"

namespace tallyfin::Answers {

Cost cost(DataSource& data, const CostQuestion& question) {
  const auto report = std::make_shared<const Report>(
      data.report(question.period, question.filters.predicate, neededFor({&question.axis, 1})));
  return {.period = question.period,
          .filters = question.filters,
          .report = report,
          .rows = rows(*report, question.axis, data.calendar(), question.limit)};
}

}  // namespace tallyfin::Answers
