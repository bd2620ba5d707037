// Compares whole answers and documents with files that contain the expected text.
//
//   Golden                      compares every file below this folder with the current output
//   Golden small/overview.txt   compares only these files
//   Golden --accept [FILE...]   shows the differences and writes the current output
//
// A folder describes a home: `home.txt` sets clock, time zone and files. Every other file in it is a list of
// steps. A step is a line that starts with "=== "; its expected answer follows, then an extra line feed. A
// step without an answer has the same answer as the next one. {HOME} is replaced by the path of the home.
//
//   === tally_cost {"by":"day"}           a tool with its arguments
//   === > {"id":1,"method":"ping"}        a protocol line: expects the reply and the log
//   === csv day {"limit":2}               a document: csv, name, provenance, summary, html (without style)
//   === $ tallyfin cost 7d 'a b'          a command line: expects standard output, lines of standard error
//                                         after "! ", and the exit status in brackets unless it is 0
//   === given terminal 40                 sets up the next command lines (CommandLines.hpp)
//   === wait 15                           lets seconds pass
//   === clock 2026-03-10 14:30 UTC        restarts the server at this time
//   === write|append PATH TEXT, remove PATH, mkdir PATH, link PATH TARGET, read PATH, list FOLDER

#include "Golden/CommandLines.hpp"
#include "Golden/Steps.hpp"
#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"
#include "TallyfinCore/Exports/ClipboardSummary.hpp"
#include "TallyfinCore/Exports/FileNames.hpp"
#include "TallyfinCore/Exports/Page.hpp"
#include "TallyfinCore/Exports/PageTemplate.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>
#include <set>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace tallyfin {
namespace {

using nlohmann::json;

class Session {
 public:
  explicit Session(const fs::path& home) { furnish(machine_, home); }

  // Runs a step. Returns its answer; empty for a step that only changes something.
  std::string act(const std::string& question) {
    std::string rest = replaced(question, "{HOME}", disk().path());
    const std::string verb = firstWord(rest);
    // Replaces what differs between runs: names derived from the home's path, names of temporary files, and
    // the path itself.
    const std::string given =
        std::regex_replace(answer(verb, rest), std::regex("home-[0-9a-f]{16}|tmp\\.[0-9.]+"), "{NAME}");
    return replaced(given, disk().path(), "{HOME}");
  }

 private:
  const TempHome& disk() const { return machine_.home; }

  std::string answer(const std::string& verb, std::string& rest) {
    if (verb == "$") {
      return commands_.run(rest);
    }
    if (verb == ">") {
      return exchange(rest);
    }
    if (verb.starts_with("tally_")) {
      return call(verb, rest);
    }
    if (std::set<std::string>{"csv", "provenance", "summary", "name", "html"}.contains(verb)) {
      const std::string axis = verb == "csv" || verb == "name" ? firstWord(rest) : "";
      return document(verb, axis, json::parse(rest.empty() ? "{}" : rest));
    }
    if (verb == "read") {
      return disk().read(rest);
    }
    if (verb == "list") {
      return commands_.list(rest);
    }
    change(verb, rest);
    return {};
  }

  void change(const std::string& verb, std::string rest) {
    const std::string what = firstWord(rest);
    if (verb == "clock") {
      setClock(machine_, what + " " + rest);
      server_.reset();
      data_.reset();
    } else if (verb == "wait") {
      machine_.now += std::stod(what);
    } else if (verb == "write") {
      disk().write(what, rest + "\n");
    } else if (verb == "append") {
      disk().append(what, rest + "\n");
    } else if (verb == "remove") {
      disk().remove(what);
    } else if (verb == "mkdir") {
      disk().makeDirectory(what);
    } else if (verb == "link") {
      disk().link(what, rest);
    } else if (verb == "given") {
      commands_.give(what, rest);
    } else {
      throw std::runtime_error("no such step: " + verb);
    }
  }

  MCPServer& server() {
    if (!server_) {
      data_ = std::make_unique<DataSource>(machine_.environment());
      server_ = std::make_unique<MCPServer>(
          *data_, [this](std::string_view line) { log_ += concat("log: ", line, "\n"); });
    }
    return *server_;
  }

  std::string exchange(const std::string& line) {
    log_.clear();
    const std::string reply = server().reply(line).value_or("(no reply)");
    return concat(log_, reply);
  }

  std::string call(const std::string& tool, const std::string& arguments) {
    const json reply =
        json::parse(exchange(concat(R"({"id":1,"method":"tools/call","params":{"name":")", tool,
                                    R"(","arguments":)", arguments.empty() ? "{}" : arguments, "}}")));
    const json& result = reply.at("result");
    return (result.at("isError").get<bool>() ? "ERROR " : "") +
           result.at("content").at(0).at("text").get<std::string>();
  }

  std::string document(const std::string& kind, const std::string& axis, const json& given) {
    server();
    data_->ensureFresh();
    Exporter::Options options{.generatedAt = data_->now(), .calendar = data_->calendar()};
    if (given.contains("label")) {
      options.periodLabel = given["label"];
    }
    const auto day = [&](const char* name) {
      return given.contains(name) ? options.calendar.parseDay(given[name].get<std::string>()) : std::nullopt;
    };
    options.from = day("from");
    options.to = day("to");
    if (given.contains("limit")) {
      options.limitPerAxis = given["limit"];
    }
    if (given.contains("model")) {
      options.recordFilter = [model = InternedText(given["model"].get<std::string>())](
                                 const UsageRecord& record) { return record.model == model; };
    }
    options.byteOrderMark = given.value("bom", false);
    options.summaryRowLimit = given.value("rows", std::int64_t{10});
    for (const json& name : given.value("axes", json::array())) {
      options.summaryAxes.push_back(axisNamed(name.get<std::string>()).value());
    }
    if (given.value("files", true)) {
      options.sourceFiles = data_->cache().recordsPerFile();
    }
    if (kind == "name") {
      return Exporter::suggestedFileName(axis == "provenance"
                                             ? Exporter::Document::provenance()
                                             : Exporter::Document::breakdown(axisNamed(axis).value()),
                                         options);
    }
    const Aggregator aggregator(data_->calendar(), data_->resolver());
    const Report report =
        aggregator.aggregate(data_->records(), options.from, options.to, data_->diagnostics(),
                             given.value("hours", true), options.recordFilter);
    if (kind == "html") {
      return replaced(replaced(Exporter::page(report, aggregator, data_->records(), options),
                               std::string(Exporter::pageStyle), "..."),
                      std::string(Exporter::pageStyleHash), "...");
    }
    if (kind == "summary") {
      return Exporter::clipboardSummary(report, options);
    }
    return kind == "provenance" ? Exporter::provenanceCSV(report, options) : tables(axis, report, options);
  }

  // The CSV of one axis, or of all axes that have rows.
  static std::string tables(const std::string& axis, const Report& report, const Exporter::Options& options) {
    if (axis != "all") {
      return Exporter::breakdownCSV(report, axisNamed(axis).value(), options);
    }
    std::string all;
    for (const Exporter::AxisCSV& table : Exporter::allBreakdownCSVs(report, options)) {
      all += concat(rawValue(table.axis), "\n", table.csv);
    }
    return all;
  }

  Machine machine_{{2026, 1, 1}, 0, 0};
  CommandLines commands_{machine_};
  std::string log_;
  std::unique_ptr<DataSource> data_;
  std::unique_ptr<MCPServer> server_;
};

// The content of a file with the current answers.
std::string today(const fs::path& file, const std::string& expected) {
  std::string all;
  const std::vector<Step> steps = stepsOf(expected, all);
  Session session(file.parent_path() / "home.txt");
  std::string held;  // steps that share the next answer
  std::string answer;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    std::string given = session.act(steps[i].question);
    if (!held.empty() && given != answer) {
      all += concat(held, answer, "\n");
      held.clear();
    }
    held += "=== " + steps[i].question + "\n";
    answer = std::move(given);
    const bool givesNothing = answer.empty() && steps[i].answer.empty();
    if (givesNothing || !steps[i].answer.empty() || i + 1 == steps.size()) {
      all += concat(held, answer, givesNothing ? "" : "\n");
      held.clear();
    }
  }
  return all;
}

// Shows how a file differs from `now`.
void show(const fs::path& file, const std::string& now) {
  const TempHome scratch;
  const std::string command =
      concat("diff -u --label expected --label now '", file.string(), "' '", scratch.write("now", now), "'");
  std::cout << file.string() << " differs:" << std::endl;  // flushed before diff prints
  if (std::system(command.c_str()) < 0) {
    std::cout << now;
  }
}

int run(std::vector<std::string> arguments) {
  const bool accepts = std::erase(arguments, "--accept") > 0;
  std::vector<fs::path> files(arguments.begin(), arguments.end());
  if (files.empty()) {
    for (const auto& entry : fs::recursive_directory_iterator(TALLYFIN_GOLDEN)) {
      if (entry.path().extension() == ".txt" && entry.path().filename() != "home.txt") {
        files.push_back(entry.path());
      }
    }
  }
  std::sort(files.begin(), files.end());
  int differing = 0;
  for (const fs::path& given : files) {
    const fs::path file = fs::path(TALLYFIN_GOLDEN) / given;
    const std::string expected = contentOf(file);
    const std::string now = today(file, expected);
    if (now != expected) {
      ++differing;
      show(file, now);
      if (accepts) {
        std::ofstream(file, std::ios::binary) << now;
      }
    }
  }
  std::cout << files.size() << " files, " << differing << (accepts ? " changed\n" : " differ\n");
  return differing == 0 || accepts ? 0 : 1;
}

}  // namespace
}  // namespace tallyfin

int main(int count, char** arguments) {
  ::setenv("TMPDIR", "/tmp", 1);  // some columns cut paths, so home paths must have equal length
  try {
    return tallyfin::run({arguments + 1, arguments + count});
  } catch (const std::exception& error) {
    std::cout << error.what() << "\n";
    return 2;
  }
}
