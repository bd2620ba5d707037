// MeasureServer: measures the server's answers, each as a ratio to something measured in the same run.
//
// Only ratios within one run are meaningful, because the machine, its load and the page cache are then the
// same for both figures. A run counts lines with `wc -l`, asks a server without a cache file, asks the same
// server for everything else, and asks a new server that finds the cache file. Before the first run, `wc -l`
// runs once to warm the page cache.

#include "Client.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <span>
#include <stdexcept>
#include <thread>

#include <sched.h>

namespace {

namespace fs = std::filesystem;
using tallyfin::bench::Client;
using tallyfin::bench::Ending;

constexpr std::string_view kUsage =
    "MeasureServer SERVER COMMAND HOME FIFTH CACHE RUNS [--check]\n"
    "\n"
    "Times the answers of SERVER and the scans of COMMAND over the transcripts below HOME, RUNS times, and "
    "prints\n"
    "ratios. FIFTH is a home with a fifth of the transcripts. CACHE is the cache file to use; it is removed "
    "before\n"
    "each run. A file of one transcript below HOME is grown by one request a run. With --check it ends with "
    "1 when a\n"
    "ratio is above its limit.\n";

// The figures of one run, by name.
using Run = std::map<std::string, double>;

// One row of the result: one figure divided by another, and the highest accepted ratio.
struct Ratio {
  std::string name;
  std::string value;
  std::string base;
  double limit = 0;  // 0: no limit
};

const std::vector<Ratio> ratios = {
    {"cold first answer / wc -l", "cold", "wc", 1.8},
    {"its processor time / wc -l", "cold processor", "wc", 3.2},
    {"cold on one processor / wc -l", "cold on 1", "wc", 0},
    {"its processor time / wc -l", "cold processor on 1", "wc", 0},
    {"warm first answer / wc -l", "warm", "wc", 0.22},
    {"one file grown / cold on one processor", "grown", "cold on 1", 0.05},
    {"overview inside 15 s / wc -l", "soon", "wc", 0},
    {"tally_cost, slowest axis / wc -l", "cost", "wc", 0.03},
    {"tally_top_projects, all / tally_cost", "projects", "cost", 2},
    {"tally_by_model, all / tally_cost", "models", "cost", 2},
    {"tally_provenance / tally_cost", "provenance", "cost", 5},
    {"start to initialize / true", "initialize", "true", 5},
    {"peak memory / (48 MB + 350 B a request)", "memory", "memory allowed", 1},
    {"peak memory / wc -l", "memory", "wc memory", 0},
    {"scan on all processors / serial", "parallel", "serial", 0.65},
    {"cold / cold of a fifth", "cold", "cold fifth", 5.5},
    {"warm / warm of a fifth", "warm", "warm fifth", 5.5},
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::vector<std::string> transcripts(const fs::path& home) {
  std::vector<std::string> paths;
  for (const auto& entry : fs::recursive_directory_iterator(home)) {
    if (entry.is_regular_file() && entry.path().extension() == ".jsonl")
      paths.push_back(entry.path().string());
  }
  if (paths.empty()) throw std::runtime_error("no transcripts below " + home.string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

// Seconds of a call that must succeed. Stores the answer in `text`, unless null.
double timed(Client& client, std::string_view tool, const nlohmann::json& arguments,
             std::string* text = nullptr) {
  Client::Answer answer = client.call(tool, arguments);
  if (answer.isError) throw std::runtime_error("the server says: " + answer.text);
  if (text != nullptr) *text = std::move(answer.text);
  return answer.seconds;
}

// The fastest of three calls; used for calls of a few milliseconds.
double least(Client& client, std::string_view tool, const nlohmann::json& arguments) {
  double best = timed(client, tool, arguments);
  for (int i = 0; i < 2; ++i) best = std::min(best, timed(client, tool, arguments));
  return best;
}

void end(Client& client, double* peakMegabytes = nullptr) {
  const Ending ending = client.finish();
  if (ending.exitStatus != 0) throw std::runtime_error("the server did not end well");
  if (peakMegabytes != nullptr) *peakMegabytes = ending.peakMegabytes;
}

// The number after a label in the answer of tally_sources.
double numberBehind(const std::string& text, std::string_view label) {
  const std::size_t at = text.find(label);
  if (at == std::string::npos) throw std::runtime_error("tally_sources does not tell what was expected");
  std::string digits;
  for (const char c : text.substr(at + label.size(), text.find('\n', at) - at - label.size())) {
    if (c >= '0' && c <= '9') digits += c;
  }
  return std::stod(digits);
}

constexpr double kMegabyte = 1e6;

// Processes started in the scope of this object run on the first processor only.
class OnOneProcessor {
 public:
  OnOneProcessor() {
    sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    int first = 0;
    while (!CPU_ISSET(first, &before_)) ++first;
    CPU_SET(first, &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~OnOneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
  OnOneProcessor(const OnOneProcessor&) = delete;
  OnOneProcessor& operator=(const OnOneProcessor&) = delete;

 private:
  cpu_set_t before_{};
};

// A home with its transcripts, and the cache file for the server that reads them.
struct Place {
  Place(const std::string& home, const std::string& cache)
      : environment{"TALLYFIN_HOME=" + home, "TALLYFIN_CACHE_PATH=" + cache}, files(transcripts(home)) {}

  std::vector<std::string> environment;
  std::vector<std::string> files;
};

class Measurement {
 public:
  explicit Measurement(std::span<char*> arguments)
      : server_(arguments[0]),
        command_(arguments[1]),
        home_(arguments[2]),
        cache_(arguments[4]),
        whole_(home_, cache_),
        fifth_(arguments[3], cache_),
        counting_{"wc", "-l"} {
    counting_.insert(counting_.end(), whole_.files.begin(), whole_.files.end());
    tallyfin::bench::runCommand(counting_);
  }

  std::size_t files() const { return whole_.files.size(); }

  Run run() {
    Run run;
    fs::remove(cache_);
    run["cold fifth"] = firstAnswer(fifth_);
    run["warm fifth"] = firstAnswer(fifth_);
    const Ending base = tallyfin::bench::runCommand(counting_);
    run["wc"] = base.seconds;
    run["wc memory"] = base.peakMegabytes;
    cold(run);
    Client client(server_, whole_.environment);
    timed(client, "tally_overview", {});
    run["warm"] = tallyfin::bench::secondsSince(client.started());
    inside(client, run);
    grow();
    run["grown"] = timed(client, "tally_cost", {{"period", "today"}});
    end(client);
    // The first read after the pause would be slower, because its memory has gone idle. This scan takes that
    // cost, so that neither of the two timed scans does.
    tallyfin::bench::runCommand({command_, "--home", home_, "scan"});
    run["serial"] = tallyfin::bench::runCommand({command_, "--home", home_, "scan", "--serial"}).seconds;
    run["parallel"] = tallyfin::bench::runCommand({command_, "--home", home_, "scan"}).seconds;
    startUp(run);
    return run;
  }

 private:
  double firstAnswer(const Place& place) const {
    Client client(server_, place.environment);
    timed(client, "tally_overview", {});
    const double seconds = tallyfin::bench::secondsSince(client.started());
    end(client);
    return seconds;
  }

  void cold(Run& run) const {
    fs::remove(cache_);
    {
      const OnOneProcessor one;
      Client client(server_, whole_.environment);
      timed(client, "tally_overview", {});
      run["cold on 1"] = tallyfin::bench::secondsSince(client.started());
      run["cold processor on 1"] = client.processorSeconds();
      end(client);
    }
    fs::remove(cache_);
    Client client(server_, whole_.environment);
    timed(client, "tally_overview", {});
    run["cold"] = tallyfin::bench::secondsSince(client.started());
    run["cold processor"] = client.processorSeconds();
    std::string sources;
    timed(client, "tally_sources", {}, &sources);
    run["memory allowed"] = 48 + numberBehind(sources, "unified requests") * 350 / kMegabyte;
    end(client, &run["memory"]);
  }

  // Calls within 15 seconds of each other, for which the server does not read the disk.
  static void inside(Client& client, Run& run) {
    run["soon"] = least(client, "tally_overview", {});
    for (const char* axis : {"day", "agent", "project", "model", "session"}) {
      run["cost"] = std::max(run["cost"], least(client, "tally_cost", {{"period", "all"}, {"by", axis}}));
    }
    const int all = 1'000'000;
    run["projects"] =
        least(client, "tally_top_projects", {{"period", "all"}, {"limit", all}, {"agents_per_project", all}});
    run["models"] = least(client, "tally_by_model", {{"period", "all"}, {"agents_per_model", all}});
    run["provenance"] = least(client, "tally_provenance", {{"period", "all"}});
  }

  // Appends a request to a transcript and waits until the server reads the disk again.
  void grow() {
    std::ofstream file(whole_.files.front(), std::ios::app);
    file
        << R"({"timestamp":"2026-06-30T12:00:00Z","requestId":"grown-)" << ++grown_
        << R"(","sessionId":"grown","message":{"id":"m","model":"claude-opus-5","usage":{"output_tokens":1}}})"
        << "\n";
    if (!file.flush()) throw std::runtime_error("cannot write to " + whole_.files.front());
    std::this_thread::sleep_for(std::chrono::milliseconds(15'500));
    // Some systems drop idle folders from memory within seconds. This warms the page cache before timing
    // starts.
    transcripts(home_);
  }

  void startUp(Run& run) const {
    std::vector<double> nothing;
    std::vector<double> handshakes;
    for (int i = 0; i < 20; ++i) {
      nothing.push_back(tallyfin::bench::runCommand({"/bin/true"}).seconds);
      Client client(server_, whole_.environment);
      handshakes.push_back(client.handshakeSeconds());
      end(client);
    }
    run["true"] = median(nothing);
    run["initialize"] = median(handshakes);
  }

  std::string server_;
  std::string command_;
  std::string home_;
  std::string cache_;
  Place whole_;
  Place fifth_;
  std::vector<std::string> counting_;
  int grown_ = 0;
};

// Prints the table. Returns false if a ratio exceeds its limit.
bool report(const std::vector<Run>& runs) {
  bool allHold = true;
  absl::PrintF("%-42s %9s %9s %9s %9s   %s\n", "", "median", "least", "most", "limit", "median itself");
  for (const Ratio& ratio : ratios) {
    std::vector<double> quotients;
    std::vector<double> values;
    for (const Run& run : runs) {
      quotients.push_back(run.at(ratio.value) / run.at(ratio.base));
      values.push_back(run.at(ratio.value));
    }
    const auto [lowest, highest] = std::minmax_element(quotients.begin(), quotients.end());
    const double middle = median(quotients);
    const bool holds = ratio.limit == 0 || middle <= ratio.limit;
    allHold = allHold && holds;
    absl::PrintF("%-42s %9.4f %9.4f %9.4f %9s   %.4f %s%s\n", ratio.name, middle, *lowest, *highest,
                 ratio.limit == 0 ? "" : absl::StrFormat("%.4f", ratio.limit), median(values),
                 ratio.value == "memory" ? "MB" : "s", holds ? "" : "   ABOVE THE LIMIT");
  }
  return allHold;
}

}  // namespace

int main(int argc, char** argv) {
  const auto arguments = std::span(argv, static_cast<std::size_t>(argc)).subspan(1);
  try {
    int runs = 0;
    const bool isCheck = arguments.size() == 7 && std::string_view(arguments[6]) == "--check";
    if (arguments.size() == 6 || isCheck) {
      const std::string_view text = arguments[5];
      std::from_chars(text.data(), text.data() + text.size(), runs);
    }
    if (runs < 1) {
      absl::FPrintF(stderr, "%s", kUsage);
      return 2;
    }
    Measurement measurement(arguments);
    std::vector<Run> measured;
    measured.reserve(static_cast<std::size_t>(runs));
    for (int run = 0; run < runs; ++run) measured.push_back(measurement.run());
    absl::PrintF("%d transcripts, %d runs; each ratio is of two figures of the same run\n\n",
                 measurement.files(), runs);
    return !report(measured) && isCheck ? 1 : 0;
  } catch (const std::exception& error) {
    absl::FPrintF(stderr, "MeasureServer: %s\n", error.what());
    return 1;
  }
}
