#pragma once

// What a program around the core is told about the machine, once, at start, and where its files lie by that.

#include "Platform/Calendar.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Scanner.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin {

/// What a program is told.
struct Environment {
  std::string home;                              ///< the user's real home directory
  std::optional<std::string> tallyfinHome;       ///< TALLYFIN_HOME: stands in for the home of the transcripts
  std::optional<std::string> tallyfinCachePath;  ///< TALLYFIN_CACHE_PATH: the cache file
  Calendar calendar = Calendar::utc();           ///< of the machine's zone
  Clock now;                                     ///< the wall clock

  /// Asks the process: HOME and the password database, the two variables, the zone, the clock. Only a `main`
  /// calls this, once; tests hand in an environment of their own.
  static Environment ofProcess();
};

/// The four Claude homes, below TALLYFIN_HOME or the user's home. An empty variable counts as unset; a
/// leading tilde is expanded.
std::vector<SourceHome> sourceHomes(const Environment& environment);

/// Where the cache file lies: TALLYFIN_CACHE_PATH, with its tilde expanded and made absolute, or the default
/// place. Makes the folder; when that fails the path is used all the same, and what cannot be saved is only
/// slower.
std::string cacheLocation(const Environment& environment);

}  // namespace tallyfin
