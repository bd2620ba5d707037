#pragma once

// Holds what was read: decides where transcripts and cache lie and when to look at the disk again, keeps the
// unified records, and turns a period into a report. Used from one thread, without locks. Two jobs run in the
// background: loading the rosters during a refresh, and saving the cache while the answer is built.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Answers/Period.hpp"
#include "TallyfinCore/Attribution/AgentRoster.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tallyfin {

class DataSource {
 public:
  /// Reads the own prices, but no transcript and no cache; makes the folder of the cache. Empty variables
  /// count as unset. A cache that would lie among the transcripts is neither read nor written.
  explicit DataSource(Environment environment);

  /// Sets the function that is told how far a read is, from the next read on.
  void onProgress(ReadProgress progress) { progress_ = std::move(progress); }

  /// Looks at the disk when 15 seconds or more have passed since the last look ended, and gives what the last
  /// look did. If an answer had to wait until the cache file was saved, the look ended with that. The first
  /// call also loads the cache file and the roster. Throws only when memory runs out; the next call then
  /// looks again. The cache file is written from here on, until `finishSaving`.
  const RefreshStats& ensureFresh();

  /// Waits until the cache file holds what the last look found, or could not be written. Called before an
  /// answer leaves, so that nothing is lost when the client kills the server after it.
  void finishSaving();

  /// Why the cache file could not be written the last time; empty when that succeeded, and before the first
  /// time. When the file is never written, the reason, from the start on.
  const std::string& savingError() const { return savingError_; }

  /// The report of a period over the records that `filter` lets pass, after `ensureFresh`. It holds what
  /// `parts` asks for; without them the parts that are there by default and the hours of a single day.
  Report report(const Period& period, const RecordFilter& filter = {}, std::optional<ReportParts> parts = {});

  const std::vector<SourceHome>& homes() const { return homes_; }
  const ScanCache& cache() const { return cache_; }
  const ProjectResolver& resolver() const { return aggregator_.resolver(); }
  const Calendar& calendar() const { return aggregator_.calendar(); }
  const RecordList& records() const { return records_; }
  const ScanDiagnostics& diagnostics() const { return diagnostics_; }
  const PriceList& prices() const { return aggregator_.prices(); }
  const AgentRoster& roster() const { return roster_; }
  /// The present time. A tool reads it once, when it begins, so that all of its answer is of one moment, also
  /// around midnight.
  TimePoint now() const { return environment_.now(); }

  /// From here on `now` gives `moment`. For a program that gives one answer and ends.
  void stopClock(TimePoint moment) {
    environment_.now = [moment] { return moment; };
  }

 private:
  void startSaving();

  static constexpr double kFreshnessWindow = 15.0;  // seconds

  Environment environment_;
  std::vector<SourceHome> homes_;
  ScanCache cache_;
  Aggregator aggregator_;
  RecordList records_;
  ScanDiagnostics diagnostics_;
  std::optional<RefreshStats> refreshStats_;
  std::optional<TimePoint> lastRefresh_;
  AgentRoster roster_;
  bool rosterLoaded_ = false;
  ReadProgress progress_;
  std::string savingError_;   // read when nothing is being saved
  bool usesCache_;            // false: its file is neither read nor written
  std::future<void> saving_;  // ends before the cache does
};

}  // namespace tallyfin
