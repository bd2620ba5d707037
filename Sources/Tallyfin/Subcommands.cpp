#include "Tallyfin/Subcommands.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/CommandLine.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tallyfin::Command {
namespace {

Subcommand helpCommand() {
  return {.name = "help",
          .summary = "List the commands, or show the options of one",
          .options = {{.name = "command", .value = "COMMAND", .help = "The command", .isWord = true},
                      {.name = "document",
                       .value = "DOCUMENT",
                       .help = "After export: the document",
                       .isWord = true}},
          .examples = {"tallyfin help cost"},
          .run = runHelp};
}

// The table of all subcommands. Add new ones here.
std::vector<Subcommand> makeTable() {
  std::vector<Subcommand> table = serverTexts();
  const auto add = [&table](std::vector<Subcommand> rows) {
    std::ranges::move(rows, std::back_inserter(table));
  };
  add(tables());
  add({sessionList(), agentTree(), status(), budget()});
  add(exports());
  add({prices(), verify(), scan(), helpCommand()});
  return table;
}

}  // namespace

const std::vector<Subcommand>& subcommands() {
  static const std::vector<Subcommand> table = makeTable();
  return table;
}

const Subcommand* subcommandNamed(std::string_view name) {
  const auto found = std::ranges::find(subcommands(), name, &Subcommand::name);
  return found == subcommands().end() ? nullptr : &*found;
}

const std::vector<Option>& commonOptions() {
  static const std::vector<Option> options = {
      {.name = "home",
       .value = "DIR",
       .help = "Read the transcripts in the folders of this directory, with a separate cache unless --cache "
               "names one",
       .values = Values::directory},
      {.name = "cache", .value = "FILE", .help = "Use this cache file", .values = Values::file}};
  return options;
}

}  // namespace tallyfin::Command
