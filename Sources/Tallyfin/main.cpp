// The process of the command: its streams and signals. Only this file reads the clock, time zone, environment
// and home of the process.

#include "Platform/Streams.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Progress.hpp"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Removes the progress line from the terminal before a signal, such as from Ctrl-C, ends the process. The
// cache needs no cleanup, because its file is replaced as a whole or not at all.
extern "C" void stop(int signal) {
  if (tallyfin::Command::progressIsShown()) {
    const ssize_t written =
        write(STDERR_FILENO, tallyfin::Command::eraseLine.data(), tallyfin::Command::eraseLine.size());
    (void)written;
  }
  (void)std::signal(signal, SIG_DFL);
  (void)std::raise(signal);
}

// Installs `stop` for a signal, unless the process was started with the signal ignored, as by nohup or in the
// background of a script.
void stopOn(int signal) {
  struct sigaction found {};
  if (sigaction(signal, nullptr, &found) == 0 && found.sa_handler != SIG_IGN) {
    (void)std::signal(signal, stop);
  }
}

}  // namespace

int main(int argc, char** argv) {
  tallyfin::openMissingStreams(O_RDONLY);  // later writes then fail as to a closed stream
  (void)std::signal(SIGPIPE, SIG_IGN);     // a reader that has exited then shows as a failed write
  (void)std::signal(SIGXFSZ, SIG_IGN);     // a file size limit then shows as a failed save
  stopOn(SIGINT);
  stopOn(SIGTERM);
  return tallyfin::Command::run({argv + (argc > 0 ? 1 : 0), argv + argc}, tallyfin::Environment::ofProcess(),
                                tallyfin::Command::consoleOfProcess());
}
