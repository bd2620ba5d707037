// The command's process: its streams, and the only place that asks for clock, zone, environment and home.

#include "Platform/Streams.hpp"
#include "Tallyfin/Command.hpp"

#include <csignal>

#include <unistd.h>

int main(int argc, char** argv) {
  (void)std::signal(SIGPIPE, SIG_IGN);  // a reader that went away shows as a failed write
  (void)std::signal(SIGXFSZ, SIG_IGN);  // and a file limit as a failed save
  const tallyfin::Command::Console console{
      .document = [](std::string_view text) { return tallyfin::writeAll(STDOUT_FILENO, text); },
      .message = [](std::string_view text) { tallyfin::writeAll(STDERR_FILENO, text); },
      .isTerminal = isatty(STDERR_FILENO) == 1};
  return tallyfin::Command::run({argv + (argc > 0 ? 1 : 0), argv + argc}, tallyfin::Environment::ofProcess(),
                                console);
}
