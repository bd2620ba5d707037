#include "TallyfinCore/Environment.hpp"

#include "Platform/Files.hpp"
#include "TallyfinCore/ScanCache.hpp"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

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

/// The value of an environment variable with its tilde expanded; an empty one counts as unset.
std::optional<std::string> expanded(const std::optional<std::string>& value, const std::string& home) {
  if (!value || value->empty()) {
    return std::nullopt;
  }
  return Files::expandingTilde(*value, home);
}

}  // namespace

std::string cacheLocation(const Environment& environment) {
  const std::optional<std::string> given = expanded(environment.tallyfinCachePath, environment.home);
  if (!given) {
    return ScanCache::defaultPath(Files::applicationSupportDirectory(environment.home));
  }
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(*given, error);
  std::string path = error ? *given : absolute.string();
  if (const std::string_view folder = Files::withoutLastComponent(path); !folder.empty()) {
    Files::createDirectories(std::string(folder));
  }
  return path;
}

Environment Environment::ofProcess() {
  return {.home = Files::homeDirectory(),
          .tallyfinHome = variable("TALLYFIN_HOME"),
          .tallyfinCachePath = variable("TALLYFIN_CACHE_PATH"),
          .calendar = Calendar::local(),
          .now = wallClock};
}

std::vector<SourceHome> sourceHomes(const Environment& environment) {
  return SourceHome::defaults(
      expanded(environment.tallyfinHome, environment.home).value_or(environment.home));
}

}  // namespace tallyfin
