#pragma once

// What programs around the core learn about the machine, once, at the start.

#include "Platform/Calendar.hpp"
#include "Platform/TimePoint.hpp"

#include <optional>
#include <string>

namespace tallyfin {

/// The machine and the variables that a program uses.
struct Environment {
  std::string home;  ///< the user's real home directory
  /// TALLYFIN_HOME: the directory searched for transcripts instead of `home`.
  std::optional<std::string> tallyfinHome;
  std::optional<std::string> tallyfinCachePath;    ///< TALLYFIN_CACHE_PATH: the cache file
  std::optional<std::string> tallyfinPrices = {};  ///< TALLYFIN_PRICES: the file of own prices
  Calendar calendar = Calendar::utc();             ///< in the machine's zone
  Clock now;                                       ///< the wall clock
  /// The name of the machine's zone if it is unknown or its file is unusable; `calendar` is then in UTC.
  std::optional<std::string> unknownZone = {};

  /// Reads HOME or the password database, the three variables, the zone and the clock. Called once, by `main`
  /// only; tests build their own environment.
  static Environment ofProcess();

  /// A sentence about `unknownZone`; absent if that is absent.
  std::optional<std::string> zoneNote() const;

  /// The value of a variable with a leading tilde expanded; absent if it is unset or empty.
  std::optional<std::string> expanded(const std::optional<std::string>& variable) const;
};

}  // namespace tallyfin
