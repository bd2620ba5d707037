#pragma once

// The sources of a figure: the unified report, and the records of each file. A request in two files counts in
// both.

#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Figures/FileContributions.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Answers {

struct ProvenanceQuestion {
  Period period;
  Filters filters = {};
};

struct FigureProvenance {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  FileContributions files;                        ///< highest priced cost first
  std::vector<std::optional<std::string>> homes;  ///< each file's home; absent: none
};

FigureProvenance provenance(DataSource& data, const ProvenanceQuestion& question);

}  // namespace tallyfin::Answers
