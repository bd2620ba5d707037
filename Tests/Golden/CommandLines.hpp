#pragma once

// Runs the command on a test machine as a shell would.

#include "Golden/Steps.hpp"
#include "Platform/Concat.hpp"
#include "Support/LimitedTo.hpp"
#include "Tallyfin/Command.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace tallyfin {

class CommandLines {
 public:
  explicit CommandLines(const Machine& machine) : machine_(machine) {}

  /// Sets up the next command lines: "terminal [COLUMNS [ascii|colour]]", "closed", "TZ NAME", "input TEXT",
  /// "no-descriptor", "nothing".
  void give(const std::string& what, const std::string& value) {
    isTerminal_ = what == "terminal";
    isClosed_ = what == "closed";
    hasDescriptors_ = what != "no-descriptor";
    input_ = what == "input" ? value : "";
    zone_ = what == "TZ" ? std::optional(value) : std::nullopt;
    width_ = isTerminal_ && !value.empty() ? std::stoi(value) : 80;
    hasUtf8_ = !value.ends_with("ascii");
    hasColour_ = value.ends_with("colour");
  }

  /// Returns standard output, then each line of standard error after "! ", then the exit status unless it is
  /// 0.
  std::string run(const std::string& line) {
    std::vector<std::string> words = wordsOf(line);
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
    std::optional<LimitedTo> few;
    if (!hasDescriptors_) {
      few.emplace(RLIMIT_NOFILE, 0);
    }
    const int status = Command::run(words, environment, console);
    std::istringstream lines(err);
    for (std::string message; std::getline(lines, message);) {
      append(out, out.empty() || out.ends_with('\n') ? "" : "\n", "! ", message, "\n");
    }
    append(out, out.empty() || out.ends_with('\n') ? "" : "\n");
    return status == 0 ? out : concat(out, "[", std::to_string(status), "]\n");
  }

  /// The names in a folder, one per line.
  std::string list(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(machine_.home.path(folder))) {
      names.push_back(entry.path().filename().string() + "\n");
    }
    std::ranges::sort(names);
    std::string all;
    for (const std::string& name : names) {
      all += name;
    }
    return all;
  }

 private:
  // The words of a command line. Blanks inside single quotes do not separate words.
  static std::vector<std::string> wordsOf(const std::string& line) {
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

  const Machine& machine_;
  bool isTerminal_ = false;
  bool isClosed_ = false;
  bool hasDescriptors_ = true;
  int width_ = 80;
  bool hasUtf8_ = true;
  bool hasColour_ = false;
  std::string input_;
  std::optional<std::string> zone_;
};

}  // namespace tallyfin
