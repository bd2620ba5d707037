#include "Tallyfin/Command.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/CommandLine.hpp"
#include "Tallyfin/Completion.hpp"
#include "Tallyfin/Manual.hpp"
#include "Tallyfin/WithTranscripts.hpp"

#include <exception>
#include <utility>

namespace tallyfin::Command {
namespace {

int runLine(const std::vector<std::string>& arguments, Environment environment, const Console& console) {
  const CommandLine line = parse(arguments);
  if (line.text) {
    return print(*line.text, console);
  }
  environment = withOptions(std::move(environment), line.arguments);
  requireCacheOrNothing(environment, line.arguments);
  if (const std::optional<std::string> note = environment.zoneNote()) {
    tell(*note, console);
  }
  return line.subcommand->run({.arguments = line.arguments, .environment = environment, .console = console});
}

}  // namespace

int run(const std::vector<std::string>& arguments, Environment environment, const Console& console) {
  try {
    if (!arguments.empty() && arguments[0] == "__complete") {  // called by shell completion
      return print(offers({arguments.begin() + 1, arguments.end()}, std::move(environment)), console);
    }
    if (!arguments.empty() && arguments[0] == "__manual") {  // the source of docs/man/tallyfin.1
      return print(manual(), console);
    }
    return runLine(arguments, std::move(environment), console);
  } catch (const UsageError& error) {
    tell(error.what(), console);
    return wrongUsage;
  } catch (const std::exception& error) {
    tell(error.what(), console);
    return failed;
  }
}

}  // namespace tallyfin::Command
