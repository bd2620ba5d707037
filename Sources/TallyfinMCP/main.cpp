// The server: one line in, at most one line out, until standard input closes. The only place that asks the
// process for its clock, zone, environment and home.

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "TallyfinMCP/DataSource.hpp"
#include "TallyfinMCP/MCP.hpp"
#include "TallyfinMCP/Streams.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace tallyfin;

/// A standard stream that the client left closed must not become the number of a file we open.
void openMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
      open("/dev/null", O_RDWR);  // takes the lowest free number, which is `stream`
    }
  }
}

/// Keeps standard output for the protocol: gives the descriptor to write replies to, and sends whatever else
/// might print there to standard error.
int reserveOutput() {
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output == -1) {
    return STDOUT_FILENO;
  }
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return output;
}

/// One write a line. A log that nobody takes is no reason to stop.
void writeLog(std::string_view text) {
  const std::string line = concat("[tallyfin-mcp] ", text, "\n");
  while (write(STDERR_FILENO, line.data(), line.size()) == -1 && errno == EINTR) {
  }
}

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

TimePoint wallClock() {
  const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return TimePoint{sinceEpoch.count()};
}

Environment environment() {
  return {.home = Files::homeDirectory(),
          .tallyfinHome = variable("TALLYFIN_HOME"),
          .tallyfinCachePath = variable("TALLYFIN_CACHE_PATH"),
          .calendar = Calendar::local(),
          .now = wallClock};
}

std::string startLine(const DataSource& data) {
  std::string line = concat("started; cache = ", data.cache().cachePath(), "; homes = ");
  const char* separator = "";
  for (const SourceHome& home : data.homes()) {
    append(line, separator, home.name);
    separator = ", ";
  }
  return line;
}

}  // namespace

int main() {
  std::signal(SIGPIPE, SIG_IGN);  // a client that went away shows as a failed write
  std::signal(SIGXFSZ, SIG_IGN);  // and a file limit as a failed save
  openMissingStreams();
  const int output = reserveOutput();

  DataSource data(environment());
  MCPServer server(data, writeLog);
  writeLog(startLine(data));

  LineInput input(STDIN_FILENO);
  while (const std::optional<std::string_view> line = input.next()) {
    const std::optional<std::string> reply = server.reply(*line);
    if (reply && !(writeAll(output, *reply) && writeAll(output, "\n"))) {
      return 0;  // nobody is left to answer
    }
  }
  writeLog("stdin closed; exiting");
  return 0;
}
