#include "Tallyfin/CommandLine.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include <CLI/CLI.hpp>

namespace tallyfin::Command {
namespace {

// Parses the arguments of one subcommand with the CLI library.
class Parser {
 public:
  explicit Parser(const Subcommand& subcommand) : subcommand_(subcommand) {
    app_.name(concat("tallyfin ", subcommand.name));
    app_.description(subcommand.summary);
    app_.allow_extras();  // refuse() reports them and suggests an option
    app_.get_formatter()->column_width(30);
    app_.footer(subcommand.examples.empty()
                    ? ""
                    : concat("Example: ", absl::StrJoin(subcommand.examples, "\n         ")));
    for (const auto* options : {&subcommand.options, &commonOptions()}) {
      for (const Option& option : *options) {
        added_.emplace_back(&option, add(option));
      }
    }
  }

  std::string help() const { return app_.help(); }

  // The end of messages that do not list what is accepted.
  std::string seeHelp() const { return concat("; see `tallyfin help ", subcommand_.name, "`"); }

  // Throws CLI::ParseError, UsageError.
  CallArguments parse(const std::vector<std::string>& words) {
    std::vector<std::string> backwards = apart(words);
    std::ranges::reverse(backwards);
    app_.parse(backwards);
    for (const std::string& word : app_.remaining()) {
      refuse(word);
    }
    CallArguments arguments;
    for (const auto& [option, parsed] : added_) {
      if (parsed->count() > 0 && !(option->value.empty() && parsed->results().back() != "true")) {
        arguments.set(option->name, checked(*option, parsed->results().back()));
      } else if (option->isRequired) {
        throw UsageError(concat("`", subcommand_.name, "` needs ",
                                option->isWord ? "" : concat("--", option->name, " "), option->value, ": ",
                                helpOf(*option)));
      }
    }
    return arguments;
  }

 private:
  CLI::Option* add(const Option& option) {
    std::string names = concat("--", option.name);
    if (!option.otherName.empty()) {
      append(names, ",--", option.otherName);
    }
    if (option.value.empty()) {
      return app_.add_flag(names, option.help);
    }
    CLI::Option* const added = app_.add_option(option.isWord ? concat(names, ",", option.name) : names,
                                               CLI::callback_t(), helpOf(option));
    return added->type_name(option.value);
  }

  static std::string helpOf(const Option& option) {
    const bool isOneOf = option.values == Values::word || option.values == Values::words;
    return isOneOf ? concat(option.help, ": ", absl::StrJoin(option.words, ", ")) : option.help;
  }

  // Splits "--name=" into "--name" and an empty word; otherwise the library would take the next word as the
  // value.
  static std::vector<std::string> apart(const std::vector<std::string>& words) {
    std::vector<std::string> result;
    for (const std::string& word : words) {
      if (word.starts_with("--") && word.size() > 3 && word.ends_with('=')) {
        result.push_back(word.substr(0, word.size() - 1));
        result.emplace_back();
      } else {
        result.push_back(word);
      }
    }
    return result;
  }

  [[noreturn]] void refuse(const std::string& word) const {
    if (!word.starts_with('-')) {
      throw UsageError(concat("`", subcommand_.name, "` takes no argument \"", word, "\"", seeHelp()));
    }
    std::vector<std::string> known = {"--help"};
    for (const auto& [option, parsed] : added_) {
      known.push_back(concat("--", option->name));
    }
    const std::string meant = nearest(word.substr(0, word.find('=')), known);
    throw UsageError(concat("`", subcommand_.name, "` has no option ", word,
                            meant.empty() ? seeHelp() : concat("; did you mean ", meant, "?")));
  }

  // The accepted word that equals a text, ignoring letter case.
  static std::string wordOf(const Option& option, const std::string& text) {
    for (const std::string& word : option.words) {
      if (Text::lowercased(word) == Text::lowercased(text)) {
        return word;
      }
    }
    throw UsageError(
        concat("--", option.name, ": \"", text, "\" is not one of ", absl::StrJoin(option.words, ", ")));
  }

  static std::string checked(const Option& option, const std::string& text) {
    if (option.values == Values::number &&
        (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)) {
      throw UsageError(concat("--", option.name, ": \"", text, "\" is not a whole number of 0 or more"));
    }
    if (option.values == Values::word) {
      return wordOf(option, text);
    }
    if (option.values == Values::words) {
      CallArguments list;
      list.set("", text);
      std::vector<std::string> words = list.list("");
      std::ranges::transform(words, words.begin(),
                             [&](const std::string& one) { return wordOf(option, one); });
      return absl::StrJoin(words, ",");
    }
    return text;
  }

  const Subcommand& subcommand_;
  CLI::App app_;
  std::vector<std::pair<const Option*, CLI::Option*>> added_;
};

std::vector<std::string> allNames() {
  std::vector<std::string> names;
  for (const Subcommand& one : subcommands()) {
    names.push_back(one.name);
  }
  return names;
}

// The second words of subcommands that start with `first`: "csv, json" for "export".
std::string secondWords(const std::string& first) {
  std::string words;
  for (const std::string& name : allNames()) {
    if (name.starts_with(first + " ")) {
      append(words, words.empty() ? "" : ", ", name.substr(first.size() + 1));
    }
  }
  return words;
}

[[noreturn]] void refuseName(const std::string& name) {
  if (const std::string words = secondWords(name); !words.empty()) {
    throw UsageError(concat("`", name, "` needs one of ", words));
  }
  std::vector<std::string> words = allNames();
  for (const std::string& one : allNames()) {
    words.push_back(one.substr(one.find(' ') + 1));  // users may omit the first of two words
  }
  const std::string word = nearest(name, words);
  const std::string second = concat(" ", word);
  std::string meant;
  for (const std::string& one : allNames()) {
    meant = one == word || (meant.empty() && one.ends_with(second)) ? one : meant;
  }
  throw UsageError(concat("there is no command \"", name, "\"",
                          meant.empty() ? "; `tallyfin help` lists the commands"
                                        : concat("; did you mean `tallyfin ", meant, "`?")));
}

// Appends a line of two columns; the right column starts at the same position in every line.
void appendColumns(std::string& out, const std::string& left, const std::string& right) {
  append(out, "  ", Text::fitted(left, std::max<std::size_t>(20, left.size() + 1)), right, "\n");
}

// Whether the next word is the value of this word, an option of all subcommands or of the default subcommand.
bool takesValue(const std::string& word) {
  const auto isIt = [&](const Option& option) {
    return !option.value.empty() && word == concat("--", option.name);
  };
  return std::ranges::any_of(commonOptions(), isIt) ||
         std::ranges::any_of(subcommands().front().options, isIt);
}

std::string textOfHelp(const NamedSubcommand& named) {
  return named.name.empty() ? help() : help(*named.subcommand);
}

}  // namespace

NamedSubcommand findSubcommand(const std::vector<std::string>& words) {
  NamedSubcommand found;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    const bool isFree = !word.starts_with('-') && (i == 0 || !takesValue(words[i - 1]));
    if (isFree && found.name.empty()) {
      found.name = word;
    } else if (isFree && found.subcommand == nullptr && !secondWords(found.name).empty()) {
      append(found.name, " ", word);
    } else {
      found.rest.push_back(word);
      continue;
    }
    found.subcommand = subcommandNamed(found.name);
  }
  return found;
}

CommandLine parse(const std::vector<std::string>& arguments) {
  const NamedSubcommand named = findSubcommand(arguments);
  CommandLine line;
  line.subcommand = named.name.empty() ? &subcommands().front() : named.subcommand;
  if (line.subcommand == nullptr) {
    const bool asksForHelp = std::ranges::any_of(
        named.rest, [](const std::string& word) { return word == "-h" || word == "--help"; });
    if (asksForHelp && !secondWords(named.name).empty()) {
      line.text = help();
      return line;
    }
    refuseName(named.name);
  }
  if (named.name.empty() && arguments.size() == 1 && arguments[0] == "--version") {
    line.text = concat("tallyfin ", TALLYFIN_VERSION, "\n");
    return line;
  }
  Parser parser(*line.subcommand);
  try {
    line.arguments = parser.parse(named.rest);
  } catch (const CLI::CallForHelp&) {
    line.text = textOfHelp(named);
  } catch (const CLI::ArgumentMismatch& error) {
    // "--limit: 1 required N missing" or "--limit: At Most 1 required but received 2"
    const std::string text = error.what();
    throw UsageError(concat(text.substr(0, text.find(':')),
                            text.ends_with("missing") ? " needs a value" : " may be given only once",
                            parser.seeHelp()));
  } catch (const CLI::ParseError& error) {
    throw UsageError(concat(error.what(), parser.seeHelp()));
  }
  return line;
}

std::string help(const Subcommand& subcommand) {
  return Parser(subcommand).help();
}

std::string help() {
  std::string text =
      "Shows what coding agents cost on this machine. Without a command: today's overview.\n"
      "Usage: tallyfin [COMMAND] [WORDS] [OPTIONS]\n\nCommands:\n";
  for (const Subcommand& one : subcommands()) {
    appendColumns(text, one.name, one.summary);
  }
  text += "\nOptions of all commands, before or after the command:\n";
  for (const Option& option : commonOptions()) {
    appendColumns(text, concat("--", option.name, " ", option.value), option.help);
  }
  appendColumns(text, "-h, --help", "Show the options of a command");
  appendColumns(text, "--version", "Print the version");
  return text +
         "\nA PERIOD is today, yesterday, 7d (any number of days), thisWeek, lastWeek, thisMonth, "
         "lastMonth,\n"
         "last7Days, last30Days, yearToDate or all; or --from and --to with days as yyyy-MM-dd.\n"
         "Example: tallyfin cost 7d --by project\n";
}

int runHelp(const Call& call) {
  const std::optional<std::string> first = call.arguments.text("command");
  if (!first) {
    return print(help(), call.console);
  }
  const std::optional<std::string> second = call.arguments.text("document");
  const std::string name = second ? concat(*first, " ", *second) : *first;
  const Subcommand* const subcommand = subcommandNamed(name);
  if (subcommand == nullptr) {
    refuseName(name);
  }
  return print(help(*subcommand), call.console);
}

}  // namespace tallyfin::Command
