#pragma once

// What a program around the core is told about the machine, once, at start.

#include "Platform/Calendar.hpp"
#include "Platform/TimePoint.hpp"

#include <optional>
#include <string>

namespace tallyfin {

/// What a program is told.
struct Environment {
  std::string home;                              ///< the user's real home directory
  std::optional<std::string> tallyfinHome;       ///< TALLYFIN_HOME: stands in for the home of the transcripts
  std::optional<std::string> tallyfinCachePath;  ///< TALLYFIN_CACHE_PATH: the cache file
  std::optional<std::string> tallyfinPrices = {};  ///< TALLYFIN_PRICES: the file of one's own prices
  Calendar calendar = Calendar::utc();             ///< of the machine's zone
  Clock now;                                       ///< the wall clock
  std::optional<std::string> unknownZone = {};  ///< what TZ names, when days are those of UTC for want of it

  /// Asks the process: HOME and the password database, the three variables, the zone, the clock. Only a
  /// `main` calls this, once; tests hand in an environment of their own.
  static Environment ofProcess();

  /// The value of one of the variables with a leading tilde expanded; absent when it is unset or empty.
  std::optional<std::string> expanded(const std::optional<std::string>& variable) const;
};

}  // namespace tallyfin
