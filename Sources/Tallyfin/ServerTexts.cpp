#include "Platform/Concat.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinMCP/Catalogue.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>
#include <variant>

namespace tallyfin::Command {
namespace {

constexpr std::string_view kPrefix = "tally_";
constexpr std::string_view kSession = "session_id";

std::string dashed(std::string_view name) {
  std::string text(name);
  std::ranges::replace(text, '_', '-');
  return text;
}

// The help of a tool, for people. The descriptions in the catalogue are for agents.
struct Telling {
  std::string_view tool;
  std::string_view summary;
  std::string_view example;
};

constexpr std::array kTellings = {
    Telling{"tally_overview", "What today cost, the current rate, and who spent it", "tallyfin"},
    Telling{"tally_cost", "What a period cost, along one axis", "tallyfin cost 7d --by project"},
    Telling{"tally_top_agents", "Agents by cost", "tallyfin top-agents yesterday --subagents-only"},
    Telling{"tally_top_projects", "Projects by cost, with the agents in each",
            "tallyfin top-projects thisMonth --agents-per-project 5"},
    Telling{"tally_by_model", "Models by cost, with the agents that used each", "tallyfin by-model 30d"},
    Telling{"tally_session", "One session: its agents, models and days", "tallyfin session 74177bb2"},
    Telling{"tally_agent", "One agent: its days, sessions and projects", "tallyfin agent reviewer 30d"},
    Telling{"tally_provenance", "The files behind a figure, and what was lost",
            "tallyfin provenance yesterday --limit 5"},
    Telling{"tally_sources", "Where Tallyfin looked, what it read, and the state of the cache",
            "tallyfin sources"},
};

Option optionOf(const ToolArgument& argument) {
  Option option{.name = dashed(argument.name), .value = "TEXT", .help = argument.description};
  option.isRequired = argument.isRequired;
  option.isWord = argument.isRequired;
  if (argument.type == ToolArgument::Type::boolean) {
    option.value.clear();
  } else if (argument.type == ToolArgument::Type::integer) {
    option.value = "N";
    option.values = Values::number;
  } else if (argument.name == "agent") {
    option.value = "AGENT";
    option.values = Values::agent;
  } else if (argument.name == "project") {
    option.value = "PROJECT";
    option.values = Values::project;
  } else if (argument.name == kSession) {
    option.value = "SESSION";
    if (argument.isRequired) {  // the command takes the last session if none is named
      option.isRequired = false;
      option.help = "The session: its id or the beginning of it, or last (default last)";
    }
    option.values = Values::session;
  } else if (argument.name == "by") {
    option.value = "AXIS";
    option.words = argument.words;
  }
  return option;
}

ToolArgument::Value valueOf(const ToolArgument& argument, const std::string& name,
                            const CallArguments& given) {
  switch (argument.type) {
    case ToolArgument::Type::boolean:
      return true;
    case ToolArgument::Type::integer:
      return *given.number(name);
    case ToolArgument::Type::string:
      break;
  }
  return *given.text(name);
}

// Converts days to arguments of a tool. Reads the transcripts if the range starts with the first day of the
// history.
GivenArguments daysArguments(const Days& days, DataSource& data) {
  if (days.period) {
    return {{"period", *days.period}};
  }
  const Period period = periodOf(days, data);
  return {{"from", data.calendar().formatDay(*period.from)},
          {"to", data.calendar().formatDay(*period.through)}};
}

bool isOfDays(std::string_view argument) {
  return argument == "period" || argument == "from" || argument == "to";
}

int ask(const Tool& tool, const Call& call) {
  const std::optional<Days> days = namesDays(call.arguments) ? std::optional(daysOf(call, "")) : std::nullopt;
  return withTranscripts(call, [&](DataSource& data) {
    GivenArguments arguments = days ? daysArguments(*days, data) : GivenArguments();
    for (const ToolArgument& argument : tool.arguments) {
      const std::string name = dashed(argument.name);
      if (argument.name == kSession && argument.isRequired) {
        arguments.emplace(kSession, std::string(sessionOf(call.arguments.text(name), data).text()));
      } else if (!isOfDays(argument.name) && call.arguments.has(name)) {
        arguments.emplace(argument.name, valueOf(argument, name, call.arguments));
      }
    }
    MCPServer server(data, [](std::string_view) {});
    const MCPServer::ToolResult answer = server.callTool(tool.name, arguments);
    if (answer.isError) {
      tell(answer.text, call.console);
      return failed;
    }
    return print(answer.text, call.console);
  });
}

Subcommand subcommandOf(const Tool& tool) {
  Subcommand subcommand{.name = dashed(tool.name.substr(kPrefix.size())),
                        .summary = std::string(tool.description.substr(0, tool.description.find('.')))};
  for (const ToolArgument& argument : tool.arguments) {
    if (argument.name == "period") {  // the command accepts more words than the tool
      std::ranges::move(daysOptions(std::get<std::string>(argument.fallback)),
                        std::back_inserter(subcommand.options));
    } else if (argument.isListed && !isOfDays(argument.name)) {
      subcommand.options.push_back(optionOf(argument));
    }
  }
  const auto* const telling =
      std::ranges::find_if(kTellings, [&](const Telling& one) { return one.tool == tool.name; });
  if (telling != kTellings.end()) {
    subcommand.summary = telling->summary;
    subcommand.examples = {std::string(telling->example)};
  }
  subcommand.run = [&tool](const Call& call) { return ask(tool, call); };
  return subcommand;
}

}  // namespace

std::vector<Subcommand> serverTexts() {
  std::vector<Subcommand> all;
  for (const Tool& tool : catalogue()) {
    all.push_back(subcommandOf(tool));
  }
  Subcommand today = all.front();
  today.name = "today";
  today.summary = "The same as overview";
  today.examples = {"tallyfin today --top 10"};
  all.insert(all.begin() + 1, std::move(today));
  return all;
}

}  // namespace tallyfin::Command
