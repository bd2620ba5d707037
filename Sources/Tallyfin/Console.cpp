#include "Tallyfin/Console.hpp"

#include "Platform/Streams.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/str_format.h"

#include <array>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdlib>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tallyfin::Command {
namespace {

bool isTerminal(int stream) {
  return isatty(stream) == 1;
}

// A variable that is set to something.
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

// The first of these variables that is set names the locale.
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

// A program writes what it has at once, so an idle pipe is left after a moment and a slow one soon after.
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
    const ssize_t count = read(STDIN_FILENO, piece.data(), piece.size());
    if (count <= 0) {
      break;
    }
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

// The code point of a mark that turns the direction of what follows, at the beginning of well-formed text; 0
// for anything else. Its length is three bytes, but two for U+061C.
unsigned directionMark(std::string_view text) {
  if (text.starts_with("\xD8\x9C")) {
    return 0x61C;
  }
  if (text.size() < 3 || text[0] != '\xE2') {
    return 0;
  }
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]) & 0x3FU; };
  const unsigned point = 0x2000U | byte(1) << 6U | byte(2);
  const bool turns = point == 0x200E || point == 0x200F || (point >= 0x202A && point <= 0x202E) ||
                     (point >= 0x2066 && point <= 0x2069);
  return turns ? point : 0;
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
  const std::string whole = Text::repaired(text);
  std::string out;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const auto c = static_cast<unsigned char>(whole[i]);
    if ((c < 0x20 && c != '\n') || c == 0x7F) {
      out += absl::StrFormat("\\x%02X", c);
    } else if (c == 0xC2 && static_cast<unsigned char>(whole[i + 1]) < 0xA0) {  // U+0080 to U+009F
      out += absl::StrFormat("\\u%04X", static_cast<unsigned char>(whole[++i]));
    } else if (const unsigned mark = directionMark(std::string_view(whole).substr(i)); mark != 0) {
      out += absl::StrFormat("\\u%04X", mark);
      i += mark < 0x800 ? 1 : 2;
    } else {
      out += whole[i];
    }
  }
  return out;
}

}  // namespace tallyfin::Command
