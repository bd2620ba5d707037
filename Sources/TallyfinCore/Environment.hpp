#pragma once

// What a program around the core is told about the machine, once, at start.

#include "Platform/Calendar.hpp"
#include "Platform/TimePoint.hpp"

#include <optional>
#include <string>

namespace tallyfin {

/// What a program knows of its machine and of the variables that it was started with.
struct Environment {
  std::string home;  ///< the user's real home directory
  /// TALLYFIN_HOME: where transcripts are looked for instead of `home`.
  std::optional<std::string> tallyfinHome;
  std::optional<std::string> tallyfinCachePath;    ///< TALLYFIN_CACHE_PATH: the cache file
  std::optional<std::string> tallyfinPrices = {};  ///< TALLYFIN_PRICES: the file of one's own prices
  Calendar calendar = Calendar::utc();             ///< of the machine's zone
  Clock now;                                       ///< the wall clock
  /// The machine's zone if it is not known or its file cannot be used; `calendar` is then that of UTC.
  std::optional<std::string> unknownZone = {};

  /// Asks the process: HOME and the password database, the three variables, the zone, the clock. Only a
  /// `main` calls this, once; tests hand in an environment of their own.
  static Environment ofProcess();

  /// A sentence that says so; absent without an `unknownZone`.
  std::optional<std::string> zoneNote() const;

  /// The value of one of the variables with a leading tilde expanded; absent when it is unset or empty.
  std::optional<std::string> expanded(const std::optional<std::string>& variable) const;
};

}  // namespace tallyfin
