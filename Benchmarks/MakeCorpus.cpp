// MakeCorpus: writes a home with realistic transcripts. Equal options give equal files.

#include "Corpus.hpp"

#include <charconv>
#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace {

using tallyfin::corpus::Milliseconds;
using tallyfin::corpus::Options;

constexpr std::string_view kUsage =
    "MakeCorpus --out DIR --megabytes M [options]\n"
    "\n"
    "Makes DIR, new or empty, a home with agent transcripts and rosters, M megabytes of them.\n"
    "Equal options give equal files.\n"
    "\n"
    "  --seed N          another corpus of the same kind (default 1)\n"
    "  --end yyyy-MM-dd  the last day, until 18:00 UTC (default 2026-06-30)\n"
    "  --now SECONDS     instead: the last moment, in seconds since 1970\n"
    "  --days D          how many days back the sessions reach (default 30)\n"
    "  --repositories    put the working directories into DIR/src and make them, each project a repository;\n"
    "                    otherwise they are only names below /home/dev/src\n";

template <typename T>
std::optional<T> number(std::string_view text, T low, T high) {
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) return {};
  return value;
}

// 18:00 UTC on a day given as yyyy-MM-dd.
std::optional<Milliseconds> evening(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return {};
  const auto year = number<int>(text.substr(0, 4), 1971, 9999);
  const auto month = number<unsigned>(text.substr(5, 2), 1, 12);
  const auto day = number<unsigned>(text.substr(8, 2), 1, 31);
  if (!year || !month || !day) return {};
  const std::chrono::year_month_day date{std::chrono::year(*year), std::chrono::month(*month),
                                         std::chrono::day(*day)};
  if (!date.ok()) return {};
  const std::chrono::sys_time<std::chrono::milliseconds> time =
      std::chrono::sys_days(date) + std::chrono::hours(18);
  return time.time_since_epoch().count();
}

// The options, or nothing if they are invalid.
std::optional<Options> parse(std::span<char*> arguments) {
  Options options;
  std::optional<Milliseconds> now = evening("2026-06-30");
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view name = arguments[i];
    if (name == "--repositories") {
      options.makeRepositories = true;
      continue;
    }
    if (i + 1 == arguments.size()) return {};
    const std::string_view value = arguments[++i];
    if (name == "--out") {
      options.out = value;
    } else if (name == "--megabytes") {
      options.bytes = number<std::uint64_t>(value, 1, 1'000'000).value_or(0) * 1'000'000;
    } else if (name == "--seed") {
      const auto seed = number<std::uint64_t>(value, 0, std::numeric_limits<std::uint64_t>::max());
      if (!seed) return {};
      options.seed = *seed;
    } else if (name == "--days") {
      options.days = number<std::int64_t>(value, 1, 10'000).value_or(0);
    } else if (name == "--end") {
      now = evening(value);
    } else if (name == "--now") {
      now = number<Milliseconds>(value, 1'000'000'000, 100'000'000'000);
      if (now) *now *= 1000;
    } else {
      return {};
    }
  }
  if (options.out.empty() || options.bytes == 0 || options.days == 0 || !now) return {};
  options.now = *now;
  options.out = std::filesystem::absolute(options.out).lexically_normal().string();
  options.sources = options.makeRepositories ? options.out + "/src" : "/home/dev/src";
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto options = parse(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    if (!options) {
      std::cerr << kUsage;
      return 2;
    }
    const auto summary = tallyfin::corpus::writeCorpus(*options);
    std::cout << summary.files << " files, " << summary.bytes << " bytes, " << summary.counts.lines
              << " lines, " << summary.counts.usageLines << " with usage ("
              << summary.counts.usageBytes * 100 / summary.bytes << " % of the bytes), "
              << summary.counts.requests << " requests\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "MakeCorpus: " << error.what() << "\n";
    return 1;
  }
}
