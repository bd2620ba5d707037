// Command lines with all that they print, compared with files: Golden/HOME/*.txt, where `home.txt` says clock
// and zone and what lies on the disk. TALLYFIN_ACCEPT=1 makes what is printed now the new expectation.
//
//   === $ tallyfin cost 7d 'a b'      a command line; below it standard output, lines of standard error
//   behind
//                                     "! ", and the exit status unless it is 0
//   === given terminal [COLUMNS [ascii|colour]]|closed|TZ NAME|input TEXT|nothing     what the next lines
//   find
//   === write|append PATH TEXT, remove PATH, mkdir PATH, link PATH TARGET, read PATH, list PATH

#include "Platform/Concat.hpp"
#include "Support/Machine.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Manual.hpp"
#include "Tallyfin/Transcripts.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <utility>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Steps and what stands below each; what stands above the first is a remark.
std::vector<std::pair<std::string, std::string>> stepsOf(const std::string& content) {
  std::vector<std::pair<std::string, std::string>> steps;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("=== ")) {
      steps.emplace_back(line.substr(4), "");
    } else if (!steps.empty()) {
      steps.back().second += line + "\n";
    }
  }
  return steps;
}

// The words of a command line; blanks between single quotes belong to a word.
std::vector<std::string> wordsOf(const std::string& line) {
  std::vector<std::string> words;
  bool isQuoted = false;
  bool isOpen = false;
  for (const char c : line) {
    if (c == '\'') {
      isQuoted = !isQuoted;
    } else if (c == ' ' && !isQuoted) {
      isOpen = false;
      continue;
    }
    if (!std::exchange(isOpen, true)) {
      words.emplace_back();
    }
    words.back() += c == '\'' ? "" : std::string(1, c);
  }
  return words;
}

std::string firstWord(std::string& text) {
  const std::size_t blank = text.find(' ');
  std::string word = text.substr(0, blank);
  text.erase(0, blank == std::string::npos ? blank : blank + 1);
  return word;
}

class Session {
 public:
  explicit Session(const fs::path& home) {
    for (auto& [what, content] : stepsOf(contentOf(home))) {
      std::string rest = what;
      if (firstWord(rest) == "clock") {
        const std::string day = firstWord(rest);
        const std::string time = firstWord(rest);
        machine_.calendar = Calendar::named(rest).value();
        machine_.now = machine_.calendar.parseDay(day).value().seconds + std::stoi(time) * 3600.0 +
                       std::stoi(time.substr(3)) * 60.0;
      } else {
        disk().write(what, content);
      }
    }
  }

  std::string act(const std::string& step) {
    std::string rest = replaced(step, "{HOME}", disk().path());
    const std::string verb = firstWord(rest);
    const std::string what = verb == "$" ? "" : firstWord(rest);
    std::string given;
    if (verb == "$") {
      given = run(wordsOf(rest));
    } else if (verb == "given") {
      give(what, rest);
    } else if (verb == "read") {
      given = disk().read(what);
    } else if (verb == "list") {
      given = list(disk().path(what));
    } else if (verb == "write" || verb == "append") {
      verb == "write" ? disk().write(what, rest + "\n") : disk().append(what, rest + "\n");
    } else if (verb == "remove") {
      disk().remove(what);
    } else if (verb == "mkdir") {
      disk().makeDirectory(what);
    } else if (verb == "link") {
      disk().link(what, rest);
    } else {
      ADD_FAILURE() << "no such step: " << step;
    }
    // What differs from run to run: the home, names made of it, and those of temporary files.
    given = std::regex_replace(given, std::regex("home-[0-9a-f]{16}|tmp\\.[0-9.]+"), "{NAME}");
    return replaced(given, disk().path(), "{HOME}");
  }

 private:
  const TempHome& disk() const { return machine_.home; }

  static std::string list(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      names.push_back(entry.path().filename().string() + "\n");
    }
    std::ranges::sort(names);
    std::string all;
    for (const std::string& name : names) {
      all += name;
    }
    return all;
  }

  void give(const std::string& what, const std::string& value) {
    isTerminal_ = what == "terminal";
    isClosed_ = what == "closed";
    input_ = what == "input" ? value : "";
    zone_ = what == "TZ" ? std::optional(value) : std::nullopt;
    width_ = isTerminal_ && !value.empty() ? std::stoi(value) : 80;
    hasUtf8_ = !value.ends_with("ascii");
    hasColour_ = value.ends_with("colour");
  }

  std::string run(std::vector<std::string> words) {
    words.erase(words.begin());
    std::string out;
    std::string err;
    Command::Console console{.document =
                                 [&](std::string_view text) {
                                   out += text;
                                   return !isClosed_;
                                 },
                             .message = [&](std::string_view text) { err += text; },
                             .input = [&] { return input_; },
                             .showsDocuments = isTerminal_,
                             .showsMessages = isTerminal_,
                             .width = width_,
                             .hasColour = hasColour_,
                             .hasUtf8 = hasUtf8_};
    Environment environment = machine_.environment();
    environment.unknownZone = zone_;
    const int status = Command::run(words, environment, console);
    std::istringstream lines(err);
    for (std::string line; std::getline(lines, line);) {
      append(out, out.empty() || out.ends_with('\n') ? "" : "\n", "! ", line, "\n");
    }
    return status == 0 ? out
                       : concat(out, out.ends_with('\n') ? "" : "\n", "[", std::to_string(status), "]\n");
  }

  Machine machine_{{2026, 1, 1}, 0, 0};
  bool isTerminal_ = false;
  bool isClosed_ = false;
  int width_ = 80;
  bool hasUtf8_ = true;
  bool hasColour_ = false;
  std::string input_;
  std::optional<std::string> zone_;
};

TEST(Command, PrintsWhatTheFilesSay) {
  for (const auto& entry : fs::recursive_directory_iterator(TALLYFIN_SOURCE "/Tests/Command/Golden")) {
    if (entry.path().extension() != ".txt" || entry.path().filename() == "home.txt") {
      continue;
    }
    const std::string expected = contentOf(entry.path());
    std::string now = expected.substr(0, expected.find("=== "));
    Session session(entry.path().parent_path() / "home.txt");
    for (const auto& [step, answer] : stepsOf(expected)) {
      const std::string given = session.act(step);
      append(now, "=== ", step, "\n", given, given.empty() || given.ends_with('\n') ? "" : "\n",
             given.empty() ? "" : "\n");
    }
    if (std::getenv("TALLYFIN_ACCEPT") != nullptr) {
      std::ofstream(entry.path(), std::ios::binary) << now;
    }
    EXPECT_EQ(now, expected) << entry.path();
  }
}

TEST(Command, ALongReadShowsHowFarItIs) {
  std::string shown;
  double now = 100;
  Command::Console console{.document = {}, .message = [&](std::string_view text) { shown += text; }};
  console.showsMessages = true;
  {
    Command::Progress progress(console, [&] { return TimePoint{now}; });
    for (const double seconds : {0.1, 0.4, 0.45, 0.6}) {
      now = 100 + seconds;
      progress.show(static_cast<std::uint64_t>(seconds * 1e7), 10'000'000);
    }
    EXPECT_TRUE(Command::progressIsShown());
  }
  EXPECT_EQ(shown,
            "\r\033[Kreading transcripts: 4.0 of 10.0 MB\r\033[Kreading transcripts: 6.0 of 10.0 MB\r\033[K");
  EXPECT_FALSE(Command::progressIsShown());
}

TEST(Command, TheManualIsTheTable) {
  EXPECT_EQ(Command::manual(), contentOf(TALLYFIN_SOURCE "/docs/man/tallyfin.1"))
      << "tallyfin __manual > docs/man/tallyfin.1 makes it anew";
}

}  // namespace
}  // namespace tallyfin
