// The server: at most one line out for each line in, until standard input closes. Only this file reads the
// clock, time zone, environment and home of the process, through Environment::ofProcess.

#include "Platform/Concat.hpp"
#include "Platform/Streams.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinMCP/MCP.hpp"
#include "absl/strings/str_join.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace tallyfin;

// Reserves standard output for the protocol: returns a descriptor for the replies and redirects all other
// output to standard error.
int reserveOutput() {
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output == -1) {
    return STDOUT_FILENO;
  }
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return output;
}

// Writes the line in one call. Ignores failures: the server works without its log.
void writeLog(std::string_view text) {
  const std::string line = concat("[tallyfin-mcp] ", text, "\n");
  while (write(STDERR_FILENO, line.data(), line.size()) == -1 && errno == EINTR) {
  }
}

std::string startLine(const DataSource& data) {
  return concat("started; cache = ", data.cache().cachePath(),
                "; homes = ", absl::StrJoin(data.homes(), ", ", [](std::string* out, const SourceHome& home) {
                  out->append(home.name);
                }));
}

constexpr std::string_view kHelp =
    "TallyfinMCP tells a client of the Model Context Protocol what coding agents cost on this machine.\n"
    "\n"
    "A client starts it, without arguments, and talks to it over standard input and output:\n"
    "\n"
    "  {\"mcpServers\": {\"tallyfin\": {\"command\": \"/absolute/path/to/TallyfinMCP\"}}}\n"
    "\n"
    "  -h, --help   print this text\n"
    "  --version    print the version\n"
    "\n"
    "TALLYFIN_HOME, TALLYFIN_CACHE_PATH and TALLYFIN_PRICES name other places for transcripts, cache and "
    "own\n"
    "prices. For reports on a terminal there is the command tallyfin.\n";

// The text that a user requested instead of a client session. Other arguments are ignored.
std::optional<std::string> textFor(std::span<char*> arguments) {
  if (arguments.size() != 1) {
    return std::nullopt;
  }
  const std::string_view argument = arguments.front();
  if (argument == "--version") {
    return concat("TallyfinMCP ", MCPServer::serverVersion, "\n");
  }
  return argument == "--help" || argument == "-h" ? std::optional<std::string>(kHelp) : std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a client that has exited then shows as a failed write
  std::signal(SIGXFSZ, SIG_IGN);  // a file size limit then shows as a failed save
  openMissingStreams(O_RDWR);
  if (const auto text = textFor(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0))) {
    return writeAll(STDOUT_FILENO, *text) ? 0 : 1;
  }
  const int output = reserveOutput();

  const Environment environment = Environment::ofProcess();
  DataSource data(environment);
  MCPServer server(data, writeLog);
  writeLog(startLine(data));
  if (const std::optional<std::string> note = environment.zoneNote()) {
    writeLog(*note);
  }
  if (data.prices().problem) {
    writeLog(concat("own prices are not used: ", data.prices().file, ": ", *data.prices().problem));
  }

  LineInput input(STDIN_FILENO);
  while (const std::optional<std::string_view> line = input.next()) {
    const std::optional<std::string> reply = server.reply(*line);
    if (reply && !(writeAll(output, *reply) && writeAll(output, "\n"))) {
      return 0;  // the client is gone
    }
  }
  writeLog("stdin closed; exiting");
  return 0;
}
