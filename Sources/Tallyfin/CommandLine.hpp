#pragma once

// Parses a command line: finds the subcommand and checks its options. Also builds the help texts.

#include "Tallyfin/Subcommand.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// A parsed command line.
struct CommandLine {
  const Subcommand* subcommand = nullptr;
  CallArguments arguments;
  std::optional<std::string> text;  ///< help or version, to print instead of running the subcommand
};

/// Throws UsageError. The default subcommand is the first of the table.
CommandLine parse(const std::vector<std::string>& arguments);

/// The parts of a possibly unfinished command line, for help and completion.
struct NamedSubcommand {
  const Subcommand* subcommand = nullptr;  ///< null if none is named or none has this name
  std::string name;                        ///< the words in place of the subcommand's name; may be empty
  std::vector<std::string> rest;           ///< all other words, in order
};
NamedSubcommand findSubcommand(const std::vector<std::string>& words);

/// The help texts: the list of subcommands, and the options of one.
std::string help();
std::string help(const Subcommand& subcommand);

/// The subcommand `help`: prints the help of a named subcommand, otherwise the list.
int runHelp(const Call& call);

}  // namespace tallyfin::Command
