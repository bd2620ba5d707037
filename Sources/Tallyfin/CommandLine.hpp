#pragma once

// From the words of a command line to a subcommand with its options, checked; and the help that tells them.

#include "Tallyfin/Subcommand.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// What a command line asks for.
struct CommandLine {
  const Subcommand* subcommand = nullptr;
  Arguments arguments;
  std::optional<std::string> text;  ///< help or the version, to be printed instead
};

/// Throws UsageError. A subcommand that is not named is the first of the table.
CommandLine parse(const std::vector<std::string>& arguments);

/// What stands where in a line that may not be finished.
struct NamedSubcommand {
  const Subcommand* subcommand = nullptr;  ///< null when none is named, or none that exists
  std::string name;                        ///< the words that stand where its name belongs; may be empty
  std::vector<std::string> rest;           ///< all other words, in their order
};
NamedSubcommand findSubcommand(const std::vector<std::string>& words);

/// The list of subcommands; the options of one.
std::string help();
std::string help(const Subcommand& subcommand);

/// The subcommand `help`: of the whole, or of the subcommand that is named.
int runHelp(const Call& call);

}  // namespace tallyfin::Command
