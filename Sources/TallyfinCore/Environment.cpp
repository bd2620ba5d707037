#include "TallyfinCore/Environment.hpp"

#include "Platform/Files.hpp"

#include <chrono>
#include <cstdlib>

namespace tallyfin {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

// The value of TZ when it names no known zone; a colon before the name is ignored.
std::optional<std::string> zoneNotUnderstood() {
  std::optional<std::string> zone = variable("TZ");
  if (!zone || zone->empty() || *zone == "localtime" || *zone == ":localtime" ||
      Calendar::named(zone->substr(zone->starts_with(':') ? 1 : 0))) {
    return std::nullopt;
  }
  return zone;
}

TimePoint wallClock() {
  const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return TimePoint{sinceEpoch.count()};
}

}  // namespace

Environment Environment::ofProcess() {
  return {.home = Files::homeDirectory(),
          .tallyfinHome = variable("TALLYFIN_HOME"),
          .tallyfinCachePath = variable("TALLYFIN_CACHE_PATH"),
          .tallyfinPrices = variable("TALLYFIN_PRICES"),
          .calendar = Calendar::local(),
          .now = wallClock,
          .unknownZone = zoneNotUnderstood()};
}

std::optional<std::string> Environment::expanded(const std::optional<std::string>& variable) const {
  if (!variable || variable->empty()) {
    return std::nullopt;
  }
  return Files::expandingTilde(*variable, home);
}

}  // namespace tallyfin
