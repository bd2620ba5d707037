// The server with a clock that advances 20 seconds with every line, so every call refreshes and saves. For
// checks that need many refreshes in a short time.

#include "Platform/Streams.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <csignal>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

int main() {
  using namespace tallyfin;
  std::signal(SIGPIPE, SIG_IGN);
  constexpr double kStep = 20;  // seconds; more than the 15 between refreshes
  double ahead = 0;
  Environment environment = Environment::ofProcess();
  environment.now = [&ahead, clock = environment.now] { return TimePoint{clock().seconds + ahead}; };
  DataSource data(std::move(environment));
  MCPServer server(data, [](std::string_view) {});

  LineInput input(STDIN_FILENO);
  while (const std::optional<std::string_view> line = input.next()) {
    ahead += kStep;
    const std::optional<std::string> reply = server.reply(*line);
    if (reply && !(writeAll(STDOUT_FILENO, *reply) && writeAll(STDOUT_FILENO, "\n"))) {
      return 0;
    }
  }
  return 0;
}
