#include "Tallyfin/Console.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Streams.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/str_join.h"
#include "absl/strings/str_split.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <vector>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tallyfin::Command {
namespace {

bool isTerminal(int stream) {
  return isatty(stream) == 1;
}

// The value of an environment variable; empty if it is not set.
std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

int widthOfTerminal() {
  const int given = std::atoi(variable("COLUMNS").c_str());
  winsize size{};
  if (given < 1 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return given > 0 ? given : 80;
}

// The first of these variables that is set determines the locale.
bool isUtf8Locale() {
  for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string value = Text::lowercased(variable(name));
    if (!value.empty()) {
      return value.ends_with("utf-8") || value.ends_with("utf8") ||
             value.find("utf-8@") != std::string::npos || value.find("utf8@") != std::string::npos;
    }
  }
  return false;
}

// A program that pipes something in writes it immediately, so reading stops after `kPatience` even if the
// pipe stays open.
std::string inputOfProcess() {
  constexpr std::size_t kMost = std::size_t{1} << 20;
  constexpr std::chrono::milliseconds kPatience(100);
  std::string text;
  if (isTerminal(STDIN_FILENO)) {
    return text;
  }
  const auto end = std::chrono::steady_clock::now() + kPatience;
  std::array<char, 16384> piece{};
  while (text.size() < kMost) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd waiting{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) < 1) {
      break;
    }
    const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (count <= 0) {
      break;
    }
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

Console consoleOfProcess() {
  Console console{.document = [](std::string_view text) { return writeAll(STDOUT_FILENO, text); },
                  .message = [](std::string_view text) { writeAll(STDERR_FILENO, text); },
                  .input = inputOfProcess,
                  .showsDocuments = isTerminal(STDOUT_FILENO),
                  .showsMessages = isTerminal(STDERR_FILENO)};
  console.width = widthOfTerminal();
  console.hasColour = console.showsDocuments && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
  console.hasUtf8 = isUtf8Locale();
  return console;
}

std::string visible(std::string_view text) {
  return absl::StrJoin(std::vector<std::string>(absl::StrSplit(std::string(text), '\n')), "\n",
                       [](std::string* out, const std::string& line) {
                         append(*out, Text::visible(line, std::numeric_limits<std::size_t>::max()));
                       });
}

}  // namespace tallyfin::Command
