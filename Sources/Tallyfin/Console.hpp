#pragma once

// Where the command reads and writes, and what it may print there.

#include <functional>
#include <string>
#include <string_view>

namespace tallyfin::Command {

/// The streams of the command.
struct Console {
  std::function<bool(std::string_view)> document;  ///< standard output; false when nobody takes it
  std::function<void(std::string_view)> message;   ///< standard error
  /// What another program sends on standard input, 1 MiB at most; empty when nothing comes within 0.1 seconds
  /// or standard input is a terminal.
  std::function<std::string()> input = [] { return std::string(); };
  bool showsDocuments = false;  ///< standard output is a terminal
  bool showsMessages = false;   ///< standard error is a terminal
  int width = 80;               ///< columns of a line on standard output
  bool hasColour = false;       ///< standard output shows colours and they are wanted
  bool hasUtf8 = true;          ///< the locale's encoding is UTF-8
};

/// The console of the process. Only `main` calls this, once.
Console consoleOfProcess();

/// A text as a terminal may show it: each line as Text::visible has it, since names come from transcripts,
/// which anyone may have written.
std::string visible(std::string_view text);

}  // namespace tallyfin::Command
