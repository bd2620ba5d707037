#pragma once

// The state of the data: the folders searched, what was read and lost, and the state of the cache, the
// rosters and the own prices.

#include "TallyfinCore/Answers/DataSource.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Answers {

struct HomeState {
  SourceHome home;
  bool isOnDisk = false;
  std::optional<std::int64_t> files;  ///< transcripts; absent if the folder was not listed
  Bucket bucket;                      ///< of the whole history
};

struct Sources {
  TimePoint now;
  std::vector<HomeState> homes;
  ScanDiagnostics diagnostics;
  RefreshStats lastLook;
  std::string cachePath;
  RosterCoverage rosters;
  CostEstimate total;  ///< of the whole history
};

Sources sources(DataSource& data);

}  // namespace tallyfin::Answers
