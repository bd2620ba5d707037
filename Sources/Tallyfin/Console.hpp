#pragma once

// The streams of the command, and what they can show.

#include <functional>
#include <string>
#include <string_view>

namespace tallyfin::Command {

/// The streams of the command.
struct Console {
  std::function<bool(std::string_view)> document;  ///< writes to standard output; false if that failed
  std::function<void(std::string_view)> message;   ///< writes to standard error
  /// Reads what another program sends on standard input, at most 1 MiB. Empty if nothing arrives within 0.1
  /// seconds or standard input is a terminal.
  std::function<std::string()> input = [] { return std::string(); };
  bool showsDocuments = false;  ///< standard output is a terminal
  bool showsMessages = false;   ///< standard error is a terminal
  int width = 80;               ///< columns per line on standard output
  bool hasColour = false;       ///< standard output supports colours and the user wants them
  bool hasUtf8 = true;          ///< the locale's encoding is UTF-8
};

/// The console of the process. Only `main` calls this, once.
Console consoleOfProcess();

/// A text that is safe to print on a terminal: each line as Text::visible returns it. Names come from
/// transcripts, which anyone may have written.
std::string visible(std::string_view text);

}  // namespace tallyfin::Command
