// The same sum must appear in every tool and document. Asks all of them about random homes, days and filters.

#include "Support/ArgumentsOf.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"
#include "TallyfinCore/Exports/ClipboardSummary.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinMCP/Catalogue.hpp"
#include "TallyfinMCP/MCP.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

struct Sum {
  std::int64_t requests = 0;
  std::int64_t tokens = 0;
  double dollars = 0;
  int amounts = 0;  // number of rounded amounts in `dollars`
};

// Sums all amounts and counts in a text, such as "$1,234.50" and "3 requests  ·  999 tokens".
Sum sumOf(std::string text) {
  static const std::regex amount(R"(\$([0-9.]+))");
  static const std::regex volume(R"(([0-9]+) requests? +· +([0-9]+) tokens)");
  text.erase(std::remove(text.begin(), text.end(), ','), text.end());
  Sum sum;
  for (std::sregex_iterator match(text.begin(), text.end(), amount), end; match != end; ++match) {
    sum.dollars += std::stod((*match)[1]);
    ++sum.amounts;
  }
  for (std::sregex_iterator match(text.begin(), text.end(), volume), end; match != end; ++match) {
    sum.requests += std::stoll((*match)[1]);
    sum.tokens += std::stoll((*match)[2]);
  }
  return sum;
}

// The text from `start` to the next empty line.
std::string section(const std::string& text, const std::string& start) {
  const std::size_t from = text.find(start);
  return from == std::string::npos ? "" : text.substr(from, text.find("\n\n", from) - from);
}

std::string line(const std::string& text, const std::string& start) {
  return section(text, start).substr(0, section(text, start).find('\n'));
}

// Sums the rows of a CSV. No cell after `requests` contains a comma.
Sum sumOfTable(const std::string& csv) {
  Sum sum;
  for (std::size_t at = csv.find('\n') + 1; at < csv.size(); at = csv.find('\n', at) + 1) {
    const std::string row = csv.substr(at, csv.find('\n', at) - at);
    std::vector<std::string> cells = {""};
    for (const char c : row) {
      c == ',' ? void(cells.emplace_back()) : cells.back().push_back(c);
    }
    const auto fromEnd = [&](std::size_t n) { return cells[cells.size() - n]; };
    sum.requests += std::stoll(fromEnd(15));
    sum.tokens += std::stoll(fromEnd(9));
    sum.dollars += fromEnd(5) == "unknown" ? 0 : std::stod(fromEnd(5));
  }
  return sum;
}

class SameSum : public testing::Test {
 protected:
  std::size_t below(std::size_t n) { return random_() % n; }

  // Twelve days around a clock change. Token counts are small, so that texts print them in full.
  void fill() {
    const char* const models[] = {"claude-opus-5", "claude-sonnet-5", "claude-haiku-4-5", "nova-1"};
    const char* const agents[] = {"", "", "areviewer-0123456789abcdef", "f00d"};
    const char* const files[] = {".claude/projects/p/a.jsonl", ".claude/projects/p/b.jsonl",
                                 ".claude-work/projects/q/c.jsonl"};
    machine_.home.write(".claude/projects/p/a.meta.json", R"({"agentType":"reviewer"})");
    machine_.home.write(".claude-work/projects/q/c.meta.json", R"({"agentType":"reader"})");
    const double start = machine_.now - 11 * 86'400;
    for (std::size_t i = below(40); i > 0; --i) {
      const UsageLine line{
          .id = std::to_string(i),
          .time = Calendar::utc().formatInstant({start + static_cast<double>(below(12 * 86'400))}),
          .model = models[below(4)],
          .session = "s" + std::to_string(below(5)),
          .cwd = "/nowhere/" + std::to_string(below(4)),
          .agent = agents[below(4)],
          .input = static_cast<std::int64_t>(below(9)),
          .output = 1 + static_cast<std::int64_t>(below(9)),
          .cacheRead = static_cast<std::int64_t>(below(3)),
          .cacheWrite1h = static_cast<std::int64_t>(below(3)),
          .webSearch = static_cast<std::int64_t>(below(700))};
      lines_.push_back(line);
      for (std::size_t copies = 1 + below(5) / 4; copies > 0; --copies) {
        machine_.home.append(files[below(3)], line.text());
      }
    }
  }

  // Arguments with random days and perhaps a filter by an existing name.
  std::string question() {
    std::string text = R"({"period":"all")";
    if (below(4) != 0) {
      const std::size_t first = below(12);
      const auto day = [&](std::size_t n) {
        return machine_.calendar.formatDay(
            machine_.calendar.startOfDay({machine_.now}, -static_cast<int>(n)));
      };
      text = R"({"from":")" + day(first) + R"(","to":")" + day(below(first + 1)) + "\"";
    }
    if (!lines_.empty()) {
      const UsageLine& line = lines_[below(lines_.size())];
      const std::string filters[] = {"", "", R"(,"project":")" + line.cwd + "\"",
                                     R"(,"session_id":")" + line.session + "\"",
                                     R"(,"agent":")" + (line.agent.empty() ? "main" : line.agent) + "\""};
      text += filters[below(5)];
    }
    return text;
  }

  std::mt19937 random_{20260310};  // NOLINT(bugprone-random-generator-seed): the same homes every time
  Machine machine_{{2026, 3, 12}, 21, 30, "America/New_York"};
  std::vector<UsageLine> lines_;
};

void expectAllTheSame(DataSource& data, const std::string& question) {
  SCOPED_TRACE(question);
  const auto answer = [&](std::string_view tool, const std::string& arguments) {
    return MCPServer(data, [](std::string_view) {}).callTool(tool, argumentsOf(arguments)).text;
  };
  const Arguments given(toolNamed("tally_cost")->arguments, argumentsOf(question + "}"));
  const Period period = Tools::periodOf(given, data);
  const Filters filters = Tools::filtersOf(given, data);
  const Report report = data.report(period, filters.predicate, neededFor(allAxes));
  Exporter::Options options{.generatedAt = data.now(), .calendar = data.calendar()};
  options.from = period.from;
  options.to = period.through;
  options.sourceFiles = data.cache().recordsPerFile();
  options.recordFilter = filters.predicate;
  options.summaryAxes.assign(allAxes.begin(), allAxes.end());
  options.summaryRowLimit = 1000;

  const Sum sum = sumOfTable(Exporter::breakdownCSV(report, Exporter::Axis::model, options));
  const auto expectVolume = [&](const Sum& other, const std::string& where) {
    EXPECT_EQ(other.requests, sum.requests) << where;
    EXPECT_EQ(other.tokens, sum.tokens) << where;
  };
  const auto expectDollars = [&](const Sum& other, const std::string& where) {
    EXPECT_NEAR(other.dollars, sum.dollars, 0.0051 * other.amounts + 1e-4) << where;
  };
  const std::string summary = Exporter::clipboardSummary(report, options);
  for (const Exporter::Axis axis : allAxes) {
    const std::string name(rawValue(axis));
    const Sum rows = sumOfTable(Exporter::breakdownCSV(report, axis, options));
    expectVolume(rows, name);
    expectDollars(rows, name);
    const Sum shown = sumOf(section(summary, "\n" + std::string(title(axis)) + "\n"));
    expectVolume(shown, "summary, " + name);
    expectDollars(shown, "summary, " + name);
  }
  expectVolume(sumOf(section(summary, "TOTAL ")), "summary");
  expectDollars(sumOf(section(summary, "TOTAL ")), "summary");

  for (const Exporter::ProvenanceLine& one :
       Exporter::provenanceLines(report, options, Exporter::Stamps(options.calendar))) {
    if (one.item == "requests" || one.item == "requests_in_report" || one.item == "requests_seen_in_files") {
      EXPECT_EQ(one.value, std::to_string(sum.requests)) << one.item;
    } else if (one.item == "total_tokens") {
      EXPECT_EQ(one.value, std::to_string(sum.tokens));
    } else if (one.item == "total_cost") {
      EXPECT_NEAR(one.value == "unknown" ? 0 : std::stod(one.value), sum.dollars, 1e-4);
    }
  }

  for (const char* axis : {"day", "agent", "project", "model", "session"}) {
    const std::string cost = answer("tally_cost", question + R"(,"by":")" + axis + "\"}");
    expectVolume(sumOf(section(cost, "BREAKDOWN BY")), axis);
    expectDollars(sumOf(section(cost, "BREAKDOWN BY")), axis);
    expectDollars(sumOf(line(cost, "  TOTAL  ")), axis);
    EXPECT_EQ(cost.find("  tokens " + std::to_string(sum.tokens) + " (in ") != std::string::npos,
              sum.requests > 0);
  }
  const std::string models = answer("tally_by_model", question + R"(,"agents_per_model":0})");
  const std::size_t rows = models.find("\n\n");
  expectVolume(sumOf(models.substr(rows)), "tally_by_model");
  expectDollars(sumOf(models.substr(rows)), "tally_by_model");
  expectDollars(sumOf(line(models, "  TOTAL ")), "tally_by_model");
  const std::string provenance = answer("tally_provenance", question + "}");
  expectDollars(sumOf(line(provenance, "  cost   ")), "tally_provenance");
  expectVolume(sumOf(section(provenance, "BY HOME")), "tally_provenance");
  expectDollars(sumOf(section(provenance, "BY HOME")), "tally_provenance");
  for (const char* label : {"  distinct requests in files    ", "  requests in the report above  "}) {
    EXPECT_EQ(line(provenance, label), label + std::to_string(sum.requests));
  }
}

TEST_F(SameSum, InEveryToolAndDocument) {
  for (int home = 0; home < 8; ++home) {
    machine_.home.remove(".claude");
    machine_.home.remove(".claude-work");
    machine_.home.remove("cache");  // the cache would treat the new files as grown old ones
    lines_.clear();
    fill();
    DataSource data(machine_.environment());
    for (int asked = 0; asked < 6; ++asked) {
      expectAllTheSame(data, question());
    }
  }
}

}  // namespace
}  // namespace tallyfin
