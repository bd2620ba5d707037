// CompareWithWc: how long the server takes, as multiples of `wc -l` over the same transcripts.
//
// Only ratios within one run say something: the machine, its load and the page cache are then the same for
// both. Each run counts lines, asks a server without a cache file, asks it again at once, and asks a new
// server that finds the cache file. A round of `wc -l` before the first run warms the page cache.

#include "Client.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <span>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using tallyfin::bench::Client;
using tallyfin::bench::Ending;

constexpr std::string_view usage =
    "CompareWithWc SERVER HOME CACHE RUNS\n"
    "\n"
    "Times the first and later answers of SERVER over the transcripts below HOME, RUNS times. CACHE is the\n"
    "cache file to use; it is removed before each run.\n";

/// One measured thing: a figure of each run, and the same divided by the run's `wc -l`.
struct Row {
  std::string name;
  std::vector<double> values;
  std::vector<double> ratios;

  void add(double value, double base) {
    values.push_back(value);
    ratios.push_back(value / base);
  }
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void print(const Row& row, std::string_view unit) {
  const auto [least, most] = std::minmax_element(row.ratios.begin(), row.ratios.end());
  absl::PrintF("%-34s %9.3f %9.3f %9.3f   %10.4f %s\n", row.name, median(row.ratios), *least, *most,
               median(row.values), unit);
}

std::vector<std::string> lineCount(const fs::path& home) {
  std::vector<std::string> command = {"wc", "-l"};
  for (const auto& entry : fs::recursive_directory_iterator(home)) {
    if (entry.is_regular_file() && entry.path().extension() == ".jsonl")
      command.push_back(entry.path().string());
  }
  if (command.size() == 2) throw std::runtime_error("no transcripts below " + home.string());
  std::sort(command.begin() + 2, command.end());
  return command;
}

/// A server of its own cache file, asked for the overview twice.
struct Visit {
  double first = 0;   ///< seconds from the start of the process to its first answer
  double second = 0;  ///< seconds of the call after that
  double peakMegabytes = 0;

  Visit(const std::string& server, const std::vector<std::string>& environment) {
    Client client(server, environment);
    check(client.call("tally_overview", nlohmann::json::object()));
    first = tallyfin::bench::secondsSince(client.started());
    const auto again = client.call("tally_overview", nlohmann::json::object());
    check(again);
    second = again.seconds;
    const Ending ending = client.finish();
    if (ending.exitStatus != 0) throw std::runtime_error("the server did not end well");
    peakMegabytes = ending.peakMegabytes;
  }

  static void check(const Client::Answer& answer) {
    if (answer.isError) throw std::runtime_error("the server says: " + answer.text);
  }
};

int compare(const std::string& server, const fs::path& home, const fs::path& cache, int runs) {
  const std::vector<std::string> counting = lineCount(home);
  const std::vector<std::string> environment = {"TALLYFIN_HOME=" + home.string(),
                                                "TALLYFIN_CACHE_PATH=" + cache.string()};
  tallyfin::bench::runCommand(counting);

  Row lines{"wc -l", {}, {}};
  Row cold{"cold first answer", {}, {}};
  Row warm{"warm first answer", {}, {}};
  Row soon{"answer inside the 15 seconds", {}, {}};
  Row memory{"peak memory, cold", {}, {}};
  for (int run = 0; run < runs; ++run) {
    const Ending base = tallyfin::bench::runCommand(counting);
    lines.add(base.seconds, base.seconds);
    fs::remove(cache);
    const Visit withoutCache(server, environment);
    const Visit withCache(server, environment);
    cold.add(withoutCache.first, base.seconds);
    warm.add(withCache.first, base.seconds);
    soon.add(withCache.second, base.seconds);
    memory.add(withoutCache.peakMegabytes, base.peakMegabytes);
  }

  absl::PrintF("%d transcripts, %d runs; ratios to `wc -l` over the same files in the same run\n\n",
               counting.size() - 2, runs);
  absl::PrintF("%-34s %9s %9s %9s   %s\n", "", "median", "least", "most", "median itself");
  for (const Row* row : {&lines, &cold, &warm, &soon}) print(*row, "s");
  print(memory, "MB");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const auto arguments = std::span(argv, static_cast<std::size_t>(argc)).subspan(1);
  try {
    int runs = 0;
    if (arguments.size() == 4) {
      const std::string_view text = arguments[3];
      std::from_chars(text.data(), text.data() + text.size(), runs);
    }
    if (runs < 1) {
      absl::FPrintF(stderr, "%s", usage);
      return 2;
    }
    return compare(arguments[0], arguments[1], arguments[2], runs);
  } catch (const std::exception& error) {
    absl::FPrintF(stderr, "CompareWithWc: %s\n", error.what());
    return 1;
  }
}
