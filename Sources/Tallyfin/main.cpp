// The command's process: its streams and signals, and the only place that asks for clock, zone, environment
// and home.

#include "Platform/Streams.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Progress.hpp"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Removes the progress line from the terminal before a signal, such as that of Ctrl-C, ends the process. The
// cache needs nothing here: its file is replaced as a whole or not at all.
extern "C" void stop(int signal) {
  if (tallyfin::Command::progressIsShown()) {
    const ssize_t written =
        write(STDERR_FILENO, tallyfin::Command::eraseLine.data(), tallyfin::Command::eraseLine.size());
    (void)written;
  }
  (void)std::signal(signal, SIG_DFL);
  (void)std::raise(signal);
}

// Has `stop` handle the signal, unless the process was started with it ignored, as by nohup or in the
// background of a script.
void stopOn(int signal) {
  struct sigaction found {};
  if (sigaction(signal, nullptr, &found) == 0 && found.sa_handler != SIG_IGN) {
    (void)std::signal(signal, stop);
  }
}

}  // namespace

int main(int argc, char** argv) {
  tallyfin::openMissingStreams(O_RDONLY);  // writing then fails as to a closed stream
  (void)std::signal(SIGPIPE, SIG_IGN);     // a reader that went away shows as a failed write
  (void)std::signal(SIGXFSZ, SIG_IGN);     // and a limit of file sizes as a failed save
  stopOn(SIGINT);
  stopOn(SIGTERM);
  return tallyfin::Command::run({argv + (argc > 0 ? 1 : 0), argv + argc}, tallyfin::Environment::ofProcess(),
                                tallyfin::Command::consoleOfProcess());
}
