// The programs with the clock fixed at TALLYFIN_TEST_NOW (seconds since 1970), so that the docs can show
// their output. Runs the server if called as `TallyfinMCP`, otherwise the command.

#include "Platform/Streams.hpp"
#include "Tallyfin/Command.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

int main(int argc, char** argv) {
  using namespace tallyfin;
  const char* const now = std::getenv("TALLYFIN_TEST_NOW");
  Environment environment = Environment::ofProcess();
  environment.now = [moment = TimePoint{std::atof(now == nullptr ? "0" : now)}] { return moment; };
  if (!std::string_view(argv[0]).ends_with("TallyfinMCP")) {
    return Command::run({argv + 1, argv + argc}, environment, Command::consoleOfProcess());
  }
  DataSource data(std::move(environment));
  MCPServer server(data, [](std::string_view) {});
  LineInput input(STDIN_FILENO);
  while (const std::optional<std::string_view> line = input.next()) {
    if (const std::optional<std::string> reply = server.reply(*line)) {
      writeAll(STDOUT_FILENO, *reply + "\n");
    }
  }
  return 0;
}
