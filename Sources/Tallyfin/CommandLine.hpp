#pragma once

// Parses a command line: finds the subcommand and checks its options. Also the help that describes them.

#include "Tallyfin/Subcommand.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// What a command line asks for.
struct CommandLine {
  const Subcommand* subcommand = nullptr;
  CallArguments arguments;
  std::optional<std::string> text;  ///< help or the version, to be printed instead
};

/// Throws UsageError. A subcommand that is not named is the first of the table.
CommandLine parse(const std::vector<std::string>& arguments);

/// The parts of a command line that may be unfinished, for help and completion.
struct NamedSubcommand {
  const Subcommand* subcommand = nullptr;  ///< null when none is named, or none that exists
  std::string name;                        ///< the words that stand where its name belongs; may be empty
  std::vector<std::string> rest;           ///< all other words, in their order
};
NamedSubcommand findSubcommand(const std::vector<std::string>& words);

/// The text of help: the list of subcommands, or the options of one.
std::string help();
std::string help(const Subcommand& subcommand);

/// The subcommand `help`: of the whole, or of the subcommand that is named.
int runHelp(const Call& call);

}  // namespace tallyfin::Command
