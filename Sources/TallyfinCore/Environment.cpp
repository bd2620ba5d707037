#include "TallyfinCore/Environment.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"

#include <chrono>
#include <cstdlib>

namespace tallyfin {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

TimePoint wallClock() {
  const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return TimePoint{sinceEpoch.count()};
}

}  // namespace

Environment Environment::ofProcess() {
  const std::string zone = Calendar::localZone();
  const std::optional<Calendar> calendar = Calendar::named(zone);
  return {.home = Files::homeDirectory(),
          .tallyfinHome = variable("TALLYFIN_HOME"),
          .tallyfinCachePath = variable("TALLYFIN_CACHE_PATH"),
          .tallyfinPrices = variable("TALLYFIN_PRICES"),
          .calendar = calendar.value_or(Calendar::utc()),
          .now = wallClock,
          .unknownZone = calendar ? std::nullopt : std::optional(zone)};
}

std::optional<std::string> Environment::zoneNote() const {
  if (!unknownZone) {
    return std::nullopt;
  }
  return concat("the time zone \"", *unknownZone,
                "\" is not known or its file cannot be used: days are those of UTC");
}

std::optional<std::string> Environment::expanded(const std::optional<std::string>& variable) const {
  if (!variable || variable->empty()) {
    return std::nullopt;
  }
  return Files::expandingTilde(*variable, home);
}

}  // namespace tallyfin
