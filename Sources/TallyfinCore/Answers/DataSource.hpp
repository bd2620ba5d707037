#pragma once

// Owns the data read from disk. Decides where transcripts and cache are and when to read them again, keeps
// the unified records, and builds the report of a period. Used from one thread, without locks. Two jobs run
// in the background: loading the rosters during a refresh, and saving the cache while the answer is built.

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
  /// Reads the own prices, but no transcripts and no cache; creates the folder of the cache. Empty
  /// environment variables count as unset. If the cache path is inside the transcript folders, the cache is
  /// neither read nor written.
  explicit DataSource(Environment environment);

  /// Sets the function that receives the progress of a read, starting with the next read.
  void onProgress(ReadProgress progress) { progress_ = std::move(progress); }

  /// Refreshes if the last refresh ended 15 or more seconds ago. Returns the statistics of the last refresh.
  /// If an answer had to wait for the cache file to be saved, that refresh ended with the save. The first
  /// call also loads the cache file and the roster. Throws only if memory runs out; the next call then
  /// refreshes again. After a refresh the cache file is saved in the background until `finishSaving`.
  const RefreshStats& ensureFresh();

  /// Waits until the save of the last refresh has succeeded or failed. Call it before an answer is sent, so
  /// that nothing is lost if the client then kills the server.
  void finishSaving();

  /// Why the last save failed; empty if it succeeded or none has been tried. If the cache is never written,
  /// contains the reason from the start.
  const std::string& savingError() const { return savingError_; }

  /// Calls `ensureFresh`, then returns the report of a period over the records that pass `filter`. `parts`
  /// defaults to the default parts, plus hours for a single day. Reads sidecars only if `parts` requests
  /// kinds.
  Report report(const Period& period, const RecordFilter& filter = {}, std::optional<ReportParts> parts = {});

  const std::vector<SourceHome>& homes() const { return homes_; }
  const ScanCache& cache() const { return cache_; }
  const ProjectResolver& resolver() const { return aggregator_.resolver(); }
  const Calendar& calendar() const { return aggregator_.calendar(); }
  const RecordList& records() const { return records_; }
  const ScanDiagnostics& diagnostics() const { return diagnostics_; }
  const PriceList& prices() const { return aggregator_.prices(); }
  const AgentRoster& roster() const { return roster_; }
  /// What each transcript contributed, in the order of the listing: by home, then by path. Unlike the ranks
  /// in the records, which stem from the refresh that read them, this order does not depend on earlier
  /// refreshes.
  std::vector<FileProvenance> filesInOrder() const;

  /// The kinds of the agents in `records()`. Reads the sidecar of each agent that it is asked for. Valid
  /// until the next refresh.
  AgentKinds& kinds();
  /// The current time. A tool reads it once at its start, so that the whole answer refers to one moment, even
  /// around midnight.
  TimePoint now() const { return environment_.now(); }

  /// From now on `now` returns `moment`. For programs that give one answer and exit.
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
  std::optional<AgentKinds> kinds_;  // absent until needed after a refresh
  bool rosterLoaded_ = false;
  ReadProgress progress_;
  std::string savingError_;   // access only while no save is running
  bool usesCache_;            // false: the cache file is neither read nor written
  std::future<void> saving_;  // declared last: ends before `cache_` is destroyed
};

}  // namespace tallyfin
